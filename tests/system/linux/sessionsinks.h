// The sessions of an endpoint as a client of the platform sees them, and sinks that write down
// what they are told.
#pragma once

#include "endpointsinks.h"

#include <vector>

/// What one session tells of itself.
struct SessionTexts
{
    QString identifier;
    QString instanceIdentifier;
    QString displayName;
    DWORD processId = 0;
    AudioSessionState state = AudioSessionStateExpired;
    HRESULT isSystemSounds = E_FAIL;
};

inline QString taken(LPWSTR text)
{
    const QString result = QString::fromWCharArray(text ? text : L"");
    CoTaskMemFree(text);
    return result;
}

inline SessionTexts textsOf(IAudioSessionControl2 *control)
{
    SessionTexts texts;
    LPWSTR text = nullptr;
    if (control->GetSessionIdentifier(&text) == S_OK)
        texts.identifier = taken(text);
    if (control->GetSessionInstanceIdentifier(&text) == S_OK)
        texts.instanceIdentifier = taken(text);
    if (control->GetDisplayName(&text) == S_OK)
        texts.displayName = taken(text);
    control->GetProcessId(&texts.processId);
    control->GetState(&texts.state);
    texts.isSystemSounds = control->IsSystemSoundsSession();
    return texts;
}

inline ComPtr<IAudioSessionManager2> sessionManagerOf(const QString &endpoint)
{
    ComPtr<IAudioSessionManager2> manager;
    if (const ComPtr<IMMDevice> device = deviceOf(endpoint))
        device->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, nullptr, manager.receiveVoid());
    return manager;
}

inline std::vector<ComPtr<IAudioSessionControl2>> sessionsAt(const QString &endpoint)
{
    std::vector<ComPtr<IAudioSessionControl2>> result;
    const ComPtr<IAudioSessionManager2> manager = sessionManagerOf(endpoint);
    ComPtr<IAudioSessionEnumerator> sessions;
    int count = 0;
    if (!manager || FAILED(manager->GetSessionEnumerator(sessions.receive())) ||
        FAILED(sessions->GetCount(&count)))
        return result;
    for (int index = 0; index < count; ++index) {
        ComPtr<IAudioSessionControl> control;
        ComPtr<IAudioSessionControl2> extended;
        sessions->GetSession(index, control.receive());
        control->QueryInterface(IID_IAudioSessionControl2, extended.receiveVoid());
        result.push_back(extended);
    }
    return result;
}

/// The first session of a process on an endpoint; null if it has none there.
inline ComPtr<IAudioSessionControl2> sessionOf(const QString &endpoint, qint64 processId)
{
    for (const ComPtr<IAudioSessionControl2> &each : sessionsAt(endpoint)) {
        if (textsOf(each.get()).processId == processId)
            return each;
    }
    return nullptr;
}

/// Writes down events of one session as "state 1", "name …", "disconnected 0".
class SessionSink final : public posix::ComObject<IAudioSessionEvents>
{
public:
    HRESULT STDMETHODCALLTYPE OnDisplayNameChanged(LPCWSTR name, LPCGUID) override
    {
        return add("name " + QString::fromWCharArray(name));
    }
    HRESULT STDMETHODCALLTYPE OnIconPathChanged(LPCWSTR path, LPCGUID) override
    {
        return add("icon " + QString::fromWCharArray(path));
    }
    HRESULT STDMETHODCALLTYPE OnSimpleVolumeChanged(float volume, BOOL mute,
                                                    LPCGUID context) override
    {
        return add(QStringLiteral("volume %1 %2 %3")
                       .arg(qRound(volume * 100))
                       .arg(mute ? "muted" : "open")
                       .arg(context->Data1));
    }
    HRESULT STDMETHODCALLTYPE OnChannelVolumeChanged(DWORD, float *, DWORD, LPCGUID) override
    {
        return add("channels");
    }
    HRESULT STDMETHODCALLTYPE OnGroupingParamChanged(LPCGUID, LPCGUID) override
    {
        return add("grouping");
    }
    HRESULT STDMETHODCALLTYPE OnStateChanged(AudioSessionState state) override
    {
        return add(QStringLiteral("state %1").arg(state));
    }
    HRESULT STDMETHODCALLTYPE OnSessionDisconnected(AudioSessionDisconnectReason reason) override
    {
        return add(QStringLiteral("disconnected %1").arg(reason));
    }
    [[nodiscard]] QStringList events() const
    {
        const QMutexLocker lock(&mutex);
        return texts;
    }

private:
    HRESULT add(const QString &text)
    {
        const QMutexLocker lock(&mutex);
        texts += text;
        return S_OK;
    }

    mutable QMutex mutex;
    QStringList texts;
};

/// Writes down the process of each new session, asking the session itself.
class ArrivalSink final : public posix::ComObject<IAudioSessionNotification>
{
public:
    HRESULT STDMETHODCALLTYPE OnSessionCreated(IAudioSessionControl *session) override
    {
        ComPtr<IAudioSessionControl2> extended;
        session->QueryInterface(IID_IAudioSessionControl2, extended.receiveVoid());
        const DWORD processId = textsOf(extended.get()).processId;
        const QMutexLocker lock(&mutex);
        arrived += processId;
        return S_OK;
    }
    [[nodiscard]] QList<DWORD> processes() const
    {
        const QMutexLocker lock(&mutex);
        return arrived;
    }

private:
    mutable QMutex mutex;
    QList<DWORD> arrived;
};
