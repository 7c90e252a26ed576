// The player of one output of a virtual speaker.
#pragma once

#include "engines/wasapiaudioplayer.h"

#include <QSharedPointer>

/// A closed player that holds back at most 60 ms of sound.
[[nodiscard]] inline QSharedPointer<WASAPIAudioPlayer> createOutputPlayer()
{
    constexpr int longestQueueMs = 60;
    auto player = WASAPIAudioPlayer::create();
    player->setMaximumAudioDataDuration(longestQueueMs);
    return player;
}
