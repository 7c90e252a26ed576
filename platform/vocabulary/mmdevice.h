// Endpoints: enumeration, identity, state and notifications.
#pragma once

#include "platform/vocabulary/propertystore.h"

enum EDataFlow
{
    eRender,
    eCapture,
    eAll,
};

enum ERole
{
    eConsole,
    eMultimedia,
    eCommunications,
};

inline constexpr DWORD DEVICE_STATE_ACTIVE = 0x1;
inline constexpr DWORD DEVICE_STATE_DISABLED = 0x2;
inline constexpr DWORD DEVICE_STATE_NOTPRESENT = 0x4;
inline constexpr DWORD DEVICE_STATE_UNPLUGGED = 0x8;
inline constexpr DWORD DEVICE_STATEMASK_ALL = 0xF;

inline constexpr CLSID CLSID_MMDeviceEnumerator{
    0xBCDE0395, 0xE52F, 0x467C, {0x8E, 0x3D, 0xC4, 0x57, 0x92, 0x91, 0x69, 0x2E}};
inline constexpr IID IID_IMMDeviceEnumerator{
    0xA95664D2, 0x9614, 0x4F35, {0xA7, 0x46, 0xDE, 0x8D, 0xB6, 0x36, 0x17, 0xE6}};
inline constexpr IID IID_IMMDevice{
    0xD666063F, 0x1587, 0x4E43, {0x81, 0xF1, 0xB9, 0x48, 0xE8, 0x07, 0x36, 0x3F}};
inline constexpr IID IID_IMMDeviceCollection{
    0x0BD7A1BE, 0x7A1A, 0x44DB, {0x83, 0x97, 0xCC, 0x53, 0x92, 0x38, 0x7B, 0x5E}};
inline constexpr IID IID_IMMNotificationClient{
    0x7991EEC9, 0x7E89, 0x4D85, {0x83, 0x90, 0x6C, 0x70, 0x3C, 0xEC, 0x60, 0xC0}};

struct IMMDevice : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE Activate(REFIID iid, DWORD dwClsCtx,
                                               PROPVARIANT *pActivationParams,
                                               void **ppInterface) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD stgmAccess,
                                                        IPropertyStore **ppProperties) = 0;
    /// The ID string is the caller's, to be freed with CoTaskMemFree.
    virtual HRESULT STDMETHODCALLTYPE GetId(LPWSTR *ppstrId) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetState(DWORD *pdwState) = 0;

protected:
    ~IMMDevice() = default;
};

struct IMMDeviceCollection : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetCount(UINT *pcDevices) = 0;
    virtual HRESULT STDMETHODCALLTYPE Item(UINT nDevice, IMMDevice **ppDevice) = 0;

protected:
    ~IMMDeviceCollection() = default;
};

/// A sink for endpoint events, called on a thread of the platform with no lock held.
struct IMMNotificationClient : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR pwstrDeviceId,
                                                           DWORD dwNewState) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR pwstrDeviceId) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR pwstrDeviceId) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(EDataFlow flow, ERole role,
                                                             LPCWSTR pwstrDefaultDeviceId) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR pwstrDeviceId,
                                                             const PROPERTYKEY key) = 0;

protected:
    ~IMMNotificationClient() = default;
};

struct IMMDeviceEnumerator : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE EnumAudioEndpoints(EDataFlow dataFlow, DWORD dwStateMask,
                                                         IMMDeviceCollection **ppDevices) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDefaultAudioEndpoint(EDataFlow dataFlow, ERole role,
                                                              IMMDevice **ppEndpoint) = 0;
    /// E_NOTFOUND for an ID that no endpoint has.
    virtual HRESULT STDMETHODCALLTYPE GetDevice(LPCWSTR pwstrId, IMMDevice **ppDevice) = 0;
    virtual HRESULT STDMETHODCALLTYPE
    RegisterEndpointNotificationCallback(IMMNotificationClient *pClient) = 0;
    /// On return no call of the sink runs any more, unless this is called from the sink itself.
    virtual HRESULT STDMETHODCALLTYPE
    UnregisterEndpointNotificationCallback(IMMNotificationClient *pClient) = 0;

protected:
    ~IMMDeviceEnumerator() = default;
};
