// The one object that owns all services and connects commands and notifications to them.
#pragma once

#include "app/objectthreads.h"
#include "common/tavoritypes.h"
#include "platform/coreaudio.h"

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QPointer>
#include <QSharedPointer>
#include <QTimer>
#include <QWidget>

#include <array>
#include <memory>

class AudioSessionManager;
class MemoryCheck;
class QComboBox;
class QPushButton;
class QTextEdit;
class SystemSoundMonitor;
class VXGeneralDevice;
class WASAPIAudioPlayer;
class WASAPIMicrophoneCapturer;
class WebSocketServer;
class tavoriInputDevice;
class tavoriOutputDevice;
struct Channel;
struct DevicePath;

/// The controller, and the (hidden) diagnostic window. Everything happens on the main thread.
/// The constructor brings all services up and starts to listen; nothing in it is fatal.
/// A service that is missing is a null pointer, and every use of it is skipped.
class QuorvaneWidget : public QWidget
{
    Q_OBJECT

public:
    explicit QuorvaneWidget(QWidget *parent = nullptr);
    ~QuorvaneWidget() override;

    // The bodies of the four HID commands. They block as long as the device does, and run on
    // threads of the global pool, one at a time. What comes of them is told by events.
    void openHidDevice(const QJsonObject &deviceInfo);
    void closeHidDevice(const QJsonObject &deviceInfo);
    /// Sends an output report, or several; each element is one byte, what is above 255 cut off.
    void writeDataToHidDevice(const QJsonObject &deviceInfo, const QJsonArray &dataArray);
    void getInputReportFromHidDevice(const QJsonObject &deviceInfo);

public slots:
    void onAddDevice(tavoriDeviceType deviceType);
    void onRemoveDevice(tavoriDeviceType deviceType);
    /// A second instance's arguments arrive here; they are only logged.
    void restoreWindow(QString arguments);
    /// Writes one info line to the log.
    void printfInfo(QString info);

protected:
    /// Tells in the log which devices come and go. Always false: the message goes on to Qt.
    bool nativeEvent(const QByteArray &eventType, void *message, qintptr *result) override;

private slots:
    void startRecord();
    void stopRecord();

private:
    using OutputDevicePointer = QSharedPointer<tavoriOutputDevice>;
    using PlayerPointer = QSharedPointer<WASAPIAudioPlayer>;
    using CapturerOutputSetter = void (WASAPIMicrophoneCapturer::*)(const PlayerPointer &);

    /// One of the three players that the capturer feeds, with its place at the capturer.
    struct MicrophoneOutput
    {
        PlayerPointer QuorvaneWidget::*player;
        CapturerOutputSetter attach;
    };
    static const std::array<MicrophoneOutput, 3> microphoneOutputs;
    [[nodiscard]] static PlayerPointer createMicrophonePlayer();
    /// Runs `function` on each microphone player that plays to the endpoint, detached from the
    /// capturer meanwhile.
    template <typename Function>
    void forEachMicrophoneOutputOn(const QString &id, Function function);

    // Construction and teardown
    void createChannels();
    void startServices();
    void connectCommands();
    void connectRoutingCommands();
    void connectLevelCommands();
    void connectMixCommands();
    void connectGameChatMixCommands();
    void connectEndpointEvents();
    void connectSessionEvents();
    void onQuitApp();
    void onAboutToQuit();
    void onAlertTimeout();

    // The fan-outs: Aux, Aux2, Aux3, Browser, Chat, Game, Media, always in this order.
    static constexpr int outputCount = 7;
    /// The slot of types 1 to 7; null pointer for any other type.
    [[nodiscard]] OutputDevicePointer *outputSlot(tavoriDeviceType type);
    template <typename Function>
    void forEachOutput(Function function);
    void connectLog(const tavoriOutputDevice &device);

    // The virtual endpoints
    [[nodiscard]] static QMap<QString, QJsonObject> scanVirtualEndpoints();
    [[nodiscard]] QList<QJsonObject> virtualEndpointList() const;
    [[nodiscard]] QString findVirtualEndpointId(const QString &shortName, bool isCapture) const;
    [[nodiscard]] static bool isVirtualEndpointName(const QString &name);
    [[nodiscard]] bool isVirtualEndpointId(const QString &id);
    bool enableEndpoint(const QString &id);
    bool disableEndpoint(const QString &id);
    void enableVirtualEndpoints();
    void hideVirtualEndpoints();

    // The channels' devices
    void openDevices();
    void openDevice(const QString &deviceID, const QString &deviceName, bool isInput);
    void closeDevices();
    void openOutputChannel(tavoriDeviceType type, const QString &id, int driverIndex);
    void openMicrophoneChannel(const QString &captureId, const QString &renderId, int driverIndex);
    void openStreamChannel(const QString &captureId, int driverIndex);

