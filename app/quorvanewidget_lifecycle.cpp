// Opening and closing the channels' device files.
#include "app/quorvanewidget.h"
#include "common/channels.h"
#include "endpoints/systemsoundmonitor.h"
#include "streams/tavoriinputdevice.h"
#include "streams/tavorioutputdevice.h"

#include <QDebug>

namespace
{
constexpr int lastDriverIndex = 65535;

bool isPublished(int driverIndex)
{
    // The Game channel's file is the probe: it is there whenever the driver is.
    const std::wstring path =
        deviceFilePath(driverIndex, channelOfType(tavoriGame)->fileSuffix).toStdWString();
    const HANDLE handle = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return false;
    CloseHandle(handle);
    return true;
}

/// The index under which the driver publishes its files; 0 if it publishes none.
int findDriverIndex(const char *caller)
{
    for (int index = 0; index <= lastDriverIndex; ++index) {
        if (isPublished(index)) {
            qInfo() << caller << "Find tavori driver index!";
            return index;
        }
    }
    qCritical() << caller << "Can't find tavori driver index!";
    return 0;
}

template <typename Device>
void openDeviceFile(Device &device, const Channel &channel, int driverIndex)
{
    const std::wstring path = deviceFilePath(driverIndex, channel.fileSuffix).toStdWString();
    device.openDevice(path.c_str(), channel.type);
}
} // namespace

void QuorvaneWidget::openDevices()
{
    qInfo() << "QuorvaneWidget::openDevices"
            << ": begin";
    if (!virtualEndpoints.isEmpty()) {
        const int driverIndex = findDriverIndex("QuorvaneWidget::openDevices");
        for (const tavoriDeviceType type : {tavoriAux, tavoriChat, tavoriGame, tavoriMedia})
            openOutputChannel(type, outputDeviceNames.key(channelOfType(type)->fullName()),
                              driverIndex);
        const QString microphone = channelOfType(tavoriChatCapture)->fullName();
        openMicrophoneChannel(inputDeviceNames.key(microphone), outputDeviceNames.key(microphone),
                              driverIndex);
    }
    qInfo() << "QuorvaneWidget::openDevices"
            << ": end";
}

void QuorvaneWidget::openDevice(const QString &deviceID, const QString &deviceName, bool isInput)
{
    const int driverIndex = findDriverIndex("QuorvaneWidget::openDevice");
    const Channel *channel = channelOfFullName(deviceName);
    if (!channel)
        return;
    if (OutputDevicePointer *slot = outputSlot(channel->type)) {
        if (isInput || !*slot)
            return;
        (*slot)->setControlMode(controlMode, controlModeChanging);
        openOutputChannel(channel->type, deviceID, driverIndex);
        return;
    }
    if (!isInput)
        return;
    if (channel->type == tavoriChatCapture)
        openMicrophoneChannel(deviceID, outputDeviceNames.key(deviceName), driverIndex);
    else
        openStreamChannel(deviceID, driverIndex);
}

void QuorvaneWidget::closeDevices()
{
    qInfo() << "QuorvaneWidget::closeDevices"
            << ": begin";
    forEachOutput([](tavoriOutputDevice &device) { device.closeDevice(); });
    if (microphoneDevice)
        microphoneDevice->closeDevice();
    if (streamDevice)
        streamDevice->closeDevice();
    qInfo() << "QuorvaneWidget::closeDevices"
            << ": end";
}

void QuorvaneWidget::openOutputChannel(tavoriDeviceType type, const QString &id, int driverIndex)
{
    const OutputDevicePointer &device = *outputSlot(type);
    if (!device)
        return;
    const Channel &channel = *channelOfType(type);
    device->setDeviceID(id);
    device->setDeviceName(channel.fullName());

    bool mute = false;
    int volume = 100;
    if (systemSoundMonitor) {
        mute = systemSoundMonitor->isDeviceMuted(id);
        // In Streamer mode the virtual endpoints are held at full level.
        if (controlMode == NormalMode)
            volume = systemSoundMonitor->getDeviceVolume(id);
    }
    device->setOutputLevel(id, mute, volume);
    openDeviceFile(*device, channel, driverIndex);
}

void QuorvaneWidget::openMicrophoneChannel(const QString &captureId, const QString &renderId,
                                           int driverIndex)
{
    if (!microphoneDevice)
        return;
    const Channel &channel = *channelOfType(tavoriChatCapture);
    microphoneDevice->setDeviceID(captureId);
    microphoneDevice->setDeviceName(channel.fullName());
    microphoneDevice->setEndpointID(renderId);

    reopenMicrophoneOutput(microphoneOutputs[0], channel.fullName(), renderId);
    openDeviceFile(*microphoneDevice, channel, driverIndex);
}

void QuorvaneWidget::openStreamChannel(const QString &captureId, int driverIndex)
{
    if (!streamDevice)
        return;
    const Channel &channel = *channelOfType(tavoriStream);
    streamDevice->setDeviceID(captureId);
    streamDevice->setDeviceName(channel.fullName());
    streamDevice->setEndpointID(outputDeviceNames.key(channel.fullName()));
    openDeviceFile(*streamDevice, channel, driverIndex);
}
