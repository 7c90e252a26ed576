// Construction and teardown.
#include "app/quorvanewidget.h"

#include "app/handlertrace.h"
#include "common/channels.h"
#include "endpoints/systemsoundmonitor.h"
#include "engines/wasapiaudioplayer.h"
#include "engines/wasapimicrophonecapturer.h"
#include "link/websocketserver.h"
#include "sessions/audiosessionmanager.h"
#include "streams/tavoriinputdevice.h"
#include "streams/tavorioutputdevice.h"
#include "supervision/memorycheck.h"

#include <QApplication>
#include <QDebug>
#include <QDir>

#include <new>

namespace
{
constexpr quint16 controlPort = 24925;
constexpr int alertIntervalMs = 600;
/// The longest queue of a microphone player, in milliseconds.
constexpr int microphoneQueueMs = 60;

// Command codes of the driver's add and remove orders.
constexpr uchar addDeviceCommand = 4;
constexpr uchar removeDeviceCommand = 5;

QString tempIconsPath()
{
    return QDir::toNativeSeparators(QCoreApplication::applicationDirPath() + QDir::separator() +
                                    QLatin1StringView("TempIcons") + QDir::separator());
}
} // namespace

const std::array<QSharedPointer<tavoriOutputDevice> QuorvaneWidget::*, QuorvaneWidget::outputCount>
    QuorvaneWidget::outputSlots{&QuorvaneWidget::auxDevice,  &QuorvaneWidget::aux2Device,
                                &QuorvaneWidget::aux3Device, &QuorvaneWidget::browserDevice,
                                &QuorvaneWidget::chatDevice, &QuorvaneWidget::gameDevice,
                                &QuorvaneWidget::mediaDevice};

QuorvaneWidget::QuorvaneWidget(QWidget *parent) : QWidget(parent)
{
    createChannels();

    setMinimumSize(600, 480);
    connect(alertTimer, &QTimer::timeout, this, &QuorvaneWidget::onAlertTimeout);
    alertTimer->setTimerType(Qt::PreciseTimer);
    alertTimer->setInterval(alertIntervalMs);

    tempIconsDir = tempIconsPath();
    if (!QDir(tempIconsDir).exists())
        QDir().mkdir(tempIconsDir);

    virtualEndpoints = scanVirtualEndpoints();
    forEachOutput([this](tavoriOutputDevice &device) { connectLog(device); });
    microphoneCapturer->setMaximumPacketCount(0);
    buildWindow();
    startServices();
}

QuorvaneWidget::~QuorvaneWidget()
{
    const char *const name = "QuorvaneWidget::~QuorvaneWidget";
    qInfo() << name << "- begin";
    disconnect(quitConnection);
    qInfo() << name << "- 0";
    memoryCheck->stop();
    qInfo() << name << "- 1";
    dropHidDevices();
    qInfo() << name << "- 2";
    QDir icons(tempIconsDir);
    if (icons.exists())
        icons.removeRecursively();
    qInfo() << name << "- end";

    delete memoryCheck;
    microphoneCapturer.reset();
}

void QuorvaneWidget::createChannels()
{
    auxDevice.reset(new tavoriOutputDevice(this));
    chatDevice.reset(new tavoriOutputDevice(this));
    gameDevice.reset(new tavoriOutputDevice(this));
    mediaDevice.reset(new tavoriOutputDevice(this));
    microphoneDevice.reset(new tavoriInputDevice);
    streamDevice.reset(new tavoriInputDevice);

    microphoneCapturer = WASAPIMicrophoneCapturer::create();
    for (const MicrophoneOutput &output : microphoneOutputs)
        this->*output.player = createMicrophonePlayer();
    memoryCheck = new MemoryCheck(this);
    alertTimer = new QTimer(this);
}

QuorvaneWidget::PlayerPointer QuorvaneWidget::createMicrophonePlayer()
{
    auto player = WASAPIAudioPlayer::create();
    player->setMaximumAudioDataDuration(microphoneQueueMs);
    player->setDeviceType(tavoriChatCapture);
    return player;
}

