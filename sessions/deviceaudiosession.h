// The audio sessions of one endpoint.
#pragma once

#include "platform/comptr.h"
#include "platform/coreaudio.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

class AudioSession;
class AudioSessionNotifications;

/// Keeps the list of an endpoint's live sessions: decides which are shown, recognises repeats,
/// reads them again when the platform announces a new one, and tells the sessions' events with the
/// endpoint's ID in front. The public operations are callable from any thread; the slots run on
/// the thread that made this object, and there it is ended.
class DeviceAudioSession : public QObject
{
    Q_OBJECT

public:
    /// `capture` is false for a render endpoint. Adds a reference to `manager`, which may be null.
    DeviceAudioSession(bool capture, const QString &deviceID, IAudioSessionManager2 *manager);
    ~DeviceAudioSession() override;

    [[nodiscard]] bool isCapture() const { return capture; }
    [[nodiscard]] const QString &getDeviceID() const { return deviceID; }
    /// Null if there is none.
    [[nodiscard]] IAudioSessionManager2 *sessionManager() const { return manager.get(); }

    /// Reads the platform's sessions. With `reset` the list is built afresh, without it the
    /// sessions that are listed already stay. Raises sigUpdateDeviceAudioSessionInfos if the list
    /// changed. Can take long.
    void refreshDeviceAudioSession(bool reset);
    /// Session info objects of all listed sessions.
    [[nodiscard]] QJsonArray getDeviceAudioSessionInfos();
    /// Takes over from the settings which endpoint the session's application is routed to.
    void updateDefaultEndpointState(AudioSession *session);
    /// True if a listed session has the same identity and state. One with the same identity and
    /// another state is ended, to be replaced. With the mutex held.
    [[nodiscard]] bool isRepetitiveAudioSession(AudioSession *session);

signals:
    void sigSessionCreated(const QString &deviceID);
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

public slots:
    /// Reads the sessions 500 ms later; a call meanwhile neither adds nor delays.
    void onSessionCreated();
    void onAudioSessionInfoChanged(const QJsonObject &audioSessionInfo);
    void onDisplayNameChanged(const QString &audioEndpointID, const QString &sessionIdentifier,
                              const QString &sessionInstanceIdentifier, int sessionProcessId,
                              const QString &processName, const QString &newDisplayName);
    void onIconPathChanged(const QString &audioEndpointID, const QString &sessionIdentifier,
                           const QString &sessionInstanceIdentifier, int sessionProcessId,
                           const QString &processName, const QString &newIconPath);
    void onGroupingParamChanged(const QString &audioEndpointID, const QString &sessionIdentifier,
                                const QString &sessionInstanceIdentifier, int sessionProcessId,
                                const QString &processName, const QString &oldGroupingParam,
                                const QString &newGroupingParam);
    void onAudioSessionStateActive(const QString &audioEndpointID, const QString &sessionIdentifier,
                                   const QString &sessionInstanceIdentifier,
                                   const QString &sessionGroupingParam, int sessionProcessId,
                                   const QString &processName,
                                   const QString &sessionProcessFileIcon);
    void onAudioSessionStateInactive(const QString &audioEndpointID,
                                     const QString &sessionIdentifier,
                                     const QString &sessionInstanceIdentifier,
                                     const QString &sessionGroupingParam, int sessionProcessId,
                                     const QString &processName,
                                     const QString &sessionProcessFileIcon);
    void onAudioSessionStateExpired(AudioSession *tmpAudioSession, const QString &audioEndpointID,
                                    const QString &sessionIdentifier,
                                    const QString &sessionInstanceIdentifier,
                                    const QString &sessionGroupingParam, int sessionProcessId,
                                    const QString &processName,
                                    const QString &sessionProcessFileIcon);
    void onAudioSessionDisconnected(AudioSession *tmpAudioSession, const QString &audioEndpointID,
                                    const QString &sessionIdentifier,
                                    const QString &sessionInstanceIdentifier,
                                    const QString &sessionGroupingParam, int sessionProcessId,
                                    const QString &processName, const QString &disconnectReason);

private:
    // With the mutex held.
    void endAllSessions();
    /// True if the list changed.
    bool readSessions(bool reset);
    bool takeSession(IAudioSessionControl *control, const QString &ownPath, bool reset);
    [[nodiscard]] bool isOwnedBySelf(AudioSession &session) const;

    void connectSession(const AudioSession *session);
    /// Ends the session if it is listed; its address may be that of one that is gone already.
    void removeSession(const AudioSession *session);

    const bool capture;
    const QString deviceID;
    ComPtr<IAudioSessionManager2> manager;
    AudioSessionNotifications *notifications; ///< one reference is ours
    QList<QPointer<AudioSession>> sessions;   ///< owned
    QMutex mutex;                             ///< guards `sessions` and the whole of a refresh
    QPointer<QTimer> refreshTimer;
};
