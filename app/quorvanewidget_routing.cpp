// Where the channels' sound goes, and which endpoints are default.
#include "app/handlertrace.h"
#include "app/quorvanewidget.h"
#include "endpoints/systemsoundmonitor.h"
#include "engines/wasapimicrophonecapturer.h"
#include "sessions/audiosessionmanager.h"
#include "streams/tavorioutputdevice.h"

#include <QDebug>

namespace
{
struct SwitchLine
{
    tavoriDeviceType type;
    const char *line;
};

constexpr std::array switchLines{
    SwitchLine{tavoriAux, "tavori aux output device!"},
    SwitchLine{tavoriAux2, "tavori aux2 output device!"},
    SwitchLine{tavoriAux3, "tavori aux3 output device!"},
    SwitchLine{tavoriBrowser, "tavori browser output device!"},
    SwitchLine{tavoriChat, "tavori chat output device!"},
    SwitchLine{tavoriGame, "tavori game output device!"},
    SwitchLine{tavoriMedia, "tavori media output device!"},
};

const char *switchLineOf(tavoriDeviceType type)
{
    for (const SwitchLine &row : switchLines) {
        if (row.type == type)
            return row.line;
    }
    return nullptr;
}
} // namespace

void QuorvaneWidget::onSwitchOutputDevice(tavoriDeviceType deviceType, const QString &deviceName,
                                          const QString &deviceID)
{
    const HandlerTrace trace("onSwitchOutputDevice", deviceType, deviceName, deviceID);
    if (const char *line = switchLineOf(deviceType)) {
        qInfo() << line;
        const OutputDevicePointer &device = *outputSlot(deviceType);
        if (device)
            device->initAudioOutput(deviceID, deviceName, nativeWindow());
    } else {
        qCritical() << "Unknown device!";
    }
}

void QuorvaneWidget::onSwitchInputDevice(tavoriDeviceType deviceType, const QString &deviceName,
                                         const QString &deviceID)
{
    const HandlerTrace trace("onSwitchInputDevice");
    if (deviceType != tavoriChatCapture)
        qCritical() << "Unknown device!";
    else if (microphoneCapturer)
        microphoneCapturer->restartCapture(deviceID, deviceName, 2);
}

void QuorvaneWidget::onSetCurrentOutputDevice(const QString &deviceName, const QString &deviceID)
{
    const HandlerTrace trace("onSetCurrentOutputDevice", deviceName, deviceID);
    if (systemSoundMonitor)
        systemSoundMonitor->setSystemDefaultDevice(true, deviceID);
}

void QuorvaneWidget::onSetCurrentInputDevice(const QString &deviceName, const QString &deviceID)
{
    const HandlerTrace trace("onSetCurrentInputDevice", deviceName, deviceID);
    if (systemSoundMonitor)
        systemSoundMonitor->setSystemDefaultDevice(false, deviceID);
}

void QuorvaneWidget::onSetAppDefaultDevice(int appProcessID, const QString &appName,
                                           const QString &audioEndpointID,
                                           const QString &fromAudioEndpointID,
                                           const QString &deviceType)
{
    const HandlerTrace trace("onSetAppDefaultDevice", appName);
    const int flow = deviceType == QLatin1StringView("inputDevice") ? eCapture : eRender;
    if (audioSessionManager)
        audioSessionManager->setAppDefaultAudioEndpoint(appProcessID, appName, audioEndpointID,
                                                        fromAudioEndpointID, flow);
}
