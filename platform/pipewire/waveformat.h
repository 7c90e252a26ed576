// Stream formats as the audio vocabulary tells them.
#pragma once

#include "platform/coreaudio.h"
#include "platform/pipewire/serverstream.h"

#include <optional>

/// What a plain or extensible 16-bit PCM format says; nothing for any other, or for one that
/// contradicts itself.
[[nodiscard]] std::optional<SampleFormat> sampleFormatOf(const WAVEFORMATEX &format);

/// An extensible 32-bit float format from CoTaskMemAlloc's memory, 8 channels at most; null when
/// there is no memory.
[[nodiscard]] WAVEFORMATEX *makeMixFormat(uint32_t sampleRate, uint32_t channels);

/// The bits of dwChannelMask that this number of channels usually means; 0 above 8.
[[nodiscard]] uint32_t usualChannelMask(uint32_t channels);
