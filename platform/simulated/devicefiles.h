// The device files of the virtual sound card, named by the last segment of their path
// ("tavori.Game.WaveSpeaker").
#pragma once

#include "platform/basetypes.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace simulated
{

/// Publishes the nine files of the channel table at a driver index, 0 to 65535. Without this, and
/// after a reset, no path opens (ERROR_FILE_NOT_FOUND).
void publishDriver(int driverIndex);
/// Takes all files away. Handles that are open stay usable.
void withdrawDriver();
/// Takes one file away or brings it back.
void setDeviceFilePresent(const QString &suffix, bool present);

/// Handles that are open on the file now.
[[nodiscard]] int openDeviceFiles(const QString &suffix);

/// What the driver will deliver. A read gives bytes of one block only, at most what is asked for,
/// so that a small block is a short read and an empty one a read of nothing. With no block a read
/// waits at most 50 ms, and not at all after endReadWaits, and gives 0 bytes.
void queueAudio(const QString &suffix, const QByteArray &block);
/// Waits until all queued audio has been read; false when the time is over.
[[nodiscard]] bool waitUntilRead(const QString &suffix, int timeoutMs = 5000);

/// The bytes of every WriteFile, in order.
[[nodiscard]] QList<QByteArray> writesTo(const QString &suffix);

/// One ReadFile as the driver sees it.
struct ReadRequest
{
    DWORD length = 0;
    /// The first 16 bytes that the buffer held.
    QByteArray head;
    /// Whether all bytes after the head were zero.
    bool restIsZero = true;
};
/// The last 1000, oldest first.
[[nodiscard]] QList<ReadRequest> readRequests(const QString &suffix);

} // namespace simulated
