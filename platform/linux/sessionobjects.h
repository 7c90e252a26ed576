// The sessions' interfaces.
#pragma once

#include "platform/linux/endpointservice.h"
#include "platform/linux/subscriptions.h"
#include "platform/posix/comobject.h"

namespace pulse
{
/// One session. It outlives its stream: it is expired then, and tells what it last was.
class SessionControl final : public posix::ComObject<IAudioSessionControl2, ISimpleAudioVolume>
{
public:
    SessionControl(EndpointService &service, Session session);

    HRESULT STDMETHODCALLTYPE GetState(AudioSessionState *state) override;
    HRESULT STDMETHODCALLTYPE GetDisplayName(LPWSTR *name) override;
    HRESULT STDMETHODCALLTYPE GetIconPath(LPWSTR *path) override;
    /// The server groups nothing: GUID_NULL.
    HRESULT STDMETHODCALLTYPE GetGroupingParam(GUID *grouping) override;
    HRESULT STDMETHODCALLTYPE RegisterAudioSessionNotification(IAudioSessionEvents *sink) override;
    HRESULT STDMETHODCALLTYPE
    UnregisterAudioSessionNotification(IAudioSessionEvents *sink) override;
    HRESULT STDMETHODCALLTYPE GetSessionIdentifier(LPWSTR *identifier) override;
    HRESULT STDMETHODCALLTYPE GetSessionInstanceIdentifier(LPWSTR *identifier) override;
    HRESULT STDMETHODCALLTYPE GetProcessId(DWORD *processId) override;
    HRESULT STDMETHODCALLTYPE IsSystemSoundsSession() override;

    /// AUDCLNT_E_DEVICE_INVALIDATED for a session that is over.
    HRESULT STDMETHODCALLTYPE SetMasterVolume(float level, LPCGUID context) override;
    HRESULT STDMETHODCALLTYPE GetMasterVolume(float *level) override;
    HRESULT STDMETHODCALLTYPE SetMute(const BOOL mute, LPCGUID context) override;
    HRESULT STDMETHODCALLTYPE GetMute(BOOL *mute) override;

private:
    [[nodiscard]] Session now() const;

    EndpointService &service;
    const Session known; ///< as it was when the object was made
    Subscriptions<IAudioSessionEvents> sinks;
};

/// A snapshot of an endpoint's sessions.
class SessionEnumerator final : public posix::ComObject<IAudioSessionEnumerator>
{
public:
    SessionEnumerator(EndpointService &service, std::vector<Session> sessions)
        : service(service), sessions(std::move(sessions))
    {
    }

    HRESULT STDMETHODCALLTYPE GetCount(int *count) override;
    HRESULT STDMETHODCALLTYPE GetSession(int index, IAudioSessionControl **session) override;

private:
    EndpointService &service;
    const std::vector<Session> sessions;
};

/// The sessions of one endpoint.
class SessionManager final : public posix::ComObject<IAudioSessionManager2>
{
public:
    SessionManager(EndpointService &service, const QString &endpointId);

    HRESULT STDMETHODCALLTYPE GetSessionEnumerator(IAudioSessionEnumerator **sessions) override;
    HRESULT STDMETHODCALLTYPE RegisterSessionNotification(IAudioSessionNotification *sink) override;
    HRESULT STDMETHODCALLTYPE
    UnregisterSessionNotification(IAudioSessionNotification *sink) override;

private:
    EndpointService &service;
    const QString endpointId;
    Subscriptions<IAudioSessionNotification> sinks;
};
} // namespace pulse
