// One output of a feeder: the player that its blocks go to.
#pragma once

#include "engines/wasapiaudioplayer.h"

#include <QByteArray>
#include <QMutex>
#include <QSharedPointer>

/// Lets a controller exchange a player while a real-time thread feeds it. The feeder never
/// waits: a block that meets an exchange in progress is dropped, as is one without a player.
/// After `set` has returned, no block goes to the player that was there before. `set` and
/// `player` belong to the controlling side, which calls them under a lock of its own.
class PlayerSlot
{
public:
    /// Null detaches.
    void set(const QSharedPointer<WASAPIAudioPlayer> &replacement);
    [[nodiscard]] QSharedPointer<WASAPIAudioPlayer> player() const { return attached; }

    /// Hands the block to the player by a queued call. One feeding thread at a time.
    void play(const QByteArray &block, int sampleRate, int channels);

private:
    QMutex mutex; ///< between `set` and the feeder only
    QSharedPointer<WASAPIAudioPlayer> attached;
};
