// The SDK's interfaces have methods that the system never calls, and the vocabulary leaves out.
// Here they answer E_NOTIMPL, so that the simulated objects need not know them.
#pragma once

#include "platform/coreaudio.h"

namespace posix
{

template <typename Interface>
struct Offered;

template <>
struct Offered<IAudioClient3>
{
    struct Type : public IAudioClient3
    {
        HRESULT STDMETHODCALLTYPE GetStreamLatency(REFERENCE_TIME *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE IsFormatSupported(AUDCLNT_SHAREMODE, const WAVEFORMATEX *,
                                                    WAVEFORMATEX **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE IsOffloadCapable(AUDIO_STREAM_CATEGORY, BOOL *) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE SetClientProperties(const AudioClientProperties *) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE GetBufferSizeLimits(const WAVEFORMATEX *, BOOL, REFERENCE_TIME *,
                                                      REFERENCE_TIME *) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE GetCurrentSharedModeEnginePeriod(WAVEFORMATEX **,
                                                                   UINT32 *) override
        {
            return E_NOTIMPL;
        }
    };
};

template <>
struct Offered<IAudioEndpointVolume>
{
    struct Type : public IAudioEndpointVolume
    {
        HRESULT STDMETHODCALLTYPE GetChannelCount(UINT *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE SetMasterVolumeLevel(float, LPCGUID) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE GetMasterVolumeLevel(float *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE SetChannelVolumeLevel(UINT, float, LPCGUID) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE SetChannelVolumeLevelScalar(UINT, float, LPCGUID) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE GetChannelVolumeLevel(UINT, float *) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE GetChannelVolumeLevelScalar(UINT, float *) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE GetVolumeStepInfo(UINT *, UINT *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE VolumeStepUp(LPCGUID) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE VolumeStepDown(LPCGUID) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE QueryHardwareSupport(DWORD *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE GetVolumeRange(float *, float *, float *) override
        {
            return E_NOTIMPL;
        }
    };
};

template <>
struct Offered<IAudioSessionControl2>
{
    struct Type : public IAudioSessionControl2
    {
        HRESULT STDMETHODCALLTYPE SetDisplayName(LPCWSTR, LPCGUID) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE SetIconPath(LPCWSTR, LPCGUID) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE SetGroupingParam(LPCGUID, LPCGUID) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE SetDuckingPreference(BOOL) override { return E_NOTIMPL; }
    };
};

template <>
struct Offered<IAudioSessionManager2>
{
    struct Type : public IAudioSessionManager2
    {
        HRESULT STDMETHODCALLTYPE GetAudioSessionControl(LPCGUID, DWORD,
                                                         IAudioSessionControl **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE GetSimpleAudioVolume(LPCGUID, DWORD,
                                                       ISimpleAudioVolume **) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE RegisterDuckNotification(LPCWSTR,
                                                           IAudioVolumeDuckNotification *) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE
        UnregisterDuckNotification(IAudioVolumeDuckNotification *) override
        {
            return E_NOTIMPL;
        }
    };
};

template <>
struct Offered<IPropertyStore>
{
    struct Type : public IPropertyStore
    {
        HRESULT STDMETHODCALLTYPE GetCount(DWORD *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE GetAt(DWORD, PROPERTYKEY *) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE SetValue(REFPROPERTYKEY, REFPROPVARIANT) override
        {
            return E_NOTIMPL;
        }
        HRESULT STDMETHODCALLTYPE Commit() override { return E_NOTIMPL; }
    };
};

} // namespace posix
