// The sinks for session notifications of the platform.
#pragma once

#include "platform/coreaudio.h"

#include <QObject>
#include <QString>

#include <atomic>

/// Hears the events of one session and turns them into signals. Reference counted: made with one
/// reference, deleted by the last Release. Called on a thread of the platform; the signals are
/// raised later, on the thread of this object, but for the disconnection, which is raised at once.
class AudioSessionEvents : public QObject, public IAudioSessionEvents
{
    Q_OBJECT

public:
    AudioSessionEvents() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE OnDisplayNameChanged(LPCWSTR NewDisplayName,
                                                   LPCGUID EventContext) override;
    HRESULT STDMETHODCALLTYPE OnIconPathChanged(LPCWSTR NewIconPath, LPCGUID EventContext) override;
    /// Only logged, as is the next.
    HRESULT STDMETHODCALLTYPE OnSimpleVolumeChanged(float NewVolume, BOOL NewMute,
                                                    LPCGUID EventContext) override;
    HRESULT STDMETHODCALLTYPE OnChannelVolumeChanged(DWORD ChannelCount,
                                                     float NewChannelVolumeArray[],
                                                     DWORD ChangedChannel,
                                                     LPCGUID EventContext) override;
    HRESULT STDMETHODCALLTYPE OnGroupingParamChanged(LPCGUID NewGroupingParam,
                                                     LPCGUID EventContext) override;
    HRESULT STDMETHODCALLTYPE OnStateChanged(AudioSessionState NewState) override;
    HRESULT STDMETHODCALLTYPE
    OnSessionDisconnected(AudioSessionDisconnectReason DisconnectReason) override;

signals:
    void sigDisplayNameChanged(const QString &newDisplayName);
    void sigIconPathChanged(const QString &newIconPath);
    /// The two halves of the GUID in base 16; not the text that a session tells of itself.
    void sigGroupingParamChanged(const QString &newGroupingParam);
    void sigAudioSessionStateActive();
    void sigAudioSessionStateInactive();
    void sigAudioSessionStateExpired();
    void sigAudioSessionDisconnected(const QString &disconnectReason);

private:
    ~AudioSessionEvents() override = default;

    std::atomic<ULONG> references{1};
};

/// Hears of new sessions on one endpoint. Reference counted like the above. Called on a thread of
/// the platform, where the signal is raised too. Its property "deviceID" is the endpoint's ID.
class AudioSessionNotifications : public QObject, public IAudioSessionNotification
{
    Q_OBJECT

public:
    AudioSessionNotifications() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    /// The new session isn't kept: the owner reads all sessions again.
    HRESULT STDMETHODCALLTYPE OnSessionCreated(IAudioSessionControl *NewSession) override;

signals:
    void sigSessionCreated();

private:
    ~AudioSessionNotifications() override = default;

    std::atomic<ULONG> references{1};
};
