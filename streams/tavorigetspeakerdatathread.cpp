#include "streams/tavorigetspeakerdatathread.h"

#include "common/channels.h"
#include "engines/wasapiaudioplayer.h"
#include "platform/threads.h"
#include "streams/audiorecorder.h"

#include <QDebug>
#include <QMetaObject>

namespace
{

constexpr int driverSampleRate = 48000;
constexpr int driverChannels = 2;
constexpr int driverBitsPerSample = 16;
constexpr auto relaxed = std::memory_order_relaxed;

bool isOnStreamEndpoint(const WASAPIAudioPlayer &player)
{
    return player.deviceName() == channelOfType(tavoriStream)->fullName();
}

} // namespace

tavoriGetSpeakerDataThread::tavoriGetSpeakerDataThread(QObject *parent)
    : QThread(parent),
      m_audioRecorder(AudioRecorder::create(driverChannels, driverBitsPerSample, driverSampleRate))
{
}

tavoriGetSpeakerDataThread::~tavoriGetSpeakerDataThread()
{
    // Whoever deletes a finished thread may come while its last steps are still under way.
    wait();
}

bool tavoriGetSpeakerDataThread::isStopped() const
{
    return m_isStopped.load(relaxed);
}

void tavoriGetSpeakerDataThread::setStopped(bool stopped)
{
    m_isStopped.store(stopped, relaxed);
}

void tavoriGetSpeakerDataThread::setDevice(HANDLE deviceHandle, tavoriDeviceType deviceType)
{
    m_deviceHandle = deviceHandle;
    m_deviceType = deviceType;
}

void tavoriGetSpeakerDataThread::setControlMode(tavoriSoftwareMode mode, bool changing)
{
    setControlModeChanging(changing);
    m_softwareMode.store(mode, relaxed);
}

void tavoriGetSpeakerDataThread::setControlModeChanging(bool changing)
{
    m_controlModeChanging.store(changing, relaxed);
}

void tavoriGetSpeakerDataThread::addPersonalSynthesizer(bool add)
{
    m_addPersonalSynthesizer.store(add, relaxed);
    qInfo() << "tavoriGetSpeakerDataThread::addPersonalSynthesizer" << m_deviceType << add;
}

void tavoriGetSpeakerDataThread::addStreamingSynthesizer(bool add)
{
    m_addStreamingSynthesizer.store(add, relaxed);
    qInfo() << "tavoriGetSpeakerDataThread::addStreamingSynthesizer" << m_deviceType << add;
}

void tavoriGetSpeakerDataThread::setAudioOutput(const PlayerPointer &output)
{
    setOutput(m_audioOutput, output);
    setMute(m_isMute);
}

void tavoriGetSpeakerDataThread::setPersonalSynthesizerOutput(const PlayerPointer &output)
{
    setOutput(m_personalSynthesizerOutput, output);
    setPersonalMute(m_personalMute);
}

void tavoriGetSpeakerDataThread::setStreamingSynthesizerOutput(const PlayerPointer &output)
{
    setOutput(m_streamingSynthesizerOutput, output);
    setStreamingMute(m_streaming.muted);
}

void tavoriGetSpeakerDataThread::releaseOutputs()
{
    setOutput(m_audioOutput, {});
    setOutput(m_personalSynthesizerOutput, {});
    setOutput(m_streamingSynthesizerOutput, {});
    m_everAttached.clear();
}

void tavoriGetSpeakerDataThread::setMute(bool mute)
{
    m_isMute = mute;
    applyGain(m_audioOutput, outputGain(mute, m_volume));
}

void tavoriGetSpeakerDataThread::setVolume(double volume)
{
    m_volume = volume;
    if (!m_isMute)
        applyGain(m_audioOutput, outputGain(false, volume));
}

void tavoriGetSpeakerDataThread::setPersonalMute(bool mute)
{
    m_personalMute.store(mute, relaxed);
    applyGain(m_personalSynthesizerOutput, outputGain(mute, m_personalVolume));
}

void tavoriGetSpeakerDataThread::setPersonalVolume(double volume)
{
    m_personalVolume = volume;
    if (!m_personalMute.load(relaxed))
        applyGain(m_personalSynthesizerOutput, outputGain(false, volume));
}

void tavoriGetSpeakerDataThread::setStreamingMute(bool mute)
{
    m_streamingMute.store(mute, relaxed);
    m_streaming.muted = mute;
    applyStreamingGain(AnyEndpoint);
}

void tavoriGetSpeakerDataThread::setStreamingVolume(double volume)
{
    m_streaming.volume = volume;
    applyStreamingGain(AnyEndpoint);
}

