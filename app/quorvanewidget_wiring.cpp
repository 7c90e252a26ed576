// Which signal reaches which handler.
#include "app/quorvanewidget.h"
#include "endpoints/systemsoundmonitor.h"
#include "link/websocketserver.h"
#include "sessions/audiosessionmanager.h"
#include "supervision/memorycheck.h"

void QuorvaneWidget::connectCommands()
{
    WebSocketServer *link = webSocketServer.data();
    connect(link, &WebSocketServer::sigQuitApp, this, &QuorvaneWidget::onQuitApp);
    connect(link, &WebSocketServer::sigGetOutputDeviceInfos, this,
            &QuorvaneWidget::onGetOutputDeviceInfos);
    connect(link, &WebSocketServer::sigGetInputDeviceInfos, this,
            &QuorvaneWidget::onGetInputDeviceInfos);
    connectRoutingCommands();
    connectLevelCommands();
    connect(link, &WebSocketServer::sigSetControlMode, this, &QuorvaneWidget::onSetControlMode);
    connectMixCommands();
    connectHidCommands();
    connectGameChatMixCommands();
    connect(link, &WebSocketServer::sigGetAudioSessionInfos, this,
            &QuorvaneWidget::onGetAudioSessionInfos);
    connect(link, &WebSocketServer::sigGetDeviceAudioSessionInfos, this,
            &QuorvaneWidget::onGetDeviceAudioSessionInfos);
    connect(link, &WebSocketServer::sigSetAppDefaultAudioEndpoint, this,
            &QuorvaneWidget::onSetAppDefaultDevice);
    connect(link, &WebSocketServer::sigAddOutputDevice, this, &QuorvaneWidget::onAddOutputDevice);
    connect(link, &WebSocketServer::sigRemoveOutputDevice, this,
            &QuorvaneWidget::onRemoveOutputDevice);
    connect(link, &WebSocketServer::sigFinishSetControlMode, this,
            &QuorvaneWidget::onFinishSetControlMode);
    connect(link, &WebSocketServer::sigAddMemoryCheck, this, [this](uint pid) {
        memoryCheck->addMonitorProcess(pid);
        memoryCheck->start();
    });
}

void QuorvaneWidget::connectRoutingCommands()
{
    WebSocketServer *link = webSocketServer.data();
    connect(link, &WebSocketServer::sigSwitchOutputDevice, this,
            &QuorvaneWidget::onSwitchOutputDevice);
    connect(link, &WebSocketServer::sigSwitchInputDevice, this,
            &QuorvaneWidget::onSwitchInputDevice);
    connect(link, &WebSocketServer::sigSetCurrentOutputDevice, this,
            &QuorvaneWidget::onSetCurrentOutputDevice);
    connect(link, &WebSocketServer::sigSetCurrentInputDevice, this,
            &QuorvaneWidget::onSetCurrentInputDevice);
}

void QuorvaneWidget::connectMixCommands()
{
    WebSocketServer *link = webSocketServer.data();
    connect(link, &WebSocketServer::sigSwitchPersonalSynthesizerDevice, this,
            &QuorvaneWidget::onSwitchPersonalSynthesizerDevice);
    connect(link, &WebSocketServer::sigAddToPersonalSynthesizer, this,
            &QuorvaneWidget::onAddToPersonalSynthesizer);
    connect(link, &WebSocketServer::sigSwitchStreamingSynthesizerDevice, this,
            &QuorvaneWidget::onSwitchStreamingSynthesizerDevice);
    connect(link, &WebSocketServer::sigAddToStreamingSynthesizer, this,
            &QuorvaneWidget::onAddToStreamingSynthesizer);
    connect(link, &WebSocketServer::sigSwitchMicrophoneInputDevice, this,
            &QuorvaneWidget::onSwitchMicrophoneInputDevice);
    connect(link, &WebSocketServer::sigSetPersonalSynthesizerDeviceVolume, this,
            &QuorvaneWidget::onSetPersonalSynthesizerDeviceVolume);
    connect(link, &WebSocketServer::sigSetPersonalSynthesizerDeviceMute, this,
            &QuorvaneWidget::onSetPersonalSynthesizerDeviceMute);
    connect(link, &WebSocketServer::sigSetStreamingSynthesizerDeviceVolume, this,
            &QuorvaneWidget::onSetStreamingSynthesizerDeviceVolume);
    connect(link, &WebSocketServer::sigSetStreamingSynthesizerDeviceMute, this,
            &QuorvaneWidget::onSetStreamingSynthesizerDeviceMute);
}

void QuorvaneWidget::connectGameChatMixCommands()
{
    WebSocketServer *link = webSocketServer.data();
    connect(link, &WebSocketServer::sigSetGamingChatMixEnable, this,
            &QuorvaneWidget::onSetGamingChatMixEnable);
    connect(link, &WebSocketServer::sigSetGamingChatMixProportion, this,
            &QuorvaneWidget::onSetGamingChatMixProportion);
}

