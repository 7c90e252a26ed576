// Endpoint and session events: the controller's own state first, then the client.
#include "app/handlertrace.h"
#include "app/quorvanewidget.h"
#include "common/channels.h"
#include "endpoints/systemsoundmonitor.h"
#include "engines/wasapiaudioplayer.h"
#include "engines/wasapimicrophonecapturer.h"
#include "link/websocketserver.h"
#include "sessions/audiosessionmanager.h"
#include "streams/tavorioutputdevice.h"

#include <QDebug>

namespace
{
/// How long a changed property is left to settle before the endpoint is taken up anew.
constexpr int propertySettleMs = 500;

QString levelText(const QString &deviceID, bool muted, int volume)
{
    return QStringLiteral("deviceID = %1, muted = %2, masterVolume = %3")
        .arg(deviceID)
        .arg(muted)
        .arg(volume);
}
} // namespace

const std::array<QuorvaneWidget::MicrophoneOutput, 3> QuorvaneWidget::microphoneOutputs{{
    {&QuorvaneWidget::microphonePlayer, &WASAPIMicrophoneCapturer::setAudioOutput},
    {&QuorvaneWidget::personalMicrophonePlayer,
     &WASAPIMicrophoneCapturer::setPersonalSynthesizerOutput},
    {&QuorvaneWidget::streamingMicrophonePlayer,
     &WASAPIMicrophoneCapturer::setStreamingSynthesizerOutput},
}};

void QuorvaneWidget::onDefaultDeviceChanged(const char *handler, const QString &deviceType,
                                            SessionsHandler sessionsHandler,
                                            const QString &deviceID)
{
    const HandlerTrace trace(handler, deviceID);
    const QString name =
        systemSoundMonitor ? systemSoundMonitor->getDeviceName(deviceID) : QString();
    if (webSocketServer)
        webSocketServer->defaultDeviceChanged(deviceType, name, deviceID);
    if (audioSessionManager)
        (audioSessionManager.data()->*sessionsHandler)(deviceID);
}

void QuorvaneWidget::onDeviceArrived(const char *handler, const QString &deviceID,
                                     ArrivalSender sender)
{
    const HandlerTrace trace(handler, deviceID);
    QString name;
    bool isRender = false;
    if (systemSoundMonitor) {
        name = systemSoundMonitor->getDeviceName(deviceID);
        isRender = systemSoundMonitor->isOutputDevice(deviceID);
    }
    (isRender ? outputDeviceNames : inputDeviceNames).insert(deviceID, name);
    if (isVirtualEndpointName(name))
        openDevice(deviceID, name, !isRender);
    if (audioSessionManager && isRender)
        audioSessionManager->onRenderDeviceAdded(deviceID);
    else if (audioSessionManager)
        audioSessionManager->onCaptureDeviceAdded(deviceID);
    if (webSocketServer)
        (webSocketServer.data()->*sender)(name, deviceID);
}

void QuorvaneWidget::onDeviceDeparted(const char *handler, const QString &deviceID,
                                      DepartureSender sender)
{
    const HandlerTrace trace(handler, deviceID);
    releaseEndpoint(deviceID);
    if (outputDeviceNames.remove(deviceID) == 0)
        inputDeviceNames.remove(deviceID);
    if (audioSessionManager)
        audioSessionManager->removeDeviceAudioSession(deviceID);
    if (webSocketServer)
        (webSocketServer.data()->*sender)(deviceID);
}

template <typename Function>
void QuorvaneWidget::forEachMicrophoneOutputOn(const QString &id, Function function)
{
    for (const MicrophoneOutput &output : microphoneOutputs) {
        const PlayerPointer player = this->*output.player;
        if (!player || player->deviceID() != id)
            continue;
        if (microphoneCapturer)
            (microphoneCapturer.get()->*output.attach)(nullptr);
        function(*player);
        if (microphoneCapturer)
            (microphoneCapturer.get()->*output.attach)(player);
    }
}

void QuorvaneWidget::releaseEndpoint(const QString &id)
{
    forEachOutput([&](tavoriOutputDevice &device) { device.closeOutputsOnEndpoint(id); });
    if (microphoneCapturer)
        microphoneCapturer->stopOnEndpoint(id);
    forEachMicrophoneOutputOn(id, [](WASAPIAudioPlayer &player) { player.closeDevice(); });
}

