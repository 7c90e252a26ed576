// SystemSoundMonitor: visibility and system defaults. The documented interfaces cannot change
// either, so this goes through the policy interface, the older generation where the newer one
// is missing.
#include "endpoints/systemsoundmonitor.h"
#include "platform/endpointtext.h"
#include "platform/policyconfig.h"
#include "platform/resulttext.h"

#include <QDebug>

namespace
{

template <typename Interface>
HRESULT createPolicy(REFCLSID classID, REFIID interfaceID, ComPtr<Interface> &policy)
{
    return CoCreateInstance(classID, nullptr, CLSCTX_INPROC_SERVER, interfaceID,
                            policy.receiveVoid());
}

/// Runs `call` on the first generation that can be made; else the last failure to make one.
template <typename Call>
HRESULT withPolicy(Call call)
{
    ComPtr<IPolicyConfig> policy;
    if (SUCCEEDED(createPolicy(CLSID_PolicyConfig, IID_IPolicyConfig, policy)))
        return call(*policy.get());
    ComPtr<IPolicyConfigVista> vista;
    const HRESULT result = createPolicy(CLSID_PolicyConfigVista, IID_IPolicyConfigVista, vista);
    return SUCCEEDED(result) ? call(*vista.get()) : result;
}

} // namespace

bool SystemSoundMonitor::setAudioDeviceVisibility(const QString &id, bool visible)
{
    if (id.isEmpty())
        return false;
    const std::wstring deviceID = id.toStdWString();
    const HRESULT result = withPolicy([&deviceID, visible](auto &policy) {
        return policy.SetEndpointVisibility(deviceID.c_str(), visible);
    });
    if (SUCCEEDED(result))
        return true;
    qCritical() << "Enable/Disable device error:" << resultText(result);
    return false;
}

HRESULT SystemSoundMonitor::setDefaultEndpoint(const wchar_t *id)
{
    return withPolicy([id](auto &policy) { return policy.SetDefaultEndpoint(id, eConsole); });
}

bool SystemSoundMonitor::setSystemDefaultDevice(bool output, const QString &id)
{
    if (id.isEmpty() || !enumerator)
        return false;
    ComPtr<IMMDevice> current;
    if (FAILED(enumerator->GetDefaultAudioEndpoint(output ? eRender : eCapture, eConsole,
                                                   current.receive())))
        return false;
    LPWSTR text = nullptr;
    if (FAILED(current->GetId(&text)))
        return false;
    const QString currentID = QString::fromWCharArray(text);
    CoTaskMemFree(text);
    if (currentID != id)
        setDefaultEndpoint(id.toStdWString().c_str());
    return true;
}
