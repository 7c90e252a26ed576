// The outputs of a virtual speaker: where they play, and what scales them.
#include "engines/gaincurve.h"
#include "engines/wasapiaudioplayer.h"
#include "streams/gainrules.h"
#include "streams/outputplayer.h"
#include "streams/tavorigetspeakerdatathread.h"
#include "streams/tavorioutputdevice.h"

#include <QDebug>

using SpeakerThread = tavoriGetSpeakerDataThread;

void tavoriOutputDevice::initAudioOutput(const QString &deviceID, const QString &deviceName, HWND)
{
    initOutput("tavoriOutputDevice::initAudioOutput", m_audioOutput, &SpeakerThread::setAudioOutput,
               deviceID, deviceName);
}

void tavoriOutputDevice::initPersonalSynthesizerAudioOutput(const QString &deviceID,
                                                            const QString &deviceName, HWND)
{
    initOutput("tavoriOutputDevice::initPersonalSynthesizerAudioOutput",
               m_personalSynthesizerOutput, &SpeakerThread::setPersonalSynthesizerOutput, deviceID,
               deviceName);
}

void tavoriOutputDevice::initStreamingSynthesizerAudioOutput(const QString &deviceID,
                                                             const QString &deviceName, HWND)
{
    initOutput("tavoriOutputDevice::initStreamingSynthesizerAudioOutput",
               m_streamingSynthesizerOutput, &SpeakerThread::setStreamingSynthesizerOutput,
               deviceID, deviceName);
}

void tavoriOutputDevice::initOutput(const char *caller, PlayerPointer &player, AttachOutput attach,
                                    const QString &deviceID, const QString &deviceName)
{
    qInfo() << caller << m_deviceName << m_deviceID << deviceName << deviceID;
    if (!m_speakerThread) {
        qCritical() << caller << "The thread has not started.";
        return;
    }
    // No block goes to a player in change.
    (m_speakerThread.get()->*attach)({});
    if (player) {
        player->closeDevice();
    } else {
        player = createOutputPlayer();
        player->setDeviceType(m_deviceType);
    }
    player->openDevice(deviceID, deviceName);
    (m_speakerThread.get()->*attach)(player);
}

void tavoriOutputDevice::reopenAudioOutput(const QString &deviceID, const QString &deviceName,
                                           HWND window)
{
    if (m_audioOutput && m_audioOutput->deviceID() == deviceID)
        initAudioOutput(deviceID, deviceName, window);
}

void tavoriOutputDevice::reopenPersonalSynthesizerOutput(const QString &deviceID,
                                                         const QString &deviceName, HWND window)
{
    if (m_personalSynthesizerOutput && m_personalSynthesizerOutput->deviceID() == deviceID)
        initPersonalSynthesizerAudioOutput(deviceID, deviceName, window);
}

void tavoriOutputDevice::reopenStreamingSynthesizerOutput(const QString &deviceID,
                                                          const QString &deviceName, HWND window)
{
    if (m_streamingSynthesizerOutput && m_streamingSynthesizerOutput->deviceID() == deviceID)
        initStreamingSynthesizerAudioOutput(deviceID, deviceName, window);
}

void tavoriOutputDevice::closeOutputsOnEndpoint(const QString &deviceID)
{
    if (deviceID == m_deviceID) {
        closeDevice();
        return;
    }
    closeOutputOnEndpoint(m_audioOutput, &SpeakerThread::setAudioOutput, deviceID);
    closeOutputOnEndpoint(m_personalSynthesizerOutput, &SpeakerThread::setPersonalSynthesizerOutput,
                          deviceID);
    closeOutputOnEndpoint(m_streamingSynthesizerOutput,
                          &SpeakerThread::setStreamingSynthesizerOutput, deviceID);
}

