// One audio session of one endpoint.
#pragma once

#include "platform/comptr.h"
#include "platform/coreaudio.h"

#include <QJsonObject>
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QString>

class AudioSessionEvents;

/// Reads a session's properties live, remembers the last good values, and tells the session's
/// events with its full identity. The readers are callable from any thread; with no control they
/// give an empty text or the value named. The signals are raised on the thread of this object.
class AudioSession : public QObject
{
    Q_OBJECT

public:
    explicit AudioSession(QObject *parent = nullptr);
    ~AudioSession() override;

    /// Takes up another control, or none.
    void setSessionControl(IAudioSessionControl *newControl);
    /// On return the platform reports no event to this object any more.
    void releaseSessionControl();
    /// Remembers all properties as they are now. Before anybody else knows this object.
    void refreshSessionInfo();

    /// The session info object, with its thirteen keys.
    [[nodiscard]] QJsonObject getAudioSessionInfo();
    [[nodiscard]] QString getSessionIdentifier();
    [[nodiscard]] QString getSessionInstanceIdentifier();
    [[nodiscard]] QString getSessionDisplayName();
    [[nodiscard]] QString getSessionIconPath();
    /// The GUID's numbers in base 16 without leading zeros: comparable only with itself.
    [[nodiscard]] QString getSessionGroupingParam();
    /// An AudioSessionState; 2, expired, with no control.
    [[nodiscard]] int getSessionState();
    /// -1 with no control, 0 if the platform doesn't tell it.
    [[nodiscard]] int getSessionProcessId();
    /// 0 for the system sounds and with no control, 1 for any other session.
    [[nodiscard]] int isSystemSoundsSession();
    /// The application's name; found out once and then kept, which can take long.
    [[nodiscard]] QString getSessionProcessName();
    [[nodiscard]] QString getSessionProcessFileName();

    // What the settings tell of the application's own endpoint. Before anybody else knows this
    // object.
    void setInDefaultEndpoint(bool isDefault) { inDefaultEndpoint = isDefault; }
    void setAudioEndpointID(const QString &endpointID) { audioEndpointID = endpointID; }

signals:
    void sigAudioSessionInfoChanged(const QJsonObject &audioSessionInfo);
    void sigDisplayNameChanged(const QString &audioEndpointID, const QString &sessionIdentifier,
                               const QString &sessionInstanceIdentifier, int sessionProcessId,
                               const QString &processName, const QString &newDisplayName);
    void sigIconPathChanged(const QString &audioEndpointID, const QString &sessionIdentifier,
                            const QString &sessionInstanceIdentifier, int sessionProcessId,
                            const QString &processName, const QString &newIconPath);
    void sigGroupingParamChanged(const QString &audioEndpointID, const QString &sessionIdentifier,
                                 const QString &sessionInstanceIdentifier, int sessionProcessId,
                                 const QString &processName, const QString &oldGroupingParam,
                                 const QString &newGroupingParam);
    void sigAudioSessionStateActive(const QString &audioEndpointID,
                                    const QString &sessionIdentifier,
                                    const QString &sessionInstanceIdentifier,
                                    const QString &sessionGroupingParam, int sessionProcessId,
                                    const QString &processName,
                                    const QString &sessionProcessFileIcon);
    void sigAudioSessionStateInactive(const QString &audioEndpointID,
                                      const QString &sessionIdentifier,
                                      const QString &sessionInstanceIdentifier,
                                      const QString &sessionGroupingParam, int sessionProcessId,
                                      const QString &processName,
                                      const QString &sessionProcessFileIcon);
    /// `tmpAudioSession` is this object.
    void sigAudioSessionStateExpired(AudioSession *tmpAudioSession, const QString &audioEndpointID,
                                     const QString &sessionIdentifier,
                                     const QString &sessionInstanceIdentifier,
                                     const QString &sessionGroupingParam, int sessionProcessId,
                                     const QString &processName,
                                     const QString &sessionProcessFileIcon);
    /// `tmpAudioSession` is this object.
    void sigAudioSessionDisconnected(AudioSession *tmpAudioSession, const QString &audioEndpointID,
                                     const QString &sessionIdentifier,
                                     const QString &sessionInstanceIdentifier,
                                     const QString &sessionGroupingParam, int sessionProcessId,
                                     const QString &processName, const QString &disconnectReason);

private slots:
    void onDisplayNameChanged(const QString &newDisplayName);
    void onIconPathChanged(const QString &newIconPath);
    void onGroupingParamChanged(const QString &newGroupingParam);
    void onAudioSessionStateActive();
    void onAudioSessionStateInactive();
    void onAudioSessionStateExpired();
    void onAudioSessionDisconnected(const QString &disconnectReason);

private:
    /// What every event carries.
    struct Identity
    {
        QString identifier;
        QString instanceIdentifier;
        int processId = 0;
        QString processName;
    };
    /// The live values, and the remembered ones where those are of no use.
    [[nodiscard]] Identity currentIdentity();
    [[nodiscard]] QString currentGroupingParam();

    using TextReader = HRESULT (STDMETHODCALLTYPE IAudioSessionControl2::*)(LPWSTR *);
    [[nodiscard]] QString readText(TextReader reader);
    /// With the mutex held.
    [[nodiscard]] int processIdLocked() const;

    QString audioEndpointID;
    bool inDefaultEndpoint = false;
    QString sessionIdentifier;
    QString sessionInstanceIdentifier;
    QString sessionDisplayName;
    QString sessionIconPath;
    int sessionProcessId = 0;
    QString sessionProcessName;     ///< guarded by the mutex
    QString sessionProcessFileName; ///< guarded by the mutex
    QString sessionGroupingParam;
    const QString tempIconFolder;
    QString iconFilePath;
    QString iconData;
    ComPtr<IAudioSessionControl> control;
    ComPtr<IAudioSessionControl2> extendedControl;
    QMutex mutex; ///< guards the controls and every read through them
    QSharedPointer<AudioSessionEvents> events;
};
