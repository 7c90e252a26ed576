// Master volume and mute of one endpoint.
#pragma once

#include "platform/vocabulary/unknown.h"

inline constexpr IID IID_IAudioEndpointVolume{
    0x5CDF2C82, 0x841E, 0x4546, {0x97, 0x22, 0x0C, 0xF7, 0x40, 0x78, 0x22, 0x9A}};
inline constexpr IID IID_IAudioEndpointVolumeCallback{
    0x657804FA, 0xD6AD, 0x4496, {0x8A, 0x60, 0x35, 0x27, 0x52, 0xAF, 0x4F, 0x89}};

struct AUDIO_VOLUME_NOTIFICATION_DATA
{
    GUID guidEventContext;
    BOOL bMuted;
    float fMasterVolume; ///< scalar, 0.0 to 1.0
    UINT nChannels;
    float afChannelVolumes[1];
};
using PAUDIO_VOLUME_NOTIFICATION_DATA = AUDIO_VOLUME_NOTIFICATION_DATA *;

/// A sink for level changes, called on a thread of the platform with no lock held.
struct IAudioEndpointVolumeCallback : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE OnNotify(PAUDIO_VOLUME_NOTIFICATION_DATA pNotify) = 0;

protected:
    ~IAudioEndpointVolumeCallback() = default;
};

struct IAudioEndpointVolume : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE
    RegisterControlChangeNotify(IAudioEndpointVolumeCallback *pNotify) = 0;
    virtual HRESULT STDMETHODCALLTYPE
    UnregisterControlChangeNotify(IAudioEndpointVolumeCallback *pNotify) = 0;
    /// A change made with a context comes back to the sinks with that context.
    virtual HRESULT STDMETHODCALLTYPE SetMasterVolumeLevelScalar(float fLevel,
                                                                 LPCGUID pguidEventContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMasterVolumeLevelScalar(float *pfLevel) = 0;
    /// S_FALSE when the endpoint already is as asked.
    virtual HRESULT STDMETHODCALLTYPE SetMute(BOOL bMute, LPCGUID pguidEventContext) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMute(BOOL *pbMute) = 0;

protected:
    ~IAudioEndpointVolume() = default;
};
