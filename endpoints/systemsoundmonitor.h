// The one service that reads and changes the state of the real audio endpoints.
#pragma once

#include "platform/comptr.h"
#include "platform/coreaudio.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>

#include <memory>

class AudioDeviceEventNotificationClient;
class QThread;
struct EndpointMonitorEntry;

/// Lists the active endpoints, reads and sets their level, and turns the platform's endpoint
/// notifications into signals.
///
/// Lives on a worker thread of its own; the owner calls the public operations directly on its
/// own thread and ends the object there with `end`. An endpoint is identified by its endpoint ID,
/// compared exactly. Volumes are whole percentages, 0 to 100. Failures are told by results only.
///
/// `useContext` decides how a change comes back: true as sigDeviceStateChanged, false as
/// sigDeviceControlChanged.
class SystemSoundMonitor : public QObject
{
    Q_OBJECT

public:
    /// `useWorkerThread` asks for a worker thread of its own; then `parent` must be null.
    explicit SystemSoundMonitor(bool useWorkerThread, QObject *parent = nullptr);
    /// Ends the monitor, on the owner's thread; null is legal. Waits at most 100 ms for the
    /// worker thread. A worker that is held up in the platform for longer deletes the monitor
    /// later; nobody gets a signal from it any more.
    static void end(SystemSoundMonitor *monitor);

    /// Device info objects ("deviceName", "deviceID", "deviceMute", "deviceVolume") of the
    /// monitored capture endpoints that have a name, in list order.
    [[nodiscard]] QJsonArray getInputDeviceInfos();
    /// The same for render endpoints.
    [[nodiscard]] QJsonArray getOutputDeviceInfos();
    /// Device info of the default capture endpoint; empty when there is none.
    [[nodiscard]] QJsonObject getDefaultInputDeviceInfo();
    /// The same for the default render endpoint.
    [[nodiscard]] QJsonObject getDefaultOutputDeviceInfo();
    /// Friendly name; empty if unknown.
    [[nodiscard]] QString getDeviceName(const QString &id);
    /// True if a monitored render endpoint has this ID.
    [[nodiscard]] bool isOutputDevice(const QString &id);

    /// False on failure.
    [[nodiscard]] bool isDeviceMuted(const QString &id);
    /// An endpoint that already is as asked is not touched, but tells its state once more.
    bool setDeviceMuted(const QString &id, bool mute, bool useContext);
    /// Percentage; -1 without a connection to the platform, 0 on any other failure.
    [[nodiscard]] int getDeviceVolume(const QString &id);
    /// `percent` is clamped. An endpoint that already is as asked is not touched, but tells its
    /// state once more. True for every monitored endpoint, whatever the platform said.
    bool setDeviceVolume(const QString &id, int percent, bool useContext);
    /// Monitored endpoints only; the result is clamped to 0..100.
    bool increaseDeviceVolume(const QString &id, unsigned int step, bool useContext);
    bool decreaseDeviceVolume(const QString &id, unsigned int step, bool useContext);

    /// Starts to monitor an active endpoint; true if it is monitored now.
    bool addAudioEndpointVolumeCallbackMonitor(const QString &id);
    /// False if the endpoint was not monitored.
    bool removeAudioEndpointVolumeCallbackMonitor(const QString &id);
    /// Builds the whole list afresh, render endpoints first.
    void updateAudioEndpointVolumeMonitor();

