// The outputs of the microphone: which player gets a packet, and at what gain.
#include "common/channels.h"
#include "engines/gaincurve.h"
#include "engines/outputgain.h"
#include "engines/wasapimicrophonecapturer.h"

#include <QDebug>

namespace
{

void apply(const PlayerSlot &slot, float gain)
{
    if (const auto player = slot.player())
        player->setVolume(gain);
}

} // namespace

void WASAPIMicrophoneCapturer::setControlMode(tavoriSoftwareMode mode, bool changing)
{
    controlModeChanging = changing;
    softwareMode = mode;
}

void WASAPIMicrophoneCapturer::finishControlMode()
{
    controlModeChanging = false;
}

void WASAPIMicrophoneCapturer::addPersonalSynthesizer(bool checked)
{
    inPersonalMix = checked;
    qInfo() << "WASAPIMicrophoneCapturer::addPersonalSynthesizer" << checked;
}

void WASAPIMicrophoneCapturer::addStreamingSynthesizer(bool checked)
{
    inStreamingMix = checked;
    qInfo() << "WASAPIMicrophoneCapturer::addStreamingSynthesizer" << checked;
}

void WASAPIMicrophoneCapturer::onGetInputData(QByteArray audioData, int sampleRate,
                                              int channelCount)
{
    if (controlModeChanging)
        return;
    // Whatever the mute: a muted output plays at gain 0.
    audioOutput.play(audioData, sampleRate, channelCount);
    if (softwareMode != StreamerMode)
        return;
    if (inPersonalMix && !personalMute)
        personalSynthesizerOutput.play(audioData, sampleRate, channelCount);
    if (inStreamingMix && !streamingMute)
        streamingSynthesizerOutput.play(audioData, sampleRate, channelCount);
}

void WASAPIMicrophoneCapturer::setAudioOutput(const QSharedPointer<WASAPIAudioPlayer> &player)
{
    const QMutexLocker locker(&outputMutex);
    audioOutput.set(player);
    apply(audioOutput, outputGain(isMute, volume));
}

void WASAPIMicrophoneCapturer::setMute(bool mute)
{
    const QMutexLocker locker(&outputMutex);
    isMute = mute;
    apply(audioOutput, outputGain(isMute, volume));
}

void WASAPIMicrophoneCapturer::setVolume(int percent)
{
    const QMutexLocker locker(&outputMutex);
    volume = gainOfPercent(percent);
    apply(audioOutput, outputGain(false, volume));
}

void WASAPIMicrophoneCapturer::setPersonalSynthesizerOutput(
    const QSharedPointer<WASAPIAudioPlayer> &player)
{
    const QMutexLocker locker(&outputMutex);
    personalSynthesizerOutput.set(player);
    apply(personalSynthesizerOutput, outputGain(personalMute, personalVolume));
}

void WASAPIMicrophoneCapturer::setPersonalMute(bool mute)
{
    const QMutexLocker locker(&outputMutex);
    personalMute = mute;
    apply(personalSynthesizerOutput, outputGain(personalMute, personalVolume));
}

void WASAPIMicrophoneCapturer::setPersonalVolume(int percent)
{
    const QMutexLocker locker(&outputMutex);
    personalVolume = gainOfPercent(percent);
    apply(personalSynthesizerOutput, outputGain(false, personalVolume));
}

void WASAPIMicrophoneCapturer::setStreamingSynthesizerOutput(
    const QSharedPointer<WASAPIAudioPlayer> &player)
{
    const QMutexLocker locker(&outputMutex);
    streamingSynthesizerOutput.set(player);
    applyStreamingGain();
}

void WASAPIMicrophoneCapturer::setStreamingMute(bool mute)
{
    const QMutexLocker locker(&outputMutex);
    streamingMute = mute;
    applyStreamingGain();
}

void WASAPIMicrophoneCapturer::setStreamingVolume(int percent)
{
    const QMutexLocker locker(&outputMutex);
    streamingVolume = gainOfPercent(percent);
    applyStreamingGain();
}

void WASAPIMicrophoneCapturer::setStreamSpeakerMute(bool mute)
{
    const QMutexLocker locker(&outputMutex);
    streamSpeakerMute = mute;
    if (isOnStreamSpeaker())
        applyStreamingGain();
}

void WASAPIMicrophoneCapturer::setStreamSpeakerVolume(int percent)
{
    const QMutexLocker locker(&outputMutex);
    streamSpeakerVolume = gainOfPercent(percent);
    if (isOnStreamSpeaker())
        applyStreamingGain();
}

/// Whether the streaming player is on the endpoint whose level is the stream speaker's.
bool WASAPIMicrophoneCapturer::isOnStreamSpeaker() const
{
    const auto player = streamingSynthesizerOutput.player();
    return player && player->deviceName() == channelOfType(tavoriStream)->fullName();
}

void WASAPIMicrophoneCapturer::applyStreamingGain()
{
    const StreamingLevel level{
        .muted = streamingMute,
        .volume = streamingVolume,
        .speakerMuted = streamSpeakerMute,
        .speakerVolume = streamSpeakerVolume,
    };
    apply(streamingSynthesizerOutput, streamingGain(level, isOnStreamSpeaker()));
}
