// The interfaces of sessions. A call on a session is recorded with the session's number.
#include "platform/posix/taskmemory.h"
#include "platform/simulated/objects.h"
#include "platform/simulated/recordedobject.h"
#include "platform/simulated/sessiontable.h"
#include "platform/simulated/tables.h"

namespace simulated
{

namespace
{

constexpr const char *control2Name = "IAudioSessionControl2";
constexpr const char *volumeName = "ISimpleAudioVolume";

class SessionControl final : public RecordedObject<IAudioSessionControl2, ISimpleAudioVolume>
{
public:
    explicit SessionControl(SessionNumber number)
        : RecordedObject("IAudioSessionControl", session(number).endpointId), number(number)
    {
    }
    ~SessionControl() override { sessionEventSinks().removeAll(this); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void **result) override
    {
        const HRESULT answer = RecordedObject::QueryInterface(id, result);
        const auto found = findSession(number);
        if (FAILED(answer) || id != IID_IAudioSessionControl2 || !found || found->hasControl2)
            return answer;
        Release();
        *result = nullptr;
        return E_NOINTERFACE;
    }

    HRESULT STDMETHODCALLTYPE GetState(AudioSessionState *pRetVal) override
    {
        return read(name, "GetState", pRetVal, &Session::state);
    }
    HRESULT STDMETHODCALLTYPE GetDisplayName(LPWSTR *pRetVal) override
    {
        return readText(name, "GetDisplayName", pRetVal, &Session::displayName);
    }
    HRESULT STDMETHODCALLTYPE GetIconPath(LPWSTR *pRetVal) override
    {
        return readText(name, "GetIconPath", pRetVal, &Session::iconPath);
    }
    HRESULT STDMETHODCALLTYPE GetGroupingParam(GUID *pRetVal) override
    {
        return read(name, "GetGroupingParam", pRetVal, &Session::groupingParam);
    }

