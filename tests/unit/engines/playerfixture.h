// A player on a simulated endpoint, and the samples that go through it.
#pragma once

#include "engines/wasapiaudioplayer.h"
#include "platform/simulated/simulated.h"
#include "tests/support/logcapture.h"
#include "tests/support/threadqueue.h"

#include <QSharedPointer>
#include <QTest>

#include <thread>
#include <vector>

namespace playerfixture
{

/// What the owners of players set.
constexpr int longestQueueMs = 60;

inline QSharedPointer<WASAPIAudioPlayer> makePlayer(int duration = longestQueueMs)
{
    auto player = WASAPIAudioPlayer::create();
    player->setMaximumAudioDataDuration(duration);
    player->setDeviceType(6);
    return player;
}

/// `bytes` bytes that differ from their neighbours, so that a shift shows.
inline QByteArray pattern(qsizetype bytes)
{
    QByteArray data(bytes, Qt::Uninitialized);
    for (qsizetype i = 0; i < bytes; ++i)
        data[i] = static_cast<char>((i * 7 + i / 251) & 0x7F);
    return data;
}

inline QByteArray fromSamples(const std::vector<qint16> &samples)
{
    return {reinterpret_cast<const char *>(samples.data()), qsizetype(samples.size()) * 2};
}

inline std::vector<qint16> toSamples(const QByteArray &bytes)
{
    std::vector<qint16> samples(static_cast<std::size_t>(bytes.size() / 2));
    std::memcpy(samples.data(), bytes.constData(), samples.size() * 2);
    return samples;
}

/// The calls made by this thread, in order; the play thread's are left out.
inline QStringList ownCalls()
{
    QStringList own;
    for (const simulated::Call &call : simulated::callRecords()) {
        if (call.thread == std::this_thread::get_id())
            own.append(call.text);
    }
    return own;
}

/// Opens the player on the endpoint and waits until its thread takes blocks.
inline simulated::RenderStream openPlaying(WASAPIAudioPlayer &player, const QString &endpointId)
{
    simulated::clearCalls();
    player.openDevice(endpointId, simulated::endpoint(endpointId).name);
    if (!simulated::waitForCall("WaitForMultipleObjects"))
        return {};
    return simulated::waitForRenderStream(endpointId);
}

/// All that the client wrote and did not mark silent.
inline QByteArray soundOf(const simulated::RenderStream &stream)
{
    QByteArray sound;
    for (const simulated::ReleasedBuffer &buffer : stream.releasedBuffers()) {
        if (!buffer.isSilent())
            sound += buffer.data;
    }
    return sound;
}

} // namespace playerfixture
