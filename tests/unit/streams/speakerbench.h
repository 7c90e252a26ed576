// A virtual speaker on the simulated platform: what the driver delivers goes in, what the
// endpoints hear comes out.
#pragma once

#include "common/channels.h"
#include "platform/simulated/simulated.h"
#include "streams/tavorioutputdevice.h"
#include "tests/support/logcapture.h"

#include <QDeadlineTimer>
#include <QTest>

#include <memory>

/// One per test function. The speaker is Gaming's, its own endpoint is "own-id".
class SpeakerBench
{
public:
    static constexpr int driverIndex = 0xa3;
    const QString suffix = "tavori.Game.WaveSpeaker";
    const QString ownID = "own-id";
    const QString ownName = channelOfType(tavoriGame)->fullName();

    SpeakerBench()
    {
        simulated::reset();
        simulated::publishDriver(driverIndex);
        device = std::make_unique<tavoriOutputDevice>();
        device->setDeviceID(ownID);
        device->setDeviceName(ownName);
    }

    [[nodiscard]] QString path() const { return pathOf(suffix); }
    [[nodiscard]] static QString pathOf(const QString &suffix)
    {
        const QByteArray latin = suffix.toLatin1();
        return deviceFilePath(driverIndex, QLatin1StringView(latin));
    }

    bool open(tavoriDeviceType type = tavoriGame)
    {
        return device->openDevice(path().toStdWString().c_str(), type);
    }

    /// Opens the audio output on a new endpoint and waits until it takes blocks.
    simulated::RenderStream initAudioOutput(const QString &name = "Speakers")
    {
        const QString id = simulated::addEndpoint({.name = name});
        device->initAudioOutput(id, name, {});
        return playing(id);
    }
    simulated::RenderStream initPersonalOutput(const QString &name = "Headset")
    {
        const QString id = simulated::addEndpoint({.name = name});
        device->initPersonalSynthesizerAudioOutput(id, name, {});
        return playing(id);
    }
    simulated::RenderStream initStreamingOutput(const QString &name = "Stream")
    {
        const QString id = simulated::addEndpoint({.name = name});
        device->initStreamingSynthesizerAudioOutput(id, name, {});
        return playing(id);
    }

    /// Has the driver deliver a block and waits until the speaker thread has dealt with it.
    [[nodiscard]] bool deliver(const QByteArray &block) const
    {
        simulated::queueAudio(suffix, block);
        return simulated::waitUntilRead(suffix) && nextReadBegins();
    }
    /// Waits until what was read before this call has been dealt with.
    [[nodiscard]] bool nextReadBegins() const
    {
        const QString call = "ReadFile " + suffix;
        return simulated::waitForCalls(call, simulated::countCalls(call) + 1);
    }

    /// Turns the endpoint's clock until it has heard so many bytes that are no silence, and gives
    /// all of those; less when ten seconds are over.
    [[nodiscard]] static QByteArray hear(simulated::RenderStream stream, qsizetype bytes)
    {
        QByteArray heard;
        const QDeadlineTimer deadline(10000);
        while (heard.size() < bytes && !deadline.hasExpired()) {
            stream.turn(stream.bufferFrames());
            for (const auto &buffer : stream.releasedBuffers()) {
                if (!buffer.isSilent())
                    heard += buffer.data;
            }
            stream.clearReleasedBuffers();
        }
        return heard;
    }

    LogCapture log;
    std::unique_ptr<tavoriOutputDevice> device;

private:
    /// A stream whose play thread has answered its first event accepts blocks.
    static simulated::RenderStream playing(const QString &id)
    {
        auto stream = simulated::waitForRenderStream(id);
        if (!stream)
            return stream;
        stream.signalEvent();
        if (!stream.waitForRelease())
            return {};
        stream.clearReleasedBuffers();
        return stream;
    }
};

/// Frames of one sample value, as a block of the driver.
[[nodiscard]] inline QByteArray tone(char low, qsizetype frames = 8)
{
    return QByteArray(frames * 4, low);
}
