#include "platform/linux/sessionobjects.h"

#include "platform/posix/taskmemory.h"

#include <algorithm>

namespace pulse
{
namespace
{
HRESULT giveText(const QString &text, LPWSTR *result)
{
    if (!result)
        return E_POINTER;
    *result = posix::taskMemoryString(text);
    return *result ? S_OK : E_OUTOFMEMORY;
}

const GUID &contextOf(LPCGUID context)
{
    return context ? *context : GUID_NULL;
}

void tell(IAudioSessionEvents &sink, const Event &event)
{
    const auto &change = std::get<SessionEvent>(event);
    switch (change.kind) {
    case SessionEvent::NameChanged:
        sink.OnDisplayNameChanged(change.text.toStdWString().c_str(), &change.context);
        break;
    case SessionEvent::IconChanged:
        sink.OnIconPathChanged(change.text.toStdWString().c_str(), &change.context);
        break;
    case SessionEvent::VolumeChanged:
        sink.OnSimpleVolumeChanged(change.scalar, change.muted ? TRUE : FALSE, &change.context);
        break;
    case SessionEvent::StateChanged:
        sink.OnStateChanged(change.state);
        break;
    case SessionEvent::Disconnected:
        sink.OnSessionDisconnected(change.reason);
        break;
    case SessionEvent::Created:
        break;
    }
}

// One that is over before its turn comes is not announced.
void announce(IAudioSessionNotification &sink, const Event &event)
{
    EndpointService &service = EndpointService::instance();
    const auto session = service.sessions().session(std::get<SessionEvent>(event).session);
    if (!session)
        return;
    const auto control = ComPtr<SessionControl>::adopt(new SessionControl(service, *session));
    sink.OnSessionCreated(control.get());
}
} // namespace

SessionControl::SessionControl(EndpointService &service, Session session)
    : service(service), known(std::move(session)), sinks(service.events())
{
}

Session SessionControl::now() const
{
    if (std::optional<Session> current = service.sessions().session(known.instanceIdentifier))
        return *current;
    Session over = known;
    over.state = AudioSessionStateExpired;
    return over;
}

HRESULT SessionControl::GetState(AudioSessionState *state)
{
    if (!state)
        return E_POINTER;
    *state = now().state;
    return S_OK;
}

HRESULT SessionControl::GetDisplayName(LPWSTR *name)
{
    return giveText(now().displayName, name);
}

HRESULT SessionControl::GetIconPath(LPWSTR *path)
{
    return giveText(now().iconPath, path);
}

HRESULT SessionControl::GetGroupingParam(GUID *grouping)
{
    if (!grouping)
        return E_POINTER;
    *grouping = GUID_NULL;
    return S_OK;
}

HRESULT SessionControl::RegisterAudioSessionNotification(IAudioSessionEvents *sink)
{
    return sinks.add(sink, sessionTopic(known.instanceIdentifier), &tell);
}

HRESULT SessionControl::UnregisterAudioSessionNotification(IAudioSessionEvents *sink)
{
    return sinks.remove(sink);
}

HRESULT SessionControl::GetSessionIdentifier(LPWSTR *identifier)
{
    return giveText(known.identifier, identifier);
}

HRESULT SessionControl::GetSessionInstanceIdentifier(LPWSTR *identifier)
{
    return giveText(known.instanceIdentifier, identifier);
}

HRESULT SessionControl::GetProcessId(DWORD *processId)
{
    if (!processId)
        return E_POINTER;
    *processId = known.processId;
    return S_OK;
}

HRESULT SessionControl::IsSystemSoundsSession()
{
    return known.isSystemSounds ? S_OK : S_FALSE;
}

HRESULT SessionControl::SetMasterVolume(float level, LPCGUID context)
{
    if (!(level >= 0.0f && level <= 1.0f))
        return E_INVALIDARG;
    return service.server().setStreamVolume(known.instanceIdentifier, level, contextOf(context));
}

HRESULT SessionControl::GetMasterVolume(float *level)
{
    if (!level)
        return E_POINTER;
    const pa_cvolume volume = now().volume;
    *level = std::min(1.0f, static_cast<float>(pa_cvolume_max(&volume)) / PA_VOLUME_NORM);
    return S_OK;
}

HRESULT SessionControl::SetMute(const BOOL mute, LPCGUID context)
{
    return service.server().setStreamMute(known.instanceIdentifier, mute != FALSE,
                                          contextOf(context));
}

HRESULT SessionControl::GetMute(BOOL *mute)
{
    if (!mute)
        return E_POINTER;
    *mute = now().muted ? TRUE : FALSE;
    return S_OK;
}

HRESULT SessionEnumerator::GetCount(int *count)
{
    if (!count)
        return E_POINTER;
    *count = static_cast<int>(sessions.size());
    return S_OK;
}

HRESULT SessionEnumerator::GetSession(int index, IAudioSessionControl **session)
{
    if (!session)
        return E_POINTER;
    *session = nullptr;
    if (index < 0 || static_cast<std::size_t>(index) >= sessions.size())
        return E_INVALIDARG;
    *session = new SessionControl(service, sessions[static_cast<std::size_t>(index)]);
    return S_OK;
}

SessionManager::SessionManager(EndpointService &service, const QString &endpointId)
    : service(service), endpointId(endpointId), sinks(service.events())
{
}

HRESULT SessionManager::GetSessionEnumerator(IAudioSessionEnumerator **sessions)
{
    if (!sessions)
        return E_POINTER;
    *sessions = new SessionEnumerator(service, service.sessions().sessionsAt(endpointId));
    return S_OK;
}

HRESULT SessionManager::RegisterSessionNotification(IAudioSessionNotification *sink)
{
    return sinks.add(sink, sessionsTopic(endpointId), &announce);
}

HRESULT SessionManager::UnregisterSessionNotification(IAudioSessionNotification *sink)
{
    return sinks.remove(sink);
}
} // namespace pulse