    /// Shows or hides the endpoint in the system.
    bool setAudioDeviceVisibility(const QString &id, bool visible);
    /// Makes the endpoint the default for eConsole; the other roles are left as they are.
    HRESULT setDefaultEndpoint(const wchar_t *id);
    /// Makes the endpoint the default of its direction unless it already is. True also when the
    /// platform refuses: the change, if any, comes back as a notification.
    bool setSystemDefaultDevice(bool output, const QString &id);

signals:
    void sigPrintfLog(const QString &logMessage);
    void sigDefaultCaptureDeviceChanged(const QString &deviceID);
    void sigDefaultRenderDeviceChanged(const QString &deviceID);
    void sigDeviceAdded(const QString &deviceID);
    void sigDeviceRemoved(const QString &deviceID);
    void sigDeviceActive(const QString &deviceID);
    void sigDeviceDisabled(const QString &deviceID);
    void sigDeviceNotPresent(const QString &deviceID);
    void sigDeviceUnplugged(const QString &deviceID);
    void sigPropertyValueChanged(const QString &deviceID);
    /// Somebody else changed volume or mute. `fMasterVolume` is the whole percentage.
    void sigDeviceControlChanged(const QString &sDeviceID, bool bMuted, int fMasterVolume,
                                 GUID eventContext);
    /// This object changed volume or mute. `fMasterVolume` is the whole percentage.
    void sigDeviceStateChanged(const QString &sDeviceID, bool bMuted, int fMasterVolume,
                               GUID eventContext);

private slots:
    void onDefaultCaptureDeviceChanged(const QString &deviceID);
    void onDefaultRenderDeviceChanged(const QString &deviceID);
    void onDeviceAdded(const QString &deviceID);
    void onDeviceRemoved(const QString &deviceID);
    void onDeviceActive(const QString &deviceID);
    void onDeviceDisabled(const QString &deviceID);
    void onDeviceNotPresent(const QString &deviceID);
    void onDeviceUnplugged(const QString &deviceID);
    void onPropertyValueChanged(const QString &deviceID);

private:
    ~SystemSoundMonitor() override;

    void connectNotificationClient();
    void leavePlatform();

    /// For the worker thread: keeps the enumerator alive while the owner ends this object.
    [[nodiscard]] ComPtr<IMMDeviceEnumerator> heldEnumerator();

    // The endpoint list; with the mutex held.
    [[nodiscard]] EndpointMonitorEntry *findEntry(const QString &id) const;
    [[nodiscard]] EndpointMonitorEntry *findEntryWithVolume(const QString &id) const;
    void destroyEntries();
    void appendAllEndpoints(EDataFlow flow);
    bool appendEndpoint(EDataFlow flow, const QString &id);
    bool appendEntry(IMMDevice *device, const QString &id, EDataFlow flow);

    // Through the platform, for an endpoint without an entry. A failure is logged under the name
    // of the function. With the mutex held.
    [[nodiscard]] ComPtr<IMMDevice> deviceByID(const QString &id, const char *function);
    [[nodiscard]] ComPtr<IAudioEndpointVolume> activateVolume(const QString &id,
                                                              const char *function);

    // Levels; with the mutex held.
    void applyVolume(EndpointMonitorEntry &entry, float target, bool useContext);
    void notifyUnchanged(EndpointMonitorEntry &entry, bool muted, float scalar);
    bool stepVolume(const QString &id, unsigned int signedStep, bool useContext,
                    const char *function);
    [[nodiscard]] const GUID *contextOrNull(bool useContext) const;

    // Device info; the mutex must not be held.
    [[nodiscard]] QJsonArray deviceInfos(EDataFlow flow);
    [[nodiscard]] QJsonObject defaultDeviceInfo(IMMDeviceEnumerator *source, EDataFlow flow);
    /// Stores what the default is now, looked up if `id` is empty; true if it is another one.
    bool rememberDefault(QString &remembered, const QString &id, EDataFlow flow);

    std::unique_ptr<QThread> workerThread; ///< null without one
    GUID eventContext{};
    ComPtr<IMMDeviceEnumerator> enumerator; ///< changed by the owner's thread, under the mutex
    AudioDeviceEventNotificationClient *notificationClient = nullptr;
    QList<EndpointMonitorEntry *> entries; ///< owned
    QMutex mutex;                          ///< guards `entries`
    QString defaultCaptureID;
    QString defaultRenderID;
};
