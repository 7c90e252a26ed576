// Audio sessions: who plays or records on an endpoint.
#pragma once

#include "platform/vocabulary/unknown.h"

/// Of fixed width: a system may answer something else, too.
enum AudioSessionState : int
{
    AudioSessionStateInactive,
    AudioSessionStateActive,
    AudioSessionStateExpired,
};

enum AudioSessionDisconnectReason
{
    DisconnectReasonDeviceRemoval,
    DisconnectReasonServerShutdown,
    DisconnectReasonFormatChanged,
    DisconnectReasonSessionLogoff,
    DisconnectReasonSessionDisconnected,
    DisconnectReasonExclusiveModeOverride,
};

inline constexpr IID IID_ISimpleAudioVolume{
    0x87CE5498, 0x68D6, 0x44E5, {0x92, 0x15, 0x6D, 0xA4, 0x7E, 0xF8, 0x83, 0xD8}};
inline constexpr IID IID_IAudioSessionEvents{
    0x24918ACC, 0x64B3, 0x37C1, {0x8C, 0xA9, 0x74, 0xA6, 0x6E, 0x99, 0x57, 0xA8}};
inline constexpr IID IID_IAudioSessionControl{
    0xF4B1A599, 0x7266, 0x4319, {0xA8, 0xCA, 0xE7, 0x0A, 0xCB, 0x11, 0xE8, 0xCD}};
inline constexpr IID IID_IAudioSessionControl2{
    0xBFB7FF88, 0x7239, 0x4FC9, {0x8F, 0xA2, 0x07, 0xC9, 0x50, 0xBE, 0x9C, 0x6D}};
inline constexpr IID IID_IAudioSessionNotification{
    0x641DD20B, 0x4D41, 0x49CC, {0xAB, 0xA3, 0x17, 0x4B, 0x94, 0x77, 0xBB, 0x08}};
inline constexpr IID IID_IAudioSessionEnumerator{
    0xE2F5BB11, 0x0570, 0x40CA, {0xAC, 0xDD, 0x3A, 0xA0, 0x12, 0x77, 0xDE, 0xE8}};
inline constexpr IID IID_IAudioSessionManager2{
    0x77AA99A0, 0x1BD6, 0x484F, {0x8B, 0xC7, 0x2C, 0x65, 0x4C, 0x9A, 0x9B, 0x6F}};

/// Volume and mute of one session.
struct ISimpleAudioVolume : public IUnknown
{
    /// `fLevel` is a scalar, 0.0 to 1.0; E_INVALIDARG outside of it.
    virtual HRESULT STDMETHODCALLTYPE SetMasterVolume(float fLevel, LPCGUID EventContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMasterVolume(float *pfLevel) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetMute(const BOOL bMute, LPCGUID EventContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMute(BOOL *pbMute) = 0;

protected:
    ~ISimpleAudioVolume() = default;
};

/// A sink for the events of one session, called on a thread of the platform with no lock held.
struct IAudioSessionEvents : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE OnDisplayNameChanged(LPCWSTR NewDisplayName,
                                                           LPCGUID EventContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnIconPathChanged(LPCWSTR NewIconPath,
                                                        LPCGUID EventContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnSimpleVolumeChanged(float NewVolume, BOOL NewMute,
                                                            LPCGUID EventContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnChannelVolumeChanged(DWORD ChannelCount,
                                                             float NewChannelVolumeArray[],
                                                             DWORD ChangedChannel,
                                                             LPCGUID EventContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnGroupingParamChanged(LPCGUID NewGroupingParam,
                                                             LPCGUID EventContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnStateChanged(AudioSessionState NewState) = 0;
    virtual HRESULT STDMETHODCALLTYPE
    OnSessionDisconnected(AudioSessionDisconnectReason DisconnectReason) = 0;

protected:
    ~IAudioSessionEvents() = default;
};

/// One session. Its strings are the caller's, to be freed with CoTaskMemFree.
struct IAudioSessionControl : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetState(AudioSessionState *pRetVal) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDisplayName(LPWSTR *pRetVal) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIconPath(LPWSTR *pRetVal) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetGroupingParam(GUID *pRetVal) = 0;
    virtual HRESULT STDMETHODCALLTYPE
    RegisterAudioSessionNotification(IAudioSessionEvents *NewNotifications) = 0;
    /// On return no call of the sink runs any more, unless this is called from the sink itself.
    virtual HRESULT STDMETHODCALLTYPE
    UnregisterAudioSessionNotification(IAudioSessionEvents *NewNotifications) = 0;

protected:
    ~IAudioSessionControl() = default;
};

struct IAudioSessionControl2 : public IAudioSessionControl
{
    /// Begins with the endpoint ID; the same for all sessions of one program on the endpoint.
    virtual HRESULT STDMETHODCALLTYPE GetSessionIdentifier(LPWSTR *pRetVal) = 0;
    /// Begins with the endpoint ID; different for each session.
    virtual HRESULT STDMETHODCALLTYPE GetSessionInstanceIdentifier(LPWSTR *pRetVal) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProcessId(DWORD *pRetVal) = 0;
    /// S_OK for the system sounds, S_FALSE for any other session.
    virtual HRESULT STDMETHODCALLTYPE IsSystemSoundsSession() = 0;

protected:
    ~IAudioSessionControl2() = default;
};

/// A sink for the arrival of sessions, called on a thread of the platform with no lock held.
struct IAudioSessionNotification : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE OnSessionCreated(IAudioSessionControl *NewSession) = 0;

protected:
    ~IAudioSessionNotification() = default;
};

/// The sessions of one endpoint as they stood when it was made.
struct IAudioSessionEnumerator : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetCount(int *SessionCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSession(int SessionCount,
                                                 IAudioSessionControl **Session) = 0;

protected:
    ~IAudioSessionEnumerator() = default;
};

/// The sessions of one endpoint, activated on its IMMDevice.
struct IAudioSessionManager2 : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE
    GetSessionEnumerator(IAudioSessionEnumerator **SessionEnum) = 0;
    /// Nothing is announced before the sessions have been enumerated once.
    virtual HRESULT STDMETHODCALLTYPE
    RegisterSessionNotification(IAudioSessionNotification *SessionNotification) = 0;
    /// On return no call of the sink runs any more, unless this is called from the sink itself.
    virtual HRESULT STDMETHODCALLTYPE
    UnregisterSessionNotification(IAudioSessionNotification *SessionNotification) = 0;

protected:
    ~IAudioSessionManager2() = default;
};