    // Routing and defaults
    /// The window that outputs are opened for.
    [[nodiscard]] HWND nativeWindow() const { return reinterpret_cast<HWND>(winId()); }
    void onSwitchOutputDevice(tavoriDeviceType deviceType, const QString &deviceName,
                              const QString &deviceID);
    void onSwitchInputDevice(tavoriDeviceType deviceType, const QString &deviceName,
                             const QString &deviceID);
    void onSetCurrentOutputDevice(const QString &deviceName, const QString &deviceID);
    void onSetCurrentInputDevice(const QString &deviceName, const QString &deviceID);

    void onSetAppDefaultDevice(int appProcessID, const QString &appName,
                               const QString &audioEndpointID, const QString &fromAudioEndpointID,
                               const QString &deviceType);

    // Modes and on-demand channels
    [[nodiscard]] QString defaultRenderId() const;
    [[nodiscard]] QString defaultCaptureId() const;
    /// Makes the endpoint the default again, unless it is empty or `exceptId`.
    void restoreDefault(bool output, const QString &defaultId, const QString &exceptId);
    void onAddOutputDevice(const QString &outputDeviceName);
    /// Shows and opens a channel that exists on demand; false if there is no room for it.
    bool addChannel(const Channel &channel, const QString &defaultId);
    void onRemoveOutputDevice(const QString &outputDeviceName);
    void onSetControlMode(tavoriSoftwareMode mode);
    void takeControlMode(tavoriSoftwareMode mode);
    void onFinishSetControlMode(tavoriSoftwareMode mode);

    // Synthesizers and the gaming/chat mix
    /// An order to one channel's, or the microphone's, part in a mix.
    template <typename Value>
    void orderMix(const char *handler, void (tavoriOutputDevice::*channelOrder)(Value),
                  void (WASAPIMicrophoneCapturer::*capturerOrder)(Value), const QString &deviceName,
                  const QString &deviceID, Value value);
    void onAddToPersonalSynthesizer(const QString &deviceName, const QString &deviceID,
                                    bool checked);
    void onAddToStreamingSynthesizer(const QString &deviceName, const QString &deviceID,
                                     bool checked);
    void onSetPersonalSynthesizerDeviceVolume(const QString &deviceName, const QString &deviceID,
                                              uint volume);
    void onSetPersonalSynthesizerDeviceMute(const QString &deviceName, const QString &deviceID,
                                            bool mute);
    void onSetStreamingSynthesizerDeviceVolume(const QString &deviceName, const QString &deviceID,
                                               uint volume);
    void onSetStreamingSynthesizerDeviceMute(const QString &deviceName, const QString &deviceID,
                                             bool mute);
    void onSwitchPersonalSynthesizerDevice(const QString &deviceName, const QString &deviceID);
    void onSwitchStreamingSynthesizerDevice(const QString &deviceName, const QString &deviceID);
    void takeStreamSpeakerLevel(const QString &deviceID);
    void setStreamSpeakerLevel(int volume, bool mute);
    void reopenMicrophoneOutput(const MicrophoneOutput &output, const QString &deviceName,
                                const QString &deviceID);
    void onSwitchMicrophoneInputDevice(const QString &deviceName, const QString &deviceID);
    void onSetGamingChatMixEnable(bool isEnable);
    void onSetGamingChatMixProportion(int gamingMixProportion, int chatMixProportion);

    // Levels. `handler` is the name that stands in the log lines.
    void answerDeviceMute(const char *handler, const QString &deviceName, const QString &deviceID);
    void answerDeviceVolume(const char *handler, const QString &deviceName,
                            const QString &deviceID);
    void orderDeviceMute(const char *handler, const QString &deviceName, const QString &deviceID,
                         bool isMute);
    /// How a volume order reaches the monitor, and the verb of its failure line.
    struct VolumeOrder
    {
        bool (SystemSoundMonitor::*absolute)(const QString &, int, bool);
        bool (SystemSoundMonitor::*relative)(const QString &, unsigned int, bool);
        const char *verb;
    };
    static const VolumeOrder setVolumeOrder;
    static const VolumeOrder increaseVolumeOrder;
    static const VolumeOrder decreaseVolumeOrder;
    void orderDeviceVolume(const char *handler, const VolumeOrder &order, const QString &deviceName,
                           const QString &deviceID, uint value);
    void onGetOutputDeviceInfos();
    void onGetInputDeviceInfos();

