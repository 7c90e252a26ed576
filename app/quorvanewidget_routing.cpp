// Where the channels' sound goes, and which endpoints are default.
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
    qInfo() << "onSwitchOutputDevice() :" << deviceType << deviceName << deviceID;
    if (const char *line = switchLineOf(deviceType)) {
        qInfo() << line;
        const OutputDevicePointer &device = *outputSlot(deviceType);
        if (device)
            device->initAudioOutput(deviceID, deviceName, nativeWindow());
    } else {
        qCritical() << "Unknown device!";
    }
    qInfo() << "onSwitchOutputDevice() : end";
}

void QuorvaneWidget::onSwitchInputDevice(tavoriDeviceType deviceType, const QString &deviceName,
                                         const QString &deviceID)
{
    qInfo() << "onSwitchInputDevice() :" << deviceType << deviceName << deviceID;
    if (deviceType != tavoriChatCapture)
        qCritical() << "Unknown device!";
    else if (microphoneCapturer)
        microphoneCapturer->restartCapture(deviceID, deviceName, 2);
    qInfo() << "onSwitchInputDevice() : end";
}

void QuorvaneWidget::onSetCurrentOutputDevice(const QString &deviceName, const QString &deviceID)
{
    qInfo() << "onSetCurrentOutputDevice() :" << deviceName << deviceID;
    if (systemSoundMonitor)
        systemSoundMonitor->setSystemDefaultDevice(true, deviceID);
    qInfo() << "onSetCurrentOutputDevice() : end";
}

void QuorvaneWidget::onSetCurrentInputDevice(const QString &deviceName, const QString &deviceID)
{
    qInfo() << "onSetCurrentInputDevice() :" << deviceName << deviceID;
    if (systemSoundMonitor)
        systemSoundMonitor->setSystemDefaultDevice(false, deviceID);
    qInfo() << "onSetCurrentInputDevice() : end";
}

void QuorvaneWidget::onSetAppDefaultDevice(int appProcessID, const QString &appName,
                                           const QString &audioEndpointID,
                                           const QString &fromAudioEndpointID,
                                           const QString &deviceType)
{
    qInfo() << "onSetAppDefaultDevice() :" << appName;
    const int flow = deviceType == QLatin1StringView("inputDevice") ? eCapture : eRender;
    if (audioSessionManager)
        audioSessionManager->setAppDefaultAudioEndpoint(appProcessID, appName, audioEndpointID,
                                                        fromAudioEndpointID, flow);
    qInfo() << "onSetAppDefaultDevice() : end";
}