    HRESULT STDMETHODCALLTYPE
    RegisterAudioSessionNotification(IAudioSessionEvents *NewNotifications) override
    {
        if (const auto fault = calledOn(name, "RegisterAudioSessionNotification"))
            return *fault;
        if (!NewNotifications)
            return E_POINTER;
        sessionEventSinks().add(this, sinkKey(number), NewNotifications);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE
    UnregisterAudioSessionNotification(IAudioSessionEvents *NewNotifications) override
    {
        if (const auto fault = calledOn(name, "UnregisterAudioSessionNotification"))
            return *fault;
        return sessionEventSinks().remove(this, NewNotifications) ? S_OK : E_NOTFOUND;
    }

    HRESULT STDMETHODCALLTYPE GetSessionIdentifier(LPWSTR *pRetVal) override
    {
        return readText(control2Name, "GetSessionIdentifier", pRetVal, &Session::identifier);
    }
    HRESULT STDMETHODCALLTYPE GetSessionInstanceIdentifier(LPWSTR *pRetVal) override
    {
        return readText(control2Name, "GetSessionInstanceIdentifier", pRetVal,
                        &Session::instanceIdentifier);
    }
    HRESULT STDMETHODCALLTYPE GetProcessId(DWORD *pRetVal) override
    {
        return read(control2Name, "GetProcessId", pRetVal, &Session::processId);
    }
    HRESULT STDMETHODCALLTYPE IsSystemSoundsSession() override
    {
        bool systemSounds = false;
        const HRESULT result =
            read(control2Name, "IsSystemSoundsSession", &systemSounds, &Session::systemSounds);
        if (FAILED(result))
            return result;
        return systemSounds ? S_OK : S_FALSE;
    }

    HRESULT STDMETHODCALLTYPE SetMasterVolume(float fLevel, LPCGUID EventContext) override
    {
        const QString arguments =
            QString::number(static_cast<double>(fLevel)) + u' ' + contextText(EventContext);
        if (const auto fault = calledOn(volumeName, "SetMasterVolume", arguments))
            return *fault;
        if (!(fLevel >= 0.0f && fLevel <= 1.0f))
            return E_INVALIDARG;
        changeSession(number, [fLevel](Session &session) { session.volume = fLevel; });
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetMasterVolume(float *pfLevel) override
    {
        return read(volumeName, "GetMasterVolume", pfLevel, &Session::volume);
    }
    HRESULT STDMETHODCALLTYPE SetMute(const BOOL bMute, LPCGUID EventContext) override
    {
        const QString arguments = QStringLiteral("%1 %2").arg(bMute).arg(contextText(EventContext));
        if (const auto fault = calledOn(volumeName, "SetMute", arguments))
            return *fault;
        changeSession(number, [bMute](Session &session) { session.muted = bMute != FALSE; });
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetMute(BOOL *pbMute) override
    {
        return read(volumeName, "GetMute", pbMute, &Session::muted);
    }

private:
    [[nodiscard]] std::optional<HRESULT> calledOn(const QString &interfaceName, const char *method,
                                                  const QString &arguments = {})
    {
        QString text = QStringLiteral("%1::%2 %3").arg(interfaceName, QLatin1String(method));
        text = text.arg(number);
        if (!arguments.isEmpty())
            text += u' ' + arguments;
        return faultOf(text, endpointId);
    }

    template <typename Out, typename Field>
    HRESULT read(const QString &interfaceName, const char *method, Out *result,
                 Field Session::*field)
    {
        if (const auto fault = calledOn(interfaceName, method))
            return *fault;
        if (!result)
            return E_POINTER;
        const auto found = findSession(number);
        if (!found)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        *result = static_cast<Out>((*found).*field);
        return S_OK;
    }

    HRESULT readText(const QString &interfaceName, const char *method, LPWSTR *result,
                     QString Session::*field)
    {
        if (!result)
            return E_POINTER;
        *result = nullptr;
        QString text;
        const HRESULT answer = read(interfaceName, method, &text, field);
        if (FAILED(answer))
            return answer;
        // Who is to give another success than S_OK gives the text all the same.
        if (answer != S_OK)
            text = session(number).*field;
        *result = posix::taskMemoryString(text);
        return *result ? answer : E_OUTOFMEMORY;
    }

    const SessionNumber number;
};

class SessionEnumerator final : public RecordedObject<IAudioSessionEnumerator>
{
public:
    explicit SessionEnumerator(const QString &endpointId)
        : RecordedObject("IAudioSessionEnumerator", endpointId), numbers(sessionsOn(endpointId))
    {
    }

    HRESULT STDMETHODCALLTYPE GetCount(int *SessionCount) override
    {
        if (const auto fault = called("GetCount"))
            return *fault;
        if (!SessionCount)
            return E_POINTER;
        *SessionCount = static_cast<int>(numbers.size());
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetSession(int SessionCount, IAudioSessionControl **Session) override
    {
        if (!Session)
            return E_POINTER;
        *Session = nullptr;
        if (const auto fault = called("GetSession", QString::number(SessionCount)))
            return *fault;
        if (SessionCount < 0 || SessionCount >= numbers.size())
            return E_INVALIDARG;
        *Session = makeSessionControl(numbers.at(SessionCount));
        return S_OK;
    }

private:
    const QList<SessionNumber> numbers;
};

class SessionManager final : public RecordedObject<IAudioSessionManager2>
{
public:
    explicit SessionManager(const QString &endpointId)
        : RecordedObject("IAudioSessionManager2", endpointId)
    {
    }
    ~SessionManager() override { newSessionSinkList().removeAll(this); }

    HRESULT STDMETHODCALLTYPE GetSessionEnumerator(IAudioSessionEnumerator **SessionEnum) override
    {
        if (!SessionEnum)
            return E_POINTER;
        *SessionEnum = nullptr;
        if (const auto fault = called("GetSessionEnumerator"))
            return *fault;
        if (!findEndpoint(endpointId))
            return AUDCLNT_E_DEVICE_INVALIDATED;
        *SessionEnum = new SessionEnumerator(endpointId);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE
    RegisterSessionNotification(IAudioSessionNotification *SessionNotification) override
    {
        if (const auto fault = called("RegisterSessionNotification"))
            return *fault;
        if (!SessionNotification)
            return E_POINTER;
        newSessionSinkList().add(this, endpointId, SessionNotification);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE
    UnregisterSessionNotification(IAudioSessionNotification *SessionNotification) override
    {
        if (const auto fault = called("UnregisterSessionNotification"))
            return *fault;
        return newSessionSinkList().remove(this, SessionNotification) ? S_OK : E_NOTFOUND;
    }
};

} // namespace

IAudioSessionControl *makeSessionControl(SessionNumber number)
{
    return new SessionControl(number);
}

IAudioSessionManager2 *makeSessionManager(const QString &endpointId)
{
    return new SessionManager(endpointId);
}

} // namespace simulated