void QuorvaneWidget::onPropertyValueChanged(const QString &deviceID)
{
    const HandlerTrace trace("onPropertyValueChanged", deviceID);
    QTimer::singleShot(propertySettleMs, this, [this, deviceID] {
        qInfo() << "onPropertyValueChanged() : handle begin";
        renewEndpoint(deviceID);
        qInfo() << "onPropertyValueChanged() : handle end";
    });
}

void QuorvaneWidget::renewEndpoint(const QString &deviceID)
{
    QString name;
    if (systemSoundMonitor) {
        systemSoundMonitor->removeAudioEndpointVolumeCallbackMonitor(deviceID);
        systemSoundMonitor->addAudioEndpointVolumeCallbackMonitor(deviceID);
        name = systemSoundMonitor->getDeviceName(deviceID);
    }
    forEachOutput([&](tavoriOutputDevice &device) {
        device.reopenAudioOutput(deviceID, name, nativeWindow());
        device.reopenPersonalSynthesizerOutput(deviceID, name, nativeWindow());
        device.reopenStreamingSynthesizerOutput(deviceID, name, nativeWindow());
    });
    if (microphoneCapturer && microphoneCapturer->deviceID() == deviceID)
        microphoneCapturer->restartCapture(deviceID, name, 2);
    forEachMicrophoneOutputOn(deviceID, [&](WASAPIAudioPlayer &player) {
        player.closeDevice();
        player.openDevice(deviceID, name);
    });
}

void QuorvaneWidget::onDeviceControlChanged(const QString &deviceID, bool muted, int volume)
{
    const HandlerTrace trace("onDeviceControlChanged", levelText(deviceID, muted, volume));
    const QString name =
        systemSoundMonitor ? systemSoundMonitor->getDeviceName(deviceID) : QString();
    if (controlMode == NormalMode) {
        applyLevel(name, deviceID, muted, volume);
        sendDeviceControlChanged(name, deviceID, muted, volume);
    } else if (controlMode == StreamerMode) {
        if (keepsOwnLevelInStreamerMode(name, deviceID))
            sendDeviceControlChanged(name, deviceID, muted, volume);
        else
            forceFullLevel(deviceID, muted, volume);
    }
}

void QuorvaneWidget::sendDeviceControlChanged(const QString &name, const QString &deviceID,
                                              bool muted, int volume)
{
    if (webSocketServer)
        webSocketServer->deviceControlChanged(name, deviceID, muted, volume);
}

bool QuorvaneWidget::keepsOwnLevelInStreamerMode(const QString &name, const QString &deviceID)
{
    if (!isVirtualEndpointId(deviceID))
        return true;
    if (name == channelOfType(tavoriStream)->fullName())
        return true;
    return name == channelOfType(tavoriChatCapture)->fullName() &&
           !(systemSoundMonitor && systemSoundMonitor->isOutputDevice(deviceID));
}

void QuorvaneWidget::forceFullLevel(const QString &deviceID, bool muted, int volume)
{
    if (!systemSoundMonitor)
        return;
    if (muted)
        systemSoundMonitor->setDeviceMuted(deviceID, false, true);
    if (volume < 100)
        systemSoundMonitor->setDeviceVolume(deviceID, 100, true);
}

void QuorvaneWidget::onDeviceStateChanged(const QString &deviceID, bool muted, int volume)
{
    const HandlerTrace trace("onDeviceStateChanged", levelText(deviceID, muted, volume));
    const QString name =
        systemSoundMonitor ? systemSoundMonitor->getDeviceName(deviceID) : QString();
    applyLevel(name, deviceID, muted, volume);
}

void QuorvaneWidget::applyLevel(QString deviceName, const QString &deviceID, bool muted, int volume)
{
    if (!systemSoundMonitor || !systemSoundMonitor->isOutputDevice(deviceID))
        return;
    if (deviceName.isEmpty())
        deviceName = systemSoundMonitor->getDeviceName(deviceID);

    if (controlMode == NormalMode) {
        forEachOutput(
            [&](tavoriOutputDevice &device) { device.setOutputLevel(deviceID, muted, volume); });
        if (deviceName == channelOfType(tavoriChatCapture)->fullName() && microphoneCapturer) {
            microphoneCapturer->setVolume(volume);
            microphoneCapturer->setMute(muted);
        }
    } else if (controlMode == StreamerMode &&
               deviceName == channelOfType(tavoriStream)->fullName()) {
        setStreamSpeakerLevel(volume, muted);
    }
}