void tavoriOutputDevice::closeOutputOnEndpoint(const PlayerPointer &player, AttachOutput attach,
                                               const QString &deviceID)
{
    if (!m_speakerThread || !player || player->deviceID() != deviceID)
        return;
    (m_speakerThread.get()->*attach)({});
    player->closeDevice();
    // The closed player stays attached and drops what it is sent until a later init.
    (m_speakerThread.get()->*attach)(player);
}

void tavoriOutputDevice::setOutputLevel(const QString &deviceID, bool mute, int volume)
{
    if (deviceID != m_deviceID)
        return;
    m_isMute = mute;
    m_volume = gainOfPercent(volume);
    if (!m_speakerThread)
        return;
    m_speakerThread->setMute(mute);
    m_speakerThread->setVolume(mixedVolume(m_volume));
}

void tavoriOutputDevice::addPersonalSynthesizer(bool add)
{
    m_addPersonalSynthesizer = add;
    if (m_speakerThread)
        m_speakerThread->addPersonalSynthesizer(add);
}

void tavoriOutputDevice::addStreamingSynthesizer(bool add)
{
    m_addStreamingSynthesizer = add;
    if (m_speakerThread)
        m_speakerThread->addStreamingSynthesizer(add);
}

void tavoriOutputDevice::setPersonalMute(bool mute)
{
    m_personalMute = mute;
    if (m_speakerThread)
        m_speakerThread->setPersonalMute(mute);
}

void tavoriOutputDevice::setPersonalVolume(int percent)
{
    m_personalVolume = gainOfPercent(percent);
    if (m_speakerThread)
        m_speakerThread->setPersonalVolume(mixedVolume(m_personalVolume));
}

void tavoriOutputDevice::setStreamingMute(bool mute)
{
    m_streamingMute = mute;
    if (m_speakerThread)
        m_speakerThread->setStreamingMute(mute);
}

void tavoriOutputDevice::setStreamingVolume(int percent)
{
    m_streamingVolume = gainOfPercent(percent);
    if (m_speakerThread)
        m_speakerThread->setStreamingVolume(mixedVolume(m_streamingVolume));
}

void tavoriOutputDevice::setStreamSpeakerMute(bool mute)
{
    m_streamSpeakerMute = mute;
    if (m_speakerThread)
        m_speakerThread->setStreamSpeakerMute(mute);
}

void tavoriOutputDevice::setStreamSpeakerVolume(int percent)
{
    m_streamSpeakerVolume = gainOfPercent(percent);
    // The mix scales the streaming volume already; the stream speaker's goes over as it is.
    if (m_speakerThread)
        m_speakerThread->setStreamSpeakerVolume(m_streamSpeakerVolume);
}

void tavoriOutputDevice::setGamingChatMixEnable(bool enable)
{
    m_gamingChatMixEnable = enable;
    setGamingChatMixProportion(m_gamingChatMixProportion);
}

void tavoriOutputDevice::setGamingChatMixProportion(int proportion)
{
    m_gamingChatMixProportion = proportion;
    if (!m_speakerThread)
        return;
    switch (m_softwareMode) {
    case NormalMode:
        m_speakerThread->setVolume(mixedVolume(m_volume));
        break;
    case StreamerMode:
        m_speakerThread->setPersonalVolume(mixedVolume(m_personalVolume));
        m_speakerThread->setStreamingVolume(mixedVolume(m_streamingVolume));
        break;
    }
}

void tavoriOutputDevice::setControlMode(tavoriSoftwareMode mode, bool changing)
{
    m_softwareMode = mode;
    m_controlModeChanging = changing;
    if (m_speakerThread)
        m_speakerThread->setControlMode(mode, changing);
}

void tavoriOutputDevice::finishControlMode()
{
    m_controlModeChanging = false;
    if (m_speakerThread)
        m_speakerThread->setControlModeChanging(false);
}

double tavoriOutputDevice::mixedVolume(double volume) const
{
    return mixFactor(m_gamingChatMixEnable, m_gamingChatMixProportion) * volume;
}
