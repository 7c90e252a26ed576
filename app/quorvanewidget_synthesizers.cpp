// The personal and the streaming mix, the microphone's source, and the gaming/chat balance.
#include "app/handlertrace.h"
#include "app/quorvanewidget.h"
#include "common/channels.h"
#include "endpoints/systemsoundmonitor.h"
#include "engines/wasapiaudioplayer.h"
#include "engines/wasapimicrophonecapturer.h"
#include "streams/tavorioutputdevice.h"

#include <QDebug>

template <typename Value>
void QuorvaneWidget::orderMix(const char *handler, void (tavoriOutputDevice::*channelOrder)(Value),
                              void (WASAPIMicrophoneCapturer::*capturerOrder)(Value),
                              const QString &deviceName, const QString &deviceID, Value value)
{
    const HandlerTrace trace(handler, deviceName, deviceID, value);
    if (const Channel *channel = channelOfFullName(deviceName)) {
        if (const OutputDevicePointer *slot = outputSlot(channel->type)) {
            if (*slot)
                (slot->data()->*channelOrder)(value);
        } else if (channel->type == tavoriChatCapture && microphoneCapturer) {
            (microphoneCapturer.get()->*capturerOrder)(value);
        }
    }
}

void QuorvaneWidget::onAddToPersonalSynthesizer(const QString &deviceName, const QString &deviceID,
                                                bool checked)
{
    orderMix("onAddToPersonalSynthesizer", &tavoriOutputDevice::addPersonalSynthesizer,
             &WASAPIMicrophoneCapturer::addPersonalSynthesizer, deviceName, deviceID, checked);
}

void QuorvaneWidget::onAddToStreamingSynthesizer(const QString &deviceName, const QString &deviceID,
                                                 bool checked)
{
    orderMix("onAddToStreamingSynthesizer", &tavoriOutputDevice::addStreamingSynthesizer,
             &WASAPIMicrophoneCapturer::addStreamingSynthesizer, deviceName, deviceID, checked);
}

void QuorvaneWidget::onSetPersonalSynthesizerDeviceVolume(const QString &deviceName,
                                                          const QString &deviceID, uint volume)
{
    orderMix("onSetPersonalSynthesizerDeviceVolume", &tavoriOutputDevice::setPersonalVolume,
             &WASAPIMicrophoneCapturer::setPersonalVolume, deviceName, deviceID,
             static_cast<int>(volume));
}

void QuorvaneWidget::onSetPersonalSynthesizerDeviceMute(const QString &deviceName,
                                                        const QString &deviceID, bool mute)
{
    orderMix("onSetPersonalSynthesizerDeviceMute", &tavoriOutputDevice::setPersonalMute,
             &WASAPIMicrophoneCapturer::setPersonalMute, deviceName, deviceID, mute);
}

void QuorvaneWidget::onSetStreamingSynthesizerDeviceVolume(const QString &deviceName,
                                                           const QString &deviceID, uint volume)
{
    orderMix("onSetStreamingSynthesizerDeviceVolume", &tavoriOutputDevice::setStreamingVolume,
             &WASAPIMicrophoneCapturer::setStreamingVolume, deviceName, deviceID,
             static_cast<int>(volume));
}

void QuorvaneWidget::onSetStreamingSynthesizerDeviceMute(const QString &deviceName,
                                                         const QString &deviceID, bool mute)
{
    orderMix("onSetStreamingSynthesizerDeviceMute", &tavoriOutputDevice::setStreamingMute,
             &WASAPIMicrophoneCapturer::setStreamingMute, deviceName, deviceID, mute);
}

void QuorvaneWidget::onSwitchPersonalSynthesizerDevice(const QString &deviceName,
                                                       const QString &deviceID)
{
    const HandlerTrace trace("onSwitchPersonalSynthesizerDevice", deviceName, deviceID);
    if (!deviceName.isEmpty()) {
        forEachOutput([&](tavoriOutputDevice &device) {
            device.initPersonalSynthesizerAudioOutput(deviceID, deviceName, nativeWindow());
        });
        reopenMicrophoneOutput(microphoneOutputs[1], deviceName, deviceID);
    }
}

void QuorvaneWidget::onSwitchStreamingSynthesizerDevice(const QString &deviceName,
                                                        const QString &deviceID)
{
    const HandlerTrace trace("onSwitchStreamingSynthesizerDevice", deviceName, deviceID);
    if (!deviceName.isEmpty()) {
        if (deviceName == channelOfType(tavoriStream)->fullName())
            takeStreamSpeakerLevel(deviceID);
        forEachOutput([&](tavoriOutputDevice &device) {
            device.initStreamingSynthesizerAudioOutput(deviceID, deviceName, nativeWindow());
        });
        reopenMicrophoneOutput(microphoneOutputs[2], deviceName, deviceID);
    }
}

void QuorvaneWidget::takeStreamSpeakerLevel(const QString &deviceID)
{
    int volume = 100;
    bool mute = false;
    if (systemSoundMonitor) {
        volume = systemSoundMonitor->getDeviceVolume(deviceID);
        mute = systemSoundMonitor->isDeviceMuted(deviceID);
    }
    setStreamSpeakerLevel(volume, mute);
}

void QuorvaneWidget::setStreamSpeakerLevel(int volume, bool mute)
{
    forEachOutput([&](tavoriOutputDevice &device) {
        device.setStreamSpeakerVolume(volume);
        device.setStreamSpeakerMute(mute);
    });
    if (microphoneCapturer) {
        microphoneCapturer->setStreamSpeakerVolume(volume);
        microphoneCapturer->setStreamSpeakerMute(mute);
    }
}

void QuorvaneWidget::reopenMicrophoneOutput(const MicrophoneOutput &output,
                                            const QString &deviceName, const QString &deviceID)
{
    if (!microphoneCapturer)
        return;
    (microphoneCapturer.get()->*output.attach)(nullptr);
    PlayerPointer &player = this->*output.player;
    if (player)
        player->closeDevice();
    else
        player = createMicrophonePlayer();
    player->openDevice(deviceID, deviceName);
    (microphoneCapturer.get()->*output.attach)(player);
}

void QuorvaneWidget::onSwitchMicrophoneInputDevice(const QString &deviceName,
                                                   const QString &deviceID)
{
    const HandlerTrace trace("onSwitchMicrophoneInputDevice", deviceName, deviceID);
    if (!deviceName.isEmpty() && microphoneCapturer)
        microphoneCapturer->restartCapture(deviceID, deviceName, 2);
}

void QuorvaneWidget::onSetGamingChatMixEnable(bool isEnable)
{
    const HandlerTrace trace("onSetGamingChatMixEnable", isEnable);
    for (const OutputDevicePointer &device : {gameDevice, chatDevice}) {
        if (device)
            device->setGamingChatMixEnable(isEnable);
    }
}

void QuorvaneWidget::onSetGamingChatMixProportion(int gamingMixProportion, int chatMixProportion)
{
    const HandlerTrace trace("onSetGamingChatMixProportion", gamingMixProportion,
                             chatMixProportion);
    if (gameDevice)
        gameDevice->setGamingChatMixProportion(gamingMixProportion);
    if (chatDevice)
        chatDevice->setGamingChatMixProportion(chatMixProportion);
}
