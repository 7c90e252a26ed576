// Feeds a channel's device file and hears what comes out at an endpoint.
#pragma once

#include "platform/simulated/devicefiles.h"
#include "platform/simulated/streams.h"

#include <QByteArray>
#include <QTest>

#include <algorithm>
#include <cstring>

/// A block of stereo frames that all hold this sample.
inline QByteArray blockOf(qint16 sample, int frames)
{
    QByteArray block(frames * 4, Qt::Uninitialized);
    auto *samples = reinterpret_cast<qint16 *>(block.data());
    std::fill(samples, samples + frames * 2, sample);
    return block;
}

/// Feeds the channel and turns the stream's clock until a sample comes out of it; 0 if none does.
inline qint16 sampleHeard(simulated::RenderStream stream, const QString &file, qint16 sample)
{
    for (int turns = 0; turns < 200; ++turns) {
        simulated::queueAudio(file, blockOf(sample, 480));
        QTest::qWait(1);
        const QByteArray played = stream.turn(480);
        for (qsizetype at = 0; at + 1 < played.size(); at += 2) {
            qint16 heard = 0;
            memcpy(&heard, played.constData() + at, sizeof heard);
            if (heard != 0)
                return heard;
        }
    }
    return 0;
}