void tavoriGetSpeakerDataThread::setStreamSpeakerMute(bool mute)
{
    m_streaming.speakerMuted = mute;
    applyStreamingGain(StreamEndpointOnly);
}

void tavoriGetSpeakerDataThread::setStreamSpeakerVolume(double volume)
{
    m_streaming.speakerVolume = volume;
    applyStreamingGain(StreamEndpointOnly);
}

bool tavoriGetSpeakerDataThread::isRecording() const
{
    return m_isRecording.load(relaxed);
}

void tavoriGetSpeakerDataThread::startRecord(const QString &filePath)
{
    m_recordFilePath = filePath;
    m_audioRecorder->startAudioRecord(filePath);
    m_isRecording.store(true, relaxed);
}

void tavoriGetSpeakerDataThread::stopRecord()
{
    m_isRecording.store(false, relaxed);
    m_audioRecorder->finishAudioRecord();
}

void tavoriGetSpeakerDataThread::setOutput(Output &output, const PlayerPointer &player)
{
    if (player && !m_everAttached.contains(player))
        m_everAttached.append(player);
    const QMutexLocker locker(&m_outputMutex);
    output.player = player;
    // What the read loop does with the player must come after what the controller did to it.
    output.current.store(player.get(), std::memory_order_release);
}

void tavoriGetSpeakerDataThread::applyGain(Output &output, float gain)
{
    const QMutexLocker locker(&m_outputMutex);
    if (output.player)
        output.player->setVolume(gain);
}

void tavoriGetSpeakerDataThread::applyStreamingGain(StreamingScope scope)
{
    const QMutexLocker locker(&m_outputMutex);
    const PlayerPointer &player = m_streamingSynthesizerOutput.player;
    if (!player)
        return;
    const bool onStreamEndpoint = isOnStreamEndpoint(*player);
    if (scope == AnyEndpoint || onStreamEndpoint)
        player->setVolume(streamingGain(m_streaming, onStreamEndpoint));
}

void tavoriGetSpeakerDataThread::run()
{
    requestRealtimeScheduling(SoundThread::Paced);
    qInfo() << "tavoriGetSpeakerDataThread::run" << m_deviceType << "- begin";
    ReadBlock buffer;
    while (!isStopped()) {
        prepareReadRequest(buffer, static_cast<uchar>(m_deviceType));
        if (m_deviceHandle == INVALID_HANDLE_VALUE) {
            qCritical() << "Device is not open:" << m_deviceType;
            emit sigDeviceNotOpen();
            break;
        }
        const QByteArray block = readBlock(buffer);
        if (block.isEmpty()) {
            QThread::msleep(1);
            continue;
        }
        if (!m_controlModeChanging.load(relaxed))
            fanOut(block);
        // A recording goes on while the control mode changes.
        if (m_isRecording.load(relaxed))
            record(block);
    }
    qInfo() << "tavoriGetSpeakerDataThread::run" << m_deviceType << "- end";
}

QByteArray tavoriGetSpeakerDataThread::readBlock(ReadBlock &buffer) const
{
    DWORD bytesRead = 0;
    if (!ReadFile(m_deviceHandle, buffer.data(), buffer.size(), &bytesRead, nullptr)) {
        qCritical() << "Can't read data from driver!";
        return {};
    }
    return {reinterpret_cast<const char *>(buffer.data()), static_cast<qsizetype>(bytesRead)};
}

void tavoriGetSpeakerDataThread::fanOut(const QByteArray &block) const
{
    switch (m_softwareMode.load(relaxed)) {
    case NormalMode:
        sendTo(m_audioOutput, block);
        break;
    case StreamerMode:
        if (m_addPersonalSynthesizer.load(relaxed) && !m_personalMute.load(relaxed))
            sendTo(m_personalSynthesizerOutput, block);
        if (m_addStreamingSynthesizer.load(relaxed) && !m_streamingMute.load(relaxed))
            sendTo(m_streamingSynthesizerOutput, block);
        break;
    }
}

void tavoriGetSpeakerDataThread::sendTo(const Output &output, const QByteArray &block)
{
    WASAPIAudioPlayer *const player = output.current.load(std::memory_order_acquire);
    if (!player)
        return;
    QMetaObject::invokeMethod(
        player, [player, block] { player->play(block, driverSampleRate, driverChannels); },
        Qt::QueuedConnection);
}

void tavoriGetSpeakerDataThread::record(const QByteArray &block) const
{
    AudioRecorder *const recorder = m_audioRecorder.get();
    QMetaObject::invokeMethod(
        recorder, [recorder, block] { recorder->addAudioData(block); }, Qt::QueuedConnection);
}