void QuorvaneWidget::startServices()
{
    // A service for which there is no room leaves its slot null.
    qInfo() << "init AudioSessionManager : begin";
    audioSessionManager.reset(new (std::nothrow) AudioSessionManager(true, nullptr),
                              &AudioSessionManager::end);
    if (audioSessionManager)
        connectSessionEvents();
    qInfo() << "init AudioSessionManager : end";

    qInfo() << "init WebSocketServer : begin";
    webSocketServer.reset(new (std::nothrow) WebSocketServer(nullptr));
    if (webSocketServer)
        connectCommands();
    qInfo() << "init WebSocketServer : end";

    qInfo() << "init SystemSoundMonitor : begin";
    systemSoundMonitor.reset(new (std::nothrow) SystemSoundMonitor(true, nullptr),
                             &SystemSoundMonitor::end);
    if (systemSoundMonitor)
        connectEndpointEvents();
    qInfo() << "init SystemSoundMonitor : end";

    qInfo() << "try to enable virtual devices : begin";
    enableVirtualEndpoints();
    qInfo() << "try to enable virtual devices : end";

    printEndpointDeviceNames();
    registerDeviceUnplugNotification();
    openDevices();

    qInfo() << "try to start websocket server : begin";
    if (webSocketServer)
        webSocketServer->startListen(controlPort);
    else
        qCritical() << "Can't create WebSocketServer!!!";
    qInfo() << "try to start websocket server : end";

    QTimer::singleShot(0, this, [this] {
        memoryCheck->addMonitorProcess(GetCurrentProcessId());
        memoryCheck->start();
    });
    quitConnection = connect(
        qApp, &QCoreApplication::aboutToQuit, qApp, [this] { onAboutToQuit(); },
        Qt::DirectConnection);
    qInfo() << "End of init!!!";
}

void QuorvaneWidget::onQuitApp()
{
    const HandlerTrace trace("onQuitApp");
    QCoreApplication::exit(0);
}

void QuorvaneWidget::onAboutToQuit()
{
    qInfo() << "About to quit - begin";
    qInfo() << "About to quit - 0";
    // Endpoint changes that the teardown causes are to reach nobody.
    if (systemSoundMonitor)
        disconnect(systemSoundMonitor.data(), nullptr, nullptr, nullptr);
    hideVirtualEndpoints();
    qInfo() << "About to quit - 1";
    closeDevices();
    qInfo() << "About to quit - 2";
    for (const MicrophoneOutput &output : microphoneOutputs) {
        if (microphoneCapturer)
            (microphoneCapturer.get()->*output.attach)(nullptr);
    }
    for (const MicrophoneOutput &output : microphoneOutputs)
        (this->*output.player).reset();
    qInfo() << "About to quit - end";
}

void QuorvaneWidget::onAlertTimeout()
{
    alertTimer->stop();
    MessageBeep(0);
}

QuorvaneWidget::OutputDevicePointer *QuorvaneWidget::outputSlot(tavoriDeviceType type)
{
    const int index = type - tavoriAux;
    return index >= 0 && index < outputCount ? &(this->*outputSlots[index]) : nullptr;
}

void QuorvaneWidget::connectLog(const tavoriOutputDevice &device)
{
    connect(&device, &tavoriOutputDevice::sigPrintfLog, this, &QuorvaneWidget::printfInfo);
}

void QuorvaneWidget::onAddDevice(tavoriDeviceType deviceType)
{
    if (gameDevice)
        gameDevice->sendDriverCommand(deviceType, addDeviceCommand);
}

void QuorvaneWidget::onRemoveDevice(tavoriDeviceType deviceType)
{
    if (gameDevice)
        gameDevice->sendDriverCommand(deviceType, removeDeviceCommand);
}

void QuorvaneWidget::restoreWindow(QString arguments)
{
    qInfo() << "QuorvaneWidget::restoreWindow" << arguments;
}
