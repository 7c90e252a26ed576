#include "platform/posix/taskmemory.h"
#include "platform/simulated/objects.h"
#include "platform/simulated/recordedobject.h"
#include "platform/simulated/sessiontable.h"
#include "platform/simulated/tables.h"

namespace simulated
{

namespace
{

class Device final : public RecordedObject<IMMDevice>
{
public:
    explicit Device(const QString &endpointId) : RecordedObject("IMMDevice", endpointId) {}

    HRESULT STDMETHODCALLTYPE Activate(REFIID iid, DWORD dwClsCtx, PROPVARIANT *,
                                       void **ppInterface) override
    {
        if (!ppInterface)
            return E_POINTER;
        *ppInterface = nullptr;
        if (const auto fault =
                called("Activate", QStringLiteral("%1 %2").arg(nameOf(iid)).arg(dwClsCtx)))
            return *fault;
        const auto endpoint = findEndpoint(endpointId);
        if (!endpoint)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        if (iid == IID_IAudioEndpointVolume) {
            *ppInterface = makeEndpointVolume(endpointId);
            return S_OK;
        }
        const bool isClient3 = iid == IID_IAudioClient3 && endpoint->hasAudioClient3;
        const bool isSessions = iid == IID_IAudioSessionManager2;
        if (iid != IID_IAudioClient && !isClient3 && !isSessions)
            return E_NOINTERFACE;
        if (endpoint->state != DEVICE_STATE_ACTIVE)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        if (isSessions)
            *ppInterface = makeSessionManager(endpointId);
        else
            *ppInterface = makeAudioClient(endpointId);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD stgmAccess,
                                                IPropertyStore **ppProperties) override
    {
        if (!ppProperties)
            return E_POINTER;
        *ppProperties = nullptr;
        if (const auto fault = called("OpenPropertyStore", QString::number(stgmAccess)))
            return *fault;
        if (!findEndpoint(endpointId))
            return E_NOTFOUND;
        *ppProperties = makePropertyStore(endpointId);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetId(LPWSTR *ppstrId) override
    {
        if (!ppstrId)
            return E_POINTER;
        *ppstrId = nullptr;
        if (const auto fault = called("GetId"))
            return *fault;
        *ppstrId = posix::taskMemoryString(endpointId);
        return *ppstrId ? S_OK : E_OUTOFMEMORY;
    }

    HRESULT STDMETHODCALLTYPE GetState(DWORD *pdwState) override
    {
        if (const auto fault = called("GetState"))
            return *fault;
        if (!pdwState)
            return E_POINTER;
        const auto endpoint = findEndpoint(endpointId);
        *pdwState = endpoint ? endpoint->state : DEVICE_STATE_NOTPRESENT;
        return S_OK;
    }
};

class PropertyStore final : public RecordedObject<IPropertyStore>
{
public:
    explicit PropertyStore(const QString &endpointId) : RecordedObject("IPropertyStore", endpointId)
    {
    }

    HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY key, PROPVARIANT *value) override
    {
        if (!value)
            return E_POINTER;
        PropVariantInit(value);
        const bool isName = key == PKEY_Device_FriendlyName;
        const QString keyText = isName ? QStringLiteral("PKEY_Device_FriendlyName")
                                       : nameOf(key.fmtid) + u',' + QString::number(key.pid);
        if (const auto fault = called("GetValue", keyText))
            return *fault;
        const auto endpoint = findEndpoint(endpointId);
        if (!isName || !endpoint || !endpoint->nameReadable)
            return S_OK; // a property that is not there is an empty value
        value->pwszVal = posix::taskMemoryString(endpoint->name);
        if (!value->pwszVal)
            return E_OUTOFMEMORY;
        value->vt = VT_LPWSTR;
        return S_OK;
    }
};

} // namespace

IMMDevice *makeDevice(const QString &endpointId)
{
    return new Device(endpointId);
}

IPropertyStore *makePropertyStore(const QString &endpointId)
{
    return new PropertyStore(endpointId);
}

} // namespace simulated
