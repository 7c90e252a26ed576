// The bytes that pass to the virtual sound card's driver through a device file.
#pragma once

#include "platform/coreaudio.h"

#include <array>

/// A command as it is built: channel, closing mark, command code, zeros.
using CommandBlock = std::array<uchar, 1024>;
/// A read request, overwritten by the sound: 4800 frames, 100 ms of the driver's format.
using ReadBlock = std::array<uchar, 19200>;

/// `channel` is the low byte of a tavoriDeviceType; `command` is 0 for a plain open or close.
[[nodiscard]] CommandBlock commandBlock(uchar channel, bool closing, uchar command = 0);

/// How many bytes of a block travel: those before its first zero byte. A command code behind a
/// zero closing mark therefore never arrives, and the driver is built to that.
[[nodiscard]] DWORD commandLength(const CommandBlock &block);

/// Writes a block to the device file. Neither the result nor the count matters to anybody.
void writeCommand(HANDLE file, const CommandBlock &block);

/// Clears the block and sets its read request for the channel.
void prepareReadRequest(ReadBlock &block, uchar channel);
