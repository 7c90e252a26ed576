#include "streams/tavorioutputdevice.h"

#include "engines/wasapiaudioplayer.h"
#include "platform/devicereads.h"
#include "platform/signalstack.h"
#include "platform/threads.h"
#include "streams/drivercommand.h"
#include "streams/driverfile.h"
#include "streams/outputplayer.h"
#include "streams/recordname.h"
#include "streams/tavorigetspeakerdatathread.h"

#include <QDebug>

namespace
{

constexpr int threadWaitMs = 100;

bool isSpeaker(tavoriDeviceType type)
{
    return type >= tavoriAux && type <= tavoriMedia;
}

} // namespace

tavoriOutputDevice::tavoriOutputDevice(QObject *parent)
    : QObject(parent), m_audioOutput(createOutputPlayer()),
      m_personalSynthesizerOutput(createOutputPlayer()),
      m_streamingSynthesizerOutput(createOutputPlayer())
{
}

tavoriOutputDevice::~tavoriOutputDevice()
{
    closeDevice();
    m_audioOutput.clear();
    m_personalSynthesizerOutput.clear();
    m_streamingSynthesizerOutput.clear();
}

bool tavoriOutputDevice::openDevice(const wchar_t *devicePath, tavoriDeviceType deviceType)
{
    qInfo() << "Try to open device:" << deviceType;
    closeDevice();

    m_deviceType = deviceType;
    m_deviceHandle = openDriverFile(devicePath);
    if (m_deviceHandle == INVALID_HANDLE_VALUE) {
        m_deviceType = tavoriNoDevice;
        return false;
    }
    m_devicePath = QString::fromWCharArray(devicePath);
    for (const auto &player :
         {m_audioOutput, m_personalSynthesizerOutput, m_streamingSynthesizerOutput}) {
        if (player)
            player->setDeviceType(deviceType);
    }
    writeCommand(m_deviceHandle, commandBlock(static_cast<uchar>(deviceType), false));
    if (isSpeaker(deviceType))
        startSpeakerThread();
    return true;
}

void tavoriOutputDevice::closeDevice()
{
    // The type stays, so that a later close still names the channel that was open.
    qInfo() << "Try to close device:" << m_deviceType;
    stopRecord();
    stopSpeakerThread();
    closeDriverFile(m_deviceHandle, m_deviceType);
}

void tavoriOutputDevice::sendDriverCommand(uchar deviceType, uchar command)
{
    if (m_deviceHandle != INVALID_HANDLE_VALUE)
        writeCommand(m_deviceHandle, commandBlock(deviceType, false, command));
}

void tavoriOutputDevice::startSpeakerThread()
{
    m_speakerThread.reset(new tavoriGetSpeakerDataThread, &retire);
    connect(m_speakerThread.get(), &tavoriGetSpeakerDataThread::sigPrintfLog, this,
            &tavoriOutputDevice::sigPrintfLog);
    handOverState();
    if (!m_speakerThread->isStopped())
        return;
    m_speakerThread->setStopped(false);
    SignalStack::provideTo(*m_speakerThread);
    m_speakerThread->start(QThread::TimeCriticalPriority);
}

void tavoriOutputDevice::handOverState()
{
    tavoriGetSpeakerDataThread &thread = *m_speakerThread;
    thread.setControlMode(m_softwareMode, m_controlModeChanging);
    thread.setDevice(m_deviceHandle, m_deviceType);
    thread.addPersonalSynthesizer(m_addPersonalSynthesizer);
    thread.addStreamingSynthesizer(m_addStreamingSynthesizer);
    // The plain volumes: the mix factor comes back with the next volume or mix command.
    thread.setMute(m_isMute);
    thread.setVolume(m_volume);
    thread.setPersonalMute(m_personalMute);
    thread.setPersonalVolume(m_personalVolume);
    thread.setStreamingMute(m_streamingMute);
    thread.setStreamingVolume(m_streamingVolume);
    thread.setStreamSpeakerVolume(m_streamSpeakerVolume);
    thread.setStreamSpeakerMute(m_streamSpeakerMute);
    thread.setAudioOutput(m_audioOutput);
    thread.setPersonalSynthesizerOutput(m_personalSynthesizerOutput);
    thread.setStreamingSynthesizerOutput(m_streamingSynthesizerOutput);
}

void tavoriOutputDevice::stopSpeakerThread()
{
    if (!m_speakerThread)
        return;
    if (!m_speakerThread->isStopped()) {
        m_speakerThread->setStopped(true);
        endReadWaits(m_deviceHandle);
        m_speakerThread->quit();
        // A thread that outlasts the wait keeps the players it may still be feeding.
        if (m_speakerThread->wait(threadWaitMs))
            m_speakerThread->releaseOutputs();
    }
    m_speakerThread.clear();
}

void tavoriOutputDevice::startRecord()
{
    if (m_deviceHandle == INVALID_HANDLE_VALUE || !m_speakerThread || m_isRecording)
        return;
    if (!m_speakerThread->isRecording())
        m_speakerThread->startRecord(recordFilePath(m_deviceType, QDateTime::currentDateTime()));
    m_isRecording = true;
    qInfo() << "Start audio record.";
}

void tavoriOutputDevice::stopRecord()
{
    if (!m_isRecording)
        return;
    m_isRecording = false;
    // Events are handled while the record is finished, and one of them may close this device.
    const auto thread = m_speakerThread;
    if (thread && thread->isRecording())
        thread->stopRecord();
    qInfo() << "Stop audio record.";
}
