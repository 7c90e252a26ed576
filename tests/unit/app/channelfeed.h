// Feeds a channel's device file and hears what comes out at an endpoint.
#pragma once

#include "platform/simulated/devicefiles.h"
#include "platform/simulated/streams.h"

#include <QByteArray>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

/// A block of stereo frames that all hold this sample.
inline QByteArray blockOf(qint16 sample, int frames)
{
    QByteArray block(frames * 4, Qt::Uninitialized);
    auto *samples = reinterpret_cast<qint16 *>(block.data());
    std::fill(samples, samples + frames * 2, sample);
    return block;
}

/// The first sample of a buffer that is not zero; 0 if all are.
inline qint16 firstSoundIn(const QByteArray &played)
{
    for (qsizetype at = 0; at + 1 < played.size(); at += 2) {
        qint16 heard = 0;
        memcpy(&heard, played.constData() + at, sizeof heard);
        if (heard != 0)
            return heard;
    }
    return 0;
}

/// Feeds 10 ms a turn and turns the stream's clock until a sample comes out of it; 0 if none does.
inline qint16 soundHeard(simulated::RenderStream stream, const std::function<void()> &feed)
{
    for (int turns = 0; turns < 200; ++turns) {
        feed();
        QTest::qWait(1);
        if (const qint16 heard = firstSoundIn(stream.turn(480)))
            return heard;
    }
    return 0;
}

/// The same when whatever was queued before has been heard.
inline qint16 settledSound(const simulated::RenderStream &stream, const std::function<void()> &feed)
{
    for (int turns = 0; turns < 20; ++turns)
        soundHeard(stream, feed);
    return soundHeard(stream, feed);
}

/// Feeds and turns until blocks come out as they went in, but at gain 0; false if they do not.
inline bool mutedSoundHeard(simulated::RenderStream stream, const std::function<void()> &feed)
{
    for (int turns = 0; turns < 2000; ++turns) {
        stream.clearReleasedBuffers();
        feed();
        QTest::qWait(1);
        stream.turn(480);
        // A buffer that the player fills for want of blocks is flagged silent.
        for (const simulated::ReleasedBuffer &buffer : stream.releasedBuffers()) {
            if (buffer.frames > 0 && !buffer.isSilent() && firstSoundIn(buffer.data) == 0)
                return true;
        }
    }
    return false;
}

/// Feeds the channel until a sample comes out of the stream; 0 if none does.
inline qint16 sampleHeard(simulated::RenderStream stream, const QString &file, qint16 sample)
{
    return soundHeard(std::move(stream),
                      [&] { simulated::queueAudio(file, blockOf(sample, 480)); });
}
