// The one service that knows all audio sessions of all endpoints.
#pragma once

#include "platform/audiopolicyconfig.h"
#include "platform/comptr.h"
#include "platform/coreaudio.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QString>

#include <memory>

class DeviceAudioSession;
class QThread;

/// Owns the session lists of all active endpoints, follows endpoints that come and go, and gathers
/// the session events of all of them in one set of signals.
///
/// Lives on a worker thread of its own; the owner calls the public operations directly on its own
/// thread and also ends the object there. An endpoint is identified by its endpoint ID, compared
/// exactly.
class AudioSessionManager : public QObject
{
    Q_OBJECT

public:
    /// `useWorkerThread` asks for a worker thread of its own; then `parent` must be null.
    explicit AudioSessionManager(bool useWorkerThread, QObject *parent = nullptr);
    /// Ends the manager, on the owner's thread; null is legal. Waits at most 100 ms for the worker
    /// thread; a worker that is held up in the platform for longer deletes the manager later.
    static void end(AudioSessionManager *manager);

    /// One entry for each active endpoint: its ID, and the session info objects of its sessions.
    /// `reset` builds all lists afresh.
    [[nodiscard]] QJsonObject getAllAudioSessionInfos(bool reset);
    /// Empty for an unknown endpoint.
    [[nodiscard]] QJsonArray getDeviceAudioSessionInfos(const QString &deviceID);
    /// The default endpoint for eConsole as the platform has it now; empty on failure.
    [[nodiscard]] QString getDefaultCaptureDeviceID();
    [[nodiscard]] QString getDefaultRenderDeviceID();

    /// To be called once for each arrival: an entry that exists already isn't looked for. An ID
    /// that is not among the active endpoints does nothing.
    void onRenderDeviceAdded(const QString &deviceID);
    void onCaptureDeviceAdded(const QString &deviceID);
    /// The endpoint's sessions go without an event of their own.
    void removeDeviceAudioSession(const QString &deviceID);
    void onDefaultCaptureDeviceChanged(const QString &deviceID);
    void onDefaultRenderDeviceChanged(const QString &deviceID);
    /// Builds all lists afresh. Raises sigUpdateAudioSessionInfos with the stored infos, of which
    /// there are none.
    void resetAllDeviceAudioSessionInfos();