void QuorvaneWidget::connectLevelCommands()
{
    using Query = void (WebSocketServer::*)(QString, QString);
    using MuteOrder = void (WebSocketServer::*)(QString, QString, bool);
    using LevelOrder = void (WebSocketServer::*)(QString, QString, uint);
    WebSocketServer *link = webSocketServer.data();

    const auto answerMute = [&](Query signal, const char *handler) {
        connect(link, signal, this, [this, handler](const QString &name, const QString &id) {
            answerDeviceMute(handler, name, id);
        });
    };
    const auto answerVolume = [&](Query signal, const char *handler) {
        connect(link, signal, this, [this, handler](const QString &name, const QString &id) {
            answerDeviceVolume(handler, name, id);
        });
    };
    const auto orderMute = [&](MuteOrder signal, const char *handler) {
        connect(link, signal, this,
                [this, handler](const QString &name, const QString &id, bool mute) {
                    orderDeviceMute(handler, name, id, mute);
                });
    };
    const auto orderVolume = [&](LevelOrder signal, const char *handler, const VolumeOrder &order) {
        connect(link, signal, this,
                [this, handler, &order](const QString &name, const QString &id, uint value) {
                    orderDeviceVolume(handler, order, name, id, value);
                });
    };

    answerMute(&WebSocketServer::sigGetOutputDeviceMute, "onGetOutputDeviceMute");
    answerMute(&WebSocketServer::sigGetInputDeviceMute, "onGetInputDeviceMute");
    answerMute(&WebSocketServer::sigGetDeviceMute, "onGetDeviceMute");
    answerVolume(&WebSocketServer::sigGetOutputDeviceVolume, "onGetOutputDeviceVolume");
    answerVolume(&WebSocketServer::sigGetInputDeviceVolume, "onGetInputDeviceVolume");
    answerVolume(&WebSocketServer::sigGetDeviceVolume, "onGetDeviceVolume");
    orderMute(&WebSocketServer::sigSetOutputDeviceMute, "onSetOutputDeviceMute");
    orderMute(&WebSocketServer::sigSetInputDeviceMute, "onSetInputDeviceMute");
    orderMute(&WebSocketServer::sigSetDeviceMute, "onSetDeviceMute");
    orderVolume(&WebSocketServer::sigSetOutputDeviceVolume, "onSetOutputDeviceVolume",
                setVolumeOrder);
    orderVolume(&WebSocketServer::sigSetInputDeviceVolume, "onSetInputDeviceVolume",
                setVolumeOrder);
    orderVolume(&WebSocketServer::sigSetDeviceVolume, "onSetDeviceVolume", setVolumeOrder);
    orderVolume(&WebSocketServer::sigIncreaseDeviceVolume, "onIncreaseDeviceVolume",
                increaseVolumeOrder);
    orderVolume(&WebSocketServer::sigDecreaseDeviceVolume, "onDecreaseDeviceVolume",
                decreaseVolumeOrder);
}

void QuorvaneWidget::connectEndpointEvents()
{
    using EndpointEvent = void (SystemSoundMonitor::*)(const QString &);
    SystemSoundMonitor *monitor = systemSoundMonitor.data();

    const auto onDefaultChange = [&](EndpointEvent signal, const char *handler,
                                     const QString &deviceType, SessionsHandler sessionsHandler) {
        connect(monitor, signal, this,
                [this, handler, deviceType, sessionsHandler](const QString &id) {
                    onDefaultDeviceChanged(handler, deviceType, sessionsHandler, id);
                });
    };
    const auto onArrival = [&](EndpointEvent signal, const char *handler, ArrivalSender sender) {
        connect(monitor, signal, this, [this, handler, sender](const QString &id) {
            onDeviceArrived(handler, id, sender);
        });
    };
    const auto onDeparture = [&](EndpointEvent signal, const char *handler,
                                 DepartureSender sender) {
        connect(monitor, signal, this, [this, handler, sender](const QString &id) {
            onDeviceDeparted(handler, id, sender);
        });
    };

    onDefaultChange(&SystemSoundMonitor::sigDefaultCaptureDeviceChanged,
                    "onDefaultCaptureDeviceChanged", QStringLiteral("inputDevice"),
                    &AudioSessionManager::onDefaultCaptureDeviceChanged);
    onDefaultChange(&SystemSoundMonitor::sigDefaultRenderDeviceChanged,
                    "onDefaultRenderDeviceChanged", QStringLiteral("outputDevice"),
                    &AudioSessionManager::onDefaultRenderDeviceChanged);
    onArrival(&SystemSoundMonitor::sigDeviceAdded, "onDeviceAdded", &WebSocketServer::deviceAdded);
    onDeparture(&SystemSoundMonitor::sigDeviceRemoved, "onDeviceRemoved",
                &WebSocketServer::deviceRemoved);
    onArrival(&SystemSoundMonitor::sigDeviceActive, "onDeviceActive",
              &WebSocketServer::deviceActive);
    onDeparture(&SystemSoundMonitor::sigDeviceDisabled, "onDeviceDisabled",
                &WebSocketServer::deviceDisabled);
    onDeparture(&SystemSoundMonitor::sigDeviceNotPresent, "onDeviceNotPresent",
                &WebSocketServer::deviceNotPresent);
    onDeparture(&SystemSoundMonitor::sigDeviceUnplugged, "onDeviceUnplugged",
                &WebSocketServer::deviceUnplugged);
    connect(monitor, &SystemSoundMonitor::sigPropertyValueChanged, this,
            &QuorvaneWidget::onPropertyValueChanged);
    connect(monitor, &SystemSoundMonitor::sigDeviceControlChanged, this,
            &QuorvaneWidget::onDeviceControlChanged);
    connect(monitor, &SystemSoundMonitor::sigDeviceStateChanged, this,
            &QuorvaneWidget::onDeviceStateChanged);
}
