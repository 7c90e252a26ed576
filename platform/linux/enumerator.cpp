#include "platform/linux/enumerator.h"

#include "platform/linux/device.h"

#include <string>

namespace pulse
{
namespace
{
constexpr std::array allRoles{eConsole, eMultimedia, eCommunications};

void tell(IMMNotificationClient &client, const Event &event)
{
    const auto &change = std::get<DeviceEvent>(event);
    const std::wstring text = change.id.toStdWString();
    const LPCWSTR id = text.empty() ? nullptr : text.c_str();
    switch (change.kind) {
    case DeviceEvent::Added:
        client.OnDeviceAdded(id);
        break;
    case DeviceEvent::Removed:
        client.OnDeviceRemoved(id);
        break;
    case DeviceEvent::StateChanged:
        client.OnDeviceStateChanged(id, change.state);
        break;
    case DeviceEvent::DefaultChanged:
        for (const ERole role : allRoles)
            client.OnDefaultDeviceChanged(change.flow, role, id);
        break;
    case DeviceEvent::NameChanged:
        client.OnPropertyValueChanged(id, PKEY_Device_FriendlyName);
        break;
    }
}

HRESULT handOut(const std::optional<Endpoint> &endpoint, IMMDevice **device)
{
    *device = endpoint ? new Device(EndpointService::instance(), *endpoint) : nullptr;
    return endpoint ? S_OK : E_NOTFOUND;
}
} // namespace

HRESULT DeviceCollection::GetCount(UINT *count)
{
    if (!count)
        return E_POINTER;
    *count = static_cast<UINT>(endpoints.size());
    return S_OK;
}

HRESULT DeviceCollection::Item(UINT index, IMMDevice **device)
{
    if (!device)
        return E_POINTER;
    *device = nullptr;
    if (index >= endpoints.size())
        return E_INVALIDARG;
    return handOut(endpoints[index], device);
}

DeviceEnumerator::DeviceEnumerator(EndpointService &service)
    : service(service), clients(service.events())
{
}

HRESULT DeviceEnumerator::EnumAudioEndpoints(EDataFlow flow, DWORD stateMask,
                                             IMMDeviceCollection **devices)
{
    if (!devices)
        return E_POINTER;
    *devices = nullptr;
    if (flow < eRender || flow > eAll || (stateMask & ~DEVICE_STATEMASK_ALL) || !stateMask)
        return E_INVALIDARG;
    *devices = new DeviceCollection(service.endpoints().endpoints(flow, stateMask));
    return S_OK;
}

HRESULT DeviceEnumerator::GetDefaultAudioEndpoint(EDataFlow flow, ERole, IMMDevice **device)
{
    if (!device)
        return E_POINTER;
    *device = nullptr;
    if (flow != eRender && flow != eCapture)
        return E_INVALIDARG;
    return handOut(service.endpoints().defaultEndpoint(flow), device);
}

HRESULT DeviceEnumerator::GetDevice(LPCWSTR id, IMMDevice **device)
{
    if (!id || !device)
        return E_POINTER;
    return handOut(service.endpoints().endpoint(QString::fromWCharArray(id)), device);
}

HRESULT DeviceEnumerator::RegisterEndpointNotificationCallback(IMMNotificationClient *client)
{
    return clients.add(client, QString(), &tell);
}

HRESULT DeviceEnumerator::UnregisterEndpointNotificationCallback(IMMNotificationClient *client)
{
    return clients.remove(client);
}
} // namespace pulse