    /// Moves an application to another endpoint, for its next streams too, and leaves the system's
    /// default alone. `flow` is an EDataFlow. 1 when done or nothing was to do, 0 when the platform
    /// refused or reads something else back, -1 without a process, -2 without a name, -3 without
    /// an endpoint; sigFinishSetAppDefaultAudioEndpoint tells it too. Waits for the platform. The
    /// endpoints concerned are refreshed 250 ms later. An input always reads back as another one.
    int setAppDefaultAudioEndpoint(int appProcessID, const QString &appName,
                                   const QString &audioEndpointID,
                                   const QString &fromAudioEndpointID, int flow);
    /// The long form of the application's own endpoint; empty if it has none.
    [[nodiscard]] QString getPersistedDefaultAudioEndpoint(unsigned long pid, int flow);
    /// 1 on success, 0 otherwise.
    int setPersistedDefaultAudioEndpoint(unsigned long pid, int flow, const QString &id);

signals:
    void sigPrintfLog(const QString &logMessage);
    void sigUpdateAudioSessionInfos(const QJsonObject &audioSessionInfos);
    void sigUpdateDeviceAudioSessionInfos(const QString &deviceID,
                                          const QJsonArray &deviceAudioSessionInfos);
    void sigAudioSessionInfoChanged(const QString &deviceID, const QJsonObject &audioSessionInfo);
    void sigDisplayNameChanged(const QString &deviceID, const QString &audioEndpointID,
                               const QString &sessionIdentifier,
                               const QString &sessionInstanceIdentifier, int sessionProcessId,
                               const QString &processName, const QString &newDisplayName);
    void sigIconPathChanged(const QString &deviceID, const QString &audioEndpointID,
                            const QString &sessionIdentifier,
                            const QString &sessionInstanceIdentifier, int sessionProcessId,
                            const QString &processName, const QString &newIconPath);
    void sigGroupingParamChanged(const QString &deviceID, const QString &audioEndpointID,
                                 const QString &sessionIdentifier,
                                 const QString &sessionInstanceIdentifier, int sessionProcessId,
                                 const QString &processName, const QString &oldGroupingParam,
                                 const QString &newGroupingParam);
    void sigAudioSessionStateActive(const QString &deviceID, const QString &audioEndpointID,
                                    const QString &sessionIdentifier,
                                    const QString &sessionInstanceIdentifier,
                                    const QString &sessionGroupingParam, int sessionProcessId,
                                    const QString &processName,
                                    const QString &sessionProcessFileIcon);
    void sigAudioSessionStateInactive(const QString &deviceID, const QString &audioEndpointID,
                                      const QString &sessionIdentifier,
                                      const QString &sessionInstanceIdentifier,
                                      const QString &sessionGroupingParam, int sessionProcessId,
                                      const QString &processName,
                                      const QString &sessionProcessFileIcon);
    void sigAudioSessionStateExpired(const QString &deviceID, const QString &audioEndpointID,
                                     const QString &sessionIdentifier,
                                     const QString &sessionInstanceIdentifier,
                                     const QString &sessionGroupingParam, int sessionProcessId,
                                     const QString &processName,
                                     const QString &sessionProcessFileIcon);
    void sigAudioSessionDisconnected(const QString &deviceID, const QString &audioEndpointID,
                                     const QString &sessionIdentifier,
                                     const QString &sessionInstanceIdentifier,
                                     const QString &sessionGroupingParam, int sessionProcessId,
                                     const QString &processName, const QString &disconnectReason);
    void sigFinishSetAppDefaultAudioEndpoint(const QString &appName, const QString &audioEndpointID,
                                             bool success);

public slots:
    /// Builds the list of each endpoint afresh and raises sigUpdateAudioSessionInfos with them all.
    void tryToUpdateAudioSessionsInfos();
    /// The same for one endpoint; an unknown one does nothing.
    void tryToUpdateDeviceAudioSessionsInfo(const QString &deviceID);
    /// Sets mute and level of all sessions on an endpoint. The level is never below 1.0: a smaller
    /// one puts the sessions at full level.
    void tryToUpdateDeviceAudioSessionsVolumeOrMute(const QString &deviceID, BOOL bMuted,
                                                    float fMasterVolume, GUID eventContext);

private slots:
    void onUpdateDeviceAudioSessionInfos(const QString &deviceID,
                                         const QJsonArray &deviceAudioSessionInfo);
    void onAudioSessionInfoChanged(const QString &deviceID, const QJsonObject &audioSessionInfo);
    void onDisplayNameChanged(const QString &deviceID, const QString &audioEndpointID,
                              const QString &sessionIdentifier,
                              const QString &sessionInstanceIdentifier, int sessionProcessId,
                              const QString &processName, const QString &newDisplayName);
    void onIconPathChanged(const QString &deviceID, const QString &audioEndpointID,
                           const QString &sessionIdentifier,
                           const QString &sessionInstanceIdentifier, int sessionProcessId,
                           const QString &processName, const QString &newIconPath);
    void onGroupingParamChanged(const QString &deviceID, const QString &audioEndpointID,
                                const QString &sessionIdentifier,
                                const QString &sessionInstanceIdentifier, int sessionProcessId,
                                const QString &processName, const QString &oldGroupingParam,
                                const QString &newGroupingParam);
    void onAudioSessionStateActive(const QString &deviceID, const QString &audioEndpointID,
                                   const QString &sessionIdentifier,
                                   const QString &sessionInstanceIdentifier,
                                   const QString &sessionGroupingParam, int sessionProcessId,
                                   const QString &processName,
                                   const QString &sessionProcessFileIcon);
    void onAudioSessionStateInactive(const QString &deviceID, const QString &audioEndpointID,
                                     const QString &sessionIdentifier,
                                     const QString &sessionInstanceIdentifier,
                                     const QString &sessionGroupingParam, int sessionProcessId,
                                     const QString &processName,
                                     const QString &sessionProcessFileIcon);
    void onAudioSessionStateExpired(const QString &deviceID, const QString &audioEndpointID,
                                    const QString &sessionIdentifier,
                                    const QString &sessionInstanceIdentifier,
                                    const QString &sessionGroupingParam, int sessionProcessId,
                                    const QString &processName,
                                    const QString &sessionProcessFileIcon);
    void onAudioSessionDisconnected(const QString &deviceID, const QString &audioEndpointID,
                                    const QString &sessionIdentifier,
                                    const QString &sessionInstanceIdentifier,
                                    const QString &sessionGroupingParam, int sessionProcessId,
                                    const QString &processName, const QString &disconnectReason);

private:
    ~AudioSessionManager() override;
    void leavePlatform();
    [[nodiscard]] QString defaultDeviceID(EDataFlow flow);
    void clearDeviceSessions();
    void connectDeviceSession(const DeviceAudioSession *device);

    // With the mutex held.
    [[nodiscard]] DeviceAudioSession *findDevice(const QString &deviceID) const;
    void appendAllDevices(EDataFlow flow);
    /// Null if the endpoint has no session manager.
    DeviceAudioSession *appendDevice(EDataFlow flow, const QString &deviceID, IMMDevice *device);
    void addDevice(EDataFlow flow, const QString &deviceID, const char *function);

    void fetchPolicyFactory();
    /// Each endpoint once.
    void refreshLater(QStringList endpointIDs);

    // Which applications are being moved: their events are dropped meanwhile. Any thread.
    void enterRouting(const QString &appName, const QString &audioEndpointID);
    void leaveRouting(const QString &appName);
    [[nodiscard]] bool isInRouting(const QString &appName);

    std::unique_ptr<QThread> workerThread; ///< null if the owner's thread serves
    ComPtr<IMMDeviceEnumerator> enumerator;
    ComPtr<IAudioPolicyConfig> policyFactory; ///< null if the system has none
    QMutex mutex; ///< guards `deviceSessions`; taken before a device's own
    QList<QPointer<DeviceAudioSession>> deviceSessions; ///< owned
    QList<QPair<QString, QJsonArray>> storedSessionInfos;
    QString defaultRenderID;
    QString defaultCaptureID;
    QMutex routingMutex;                  ///< guards `appsInRouting`; nothing is called under it
    QMap<QString, QString> appsInRouting; ///< application name to the endpoint it moves to
};
