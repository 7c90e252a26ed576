#include "platform/simulated/objects.h"
#include "platform/simulated/recordedobject.h"
#include "platform/simulated/sinks.h"
#include "platform/simulated/tables.h"

namespace simulated
{

namespace
{

class DeviceEnumerator final : public RecordedObject<IMMDeviceEnumerator>
{
public:
    DeviceEnumerator() : RecordedObject("IMMDeviceEnumerator") {}
    ~DeviceEnumerator() override { endpointSinks().removeAll(this); }

    HRESULT STDMETHODCALLTYPE EnumAudioEndpoints(EDataFlow dataFlow, DWORD dwStateMask,
                                                 IMMDeviceCollection **ppDevices) override
    {
        if (!ppDevices)
            return E_POINTER;
        *ppDevices = nullptr;
        if (const auto fault = called("EnumAudioEndpoints",
                                      QStringLiteral("%1 %2").arg(dataFlow).arg(dwStateMask)))
            return *fault;
        *ppDevices = makeDeviceCollection(enumerate(dataFlow, dwStateMask));
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetDefaultAudioEndpoint(EDataFlow dataFlow, ERole role,
                                                      IMMDevice **ppEndpoint) override
    {
        if (!ppEndpoint)
            return E_POINTER;
        *ppEndpoint = nullptr;
        if (const auto fault =
                called("GetDefaultAudioEndpoint", QStringLiteral("%1 %2").arg(dataFlow).arg(role)))
            return *fault;
        return give(defaultEndpoint(dataFlow, role), ppEndpoint);
    }

    HRESULT STDMETHODCALLTYPE GetDevice(LPCWSTR pwstrId, IMMDevice **ppDevice) override
    {
        if (!ppDevice)
            return E_POINTER;
        *ppDevice = nullptr;
        if (const auto fault = called("GetDevice", textOf(pwstrId)))
            return *fault;
        return pwstrId ? give(QString::fromWCharArray(pwstrId), ppDevice) : E_POINTER;
    }

    HRESULT STDMETHODCALLTYPE
    RegisterEndpointNotificationCallback(IMMNotificationClient *pClient) override
    {
        if (const auto fault = called("RegisterEndpointNotificationCallback"))
            return *fault;
        if (!pClient)
            return E_POINTER;
        endpointSinks().add(this, {}, pClient);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE
    UnregisterEndpointNotificationCallback(IMMNotificationClient *pClient) override
    {
        if (const auto fault = called("UnregisterEndpointNotificationCallback"))
            return *fault;
        return endpointSinks().remove(this, pClient) ? S_OK : E_NOTFOUND;
    }

private:
    static HRESULT give(const QString &id, IMMDevice **device)
    {
        if (!findEndpoint(id))
            return E_NOTFOUND;
        *device = makeDevice(id);
        return S_OK;
    }
};

class DeviceCollection final : public RecordedObject<IMMDeviceCollection>
{
public:
    explicit DeviceCollection(const QStringList &ids)
        : RecordedObject("IMMDeviceCollection"), ids(ids)
    {
    }

    HRESULT STDMETHODCALLTYPE GetCount(UINT *pcDevices) override
    {
        if (const auto fault = called("GetCount"))
            return *fault;
        if (!pcDevices)
            return E_POINTER;
        *pcDevices = static_cast<UINT>(ids.size());
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Item(UINT nDevice, IMMDevice **ppDevice) override
    {
        if (!ppDevice)
            return E_POINTER;
        *ppDevice = nullptr;
        if (const auto fault = called("Item", QString::number(nDevice)))
            return *fault;
        if (nDevice >= static_cast<UINT>(ids.size()))
            return E_INVALIDARG;
        *ppDevice = makeDevice(ids.at(nDevice));
        return S_OK;
    }

private:
    const QStringList ids;
};

} // namespace

IMMDeviceEnumerator *makeDeviceEnumerator()
{
    return new DeviceEnumerator;
}

IMMDeviceCollection *makeDeviceCollection(const QStringList &endpointIds)
{
    return new DeviceCollection(endpointIds);
}

} // namespace simulated
