// The two control modes, and the channels that exist on demand.
#include "app/handlertrace.h"
#include "app/quorvanewidget.h"
#include "common/channels.h"
#include "endpoints/systemsoundmonitor.h"
#include "engines/wasapimicrophonecapturer.h"
#include "link/websocketserver.h"
#include "sessions/audiosessionmanager.h"
#include "streams/tavorioutputdevice.h"

#include <QDebug>

#include <new>

namespace
{
struct OnDemandChannel
{
    QLatin1StringView word; ///< the client's name for it
    tavoriDeviceType type;
};

constexpr std::array onDemandChannels{
    OnDemandChannel{QLatin1StringView("Browser"), tavoriBrowser},
    OnDemandChannel{QLatin1StringView("Aux2"), tavoriAux2},
    OnDemandChannel{QLatin1StringView("Aux3"), tavoriAux3},
};

/// Null for any other word.
const Channel *onDemandChannelOf(const QString &word)
{
    for (const OnDemandChannel &row : onDemandChannels) {
        if (word == row.word)
            return channelOfType(row.type);
    }
    return nullptr;
}

QString deviceIdOf(const QJsonObject &deviceInfo)
{
    return deviceInfo.value(QLatin1StringView("deviceID")).toString();
}
} // namespace

QString QuorvaneWidget::defaultRenderId() const
{
    QString id = audioSessionManager ? audioSessionManager->getDefaultRenderDeviceID() : QString();
    if (!id.isEmpty() || !systemSoundMonitor)
        return id;
    return deviceIdOf(systemSoundMonitor->getDefaultOutputDeviceInfo());
}

QString QuorvaneWidget::defaultCaptureId() const
{
    QString id = audioSessionManager ? audioSessionManager->getDefaultCaptureDeviceID() : QString();
    if (!id.isEmpty() || !systemSoundMonitor)
        return id;
    return deviceIdOf(systemSoundMonitor->getDefaultInputDeviceInfo());
}

void QuorvaneWidget::restoreDefault(bool output, const QString &defaultId, const QString &exceptId)
{
    if (systemSoundMonitor && !defaultId.isEmpty() && defaultId != exceptId)
        systemSoundMonitor->setSystemDefaultDevice(output, defaultId);
}

void QuorvaneWidget::onAddOutputDevice(const QString &outputDeviceName)
{
    const HandlerTrace trace("onAddOutputDevice", outputDeviceName);
    // Showing an endpoint can make it the default: the one of before is put back.
    const QString defaultId = defaultRenderId();
    const Channel *channel = onDemandChannelOf(outputDeviceName);
    const bool added = channel && addChannel(*channel, defaultId);
    if (!webSocketServer)
        return;
    if (added)
        webSocketServer->finishAddOutputDevice(outputDeviceName);
    else
        webSocketServer->cannotAddOutputDevice(outputDeviceName);
}

bool QuorvaneWidget::addChannel(const Channel &channel, const QString &defaultId)
{
    const QString id = findVirtualEndpointId(channel.shortName, false);
    enableEndpoint(id);
    OutputDevicePointer &device = *outputSlot(channel.type);
    if (!device) {
        device.reset(new (std::nothrow) tavoriOutputDevice(this));
        if (!device)
            return false;
        connectLog(*device);
    }
    openDevice(id, channel.fullName(), false);
    restoreDefault(true, defaultId, id);
    return true;
}

void QuorvaneWidget::onRemoveOutputDevice(const QString &outputDeviceName)
{
    const HandlerTrace trace("onRemoveOutputDevice", outputDeviceName);
    const QString defaultId = defaultRenderId();
    const Channel *channel = onDemandChannelOf(outputDeviceName);
    if (channel) {
        const QString id = findVirtualEndpointId(channel->shortName, false);
        disableEndpoint(id);
        restoreDefault(true, defaultId, id);
        if (const OutputDevicePointer &device = *outputSlot(channel->type))
            device->closeDevice();
        if (webSocketServer)
            webSocketServer->finishRemoveOutputDevice(outputDeviceName);
    } else if (webSocketServer) {
        webSocketServer->cannotRemoveOutputDevice(outputDeviceName);
    }
}

void QuorvaneWidget::onSetControlMode(tavoriSoftwareMode mode)
{
    const HandlerTrace trace("onSetControlMode", mode);
    const QString captureId = defaultCaptureId();
    const QString renderId = defaultRenderId();
    const QString stream = channelOfType(tavoriStream)->shortName;
    const QString captureStreamId = findVirtualEndpointId(stream, true);
    const QString renderStreamId = findVirtualEndpointId(stream, false);

    // Normal stops the channels before Stream goes; Streamer shows Stream before they start.
    if (mode == NormalMode) {
        takeControlMode(mode);
        disableEndpoint(captureStreamId);
        disableEndpoint(renderStreamId);
        restoreDefault(false, captureId, captureStreamId);
        restoreDefault(true, renderId, renderStreamId);
    } else if (mode == StreamerMode) {
        enableEndpoint(captureStreamId);
        enableEndpoint(renderStreamId);
        restoreDefault(false, captureId, {});
        restoreDefault(true, renderId, {});
        takeControlMode(mode);
    }
}

void QuorvaneWidget::takeControlMode(tavoriSoftwareMode mode)
{
    controlMode = mode;
    controlModeChanging = true;
    forEachOutput([mode](tavoriOutputDevice &device) { device.setControlMode(mode, true); });
    if (microphoneCapturer)
        microphoneCapturer->setControlMode(mode, true);
}

void QuorvaneWidget::onFinishSetControlMode(tavoriSoftwareMode mode)
{
    const HandlerTrace trace("onFinishSetControlMode", mode);
    controlModeChanging = false;
    forEachOutput([](tavoriOutputDevice &device) { device.finishControlMode(); });
    if (microphoneCapturer)
        microphoneCapturer->finishControlMode();
}