    // Events of endpoints and sessions
    using SessionsHandler = void (AudioSessionManager::*)(const QString &);
    void onDefaultDeviceChanged(const char *handler, const QString &deviceType,
                                SessionsHandler sessionsHandler, const QString &deviceID);
    using ArrivalSender = void (WebSocketServer::*)(const QString &, const QString &);
    void onDeviceArrived(const char *handler, const QString &deviceID, ArrivalSender sender);
    using DepartureSender = void (WebSocketServer::*)(const QString &);
    void onDeviceDeparted(const char *handler, const QString &deviceID, DepartureSender sender);
    void releaseEndpoint(const QString &id);
    void onPropertyValueChanged(const QString &deviceID);
    void renewEndpoint(const QString &deviceID);
    void onDeviceControlChanged(const QString &deviceID, bool muted, int volume);
    void sendDeviceControlChanged(const QString &name, const QString &deviceID, bool muted,
                                  int volume);
    /// Which endpoints may keep a level of their own in Streamer mode.
    [[nodiscard]] bool keepsOwnLevelInStreamerMode(const QString &name, const QString &deviceID);
    void onDeviceStateChanged(const QString &deviceID, bool muted, int volume);
    void forceFullLevel(const QString &deviceID, bool muted, int volume);
    void applyLevel(QString deviceName, const QString &deviceID, bool muted, int volume);
    void onGetAudioSessionInfos();
    void onGetDeviceAudioSessionInfos(const QString &deviceID);

    // HID devices
    void connectHidCommands();
    /// Lets all devices go, when no command can come any more.
    void dropHidDevices();
    /// A device that the client opened, or tried to open, under the IDs that it asked for.
    struct HidEntry
    {
        int vendorId;
        int productId;
        QPointer<VXGeneralDevice> device;
    };
    /// The place in the list of the device that a command means, -1 if there is none; under the
    /// lock.
    [[nodiscard]] qsizetype findHidDevice(const QJsonObject &deviceInfo) const;

    // Devices that come and go
    void registerDeviceUnplugNotification();
    void onDeviceChange(const void *broadcast, bool arrived);
    void onDeviceInterfaceChange(const QString &name, bool arrived);
    [[nodiscard]] bool isOfLastUsbDevice(const DevicePath &path) const;

    // The diagnostic window
    void buildWindow();
    void printEndpointDeviceNames();
    using EndpointList = QJsonArray (SystemSoundMonitor::*)();
    void printEndpointList(const QString &title, EndpointList list, QMap<QString, QString> &names);
    void onRecordDeviceSelected(int index);
    void onRecordClicked();

    QString tempIconsDir;
    QTextEdit *logView = nullptr;
    QComboBox *recordDeviceCombo = nullptr;
    QPushButton *recordButton = nullptr;
    bool isRecording = false;
    QMap<QString, QJsonObject> virtualEndpoints;
    bool controlModeChanging = false;
    tavoriSoftwareMode controlMode = NormalMode;
    OutputDevicePointer auxDevice;
    OutputDevicePointer aux2Device;
    OutputDevicePointer aux3Device;
    OutputDevicePointer browserDevice;
    OutputDevicePointer chatDevice;
    OutputDevicePointer gameDevice;
    OutputDevicePointer mediaDevice;
    QSharedPointer<tavoriInputDevice> microphoneDevice;
    QSharedPointer<tavoriInputDevice> streamDevice;
    QSharedPointer<AudioSessionManager> audioSessionManager;
    QSharedPointer<SystemSoundMonitor> systemSoundMonitor;
    QSharedPointer<WebSocketServer> webSocketServer;
    QMap<QString, QString> inputDeviceNames;
    QMap<QString, QString> outputDeviceNames;
    QSharedPointer<WASAPIMicrophoneCapturer> microphoneCapturer;
    PlayerPointer microphonePlayer;
    PlayerPointer personalMicrophonePlayer;
    PlayerPointer streamingMicrophonePlayer;
    QList<HidEntry> hidDevices;
    /// Guards the list and its threads.
    QMutex hidDevicesMutex;
    ObjectThreads hidThreads;
    MemoryCheck *memoryCheck = nullptr;
    QPointer<QTimer> alertTimer;
    /// Of the USB device that arrived last.
    int lastUsbVid = 0;
    int lastUsbPid = 0;
    QString lastUsbSerial;
    QMetaObject::Connection quitConnection;

    static const std::array<OutputDevicePointer QuorvaneWidget::*, outputCount> outputSlots;
};

template <typename Function>
void QuorvaneWidget::forEachOutput(Function function)
{
    for (const auto slot : outputSlots) {
        if (this->*slot)
            function(*(this->*slot));
    }
}
