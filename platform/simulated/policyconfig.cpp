#include "platform/policyconfig.h"

#include "platform/simulated/notifications.h"
#include "platform/simulated/objects.h"
#include "platform/simulated/recordedobject.h"
#include "platform/simulated/tables.h"

namespace simulated
{

namespace
{

HRESULT changeDefault(LPCWSTR deviceID, ERole role)
{
    const QString id = QString::fromWCharArray(deviceID ? deviceID : L"");
    const auto endpoint = findEndpoint(id);
    if (!endpoint)
        return E_NOTFOUND;
    if (defaultEndpoint(endpoint->flow, role) == id)
        return S_OK;
    setDefault(endpoint->flow, role, id);
    notifyDefaultChanged(endpoint->flow, role, id);
    return S_OK;
}

HRESULT changeVisibility(LPCWSTR deviceID, int visible)
{
    const QString id = QString::fromWCharArray(deviceID ? deviceID : L"");
    const auto endpoint = findEndpoint(id);
    if (!endpoint)
        return E_NOTFOUND;
    const DWORD state = visible != 0 ? DEVICE_STATE_ACTIVE : DEVICE_STATE_DISABLED;
    if (endpoint->state == state)
        return S_OK;
    setState(id, state);
    notifyDeviceState(id, state);
    return S_OK;
}

/// What both generations do alike.
template <typename Interface>
class PolicyObject : public RecordedObject<Interface>
{
public:
    using RecordedObject<Interface>::RecordedObject;

    HRESULT STDMETHODCALLTYPE SetDefaultEndpoint(LPCWSTR deviceID, ERole role) override
    {
        const auto fault = this->called("SetDefaultEndpoint",
                                        QStringLiteral("%1 %2").arg(textOf(deviceID)).arg(role));
        return fault ? *fault : changeDefault(deviceID, role);
    }

    HRESULT STDMETHODCALLTYPE SetEndpointVisibility(LPCWSTR deviceID, int visible) override
    {
        const auto fault = this->called("SetEndpointVisibility",
                                        QStringLiteral("%1 %2").arg(textOf(deviceID)).arg(visible));
        return fault ? *fault : changeVisibility(deviceID, visible);
    }
};

class PolicyConfig final : public PolicyObject<IPolicyConfig>
{
public:
    PolicyConfig() : PolicyObject("IPolicyConfig") {}
};

class PolicyConfigVista final : public PolicyObject<IPolicyConfigVista>
{
public:
    PolicyConfigVista() : PolicyObject("IPolicyConfigVista") {}
};

} // namespace

IPolicyConfig *makePolicyConfig()
{
    return new PolicyConfig;
}

IPolicyConfigVista *makePolicyConfigVista()
{
    return new PolicyConfigVista;
}

} // namespace simulated
