// The COM functions of the vocabulary.
#include "platform/policyconfig.h"
#include "platform/posix/comruntime.h"
#include "platform/posix/taskmemory.h"
#include "platform/simulated/objects.h"
#include "platform/simulated/record.h"

using simulated::faultOf;
using simulated::nameOf;

namespace
{

template <typename Interface>
HRESULT giveOut(Interface *made, REFIID id, LPVOID *result)
{
    const HRESULT queried = made->QueryInterface(id, result);
    made->Release();
    return queried;
}

/// The object itself where its own interface is asked for, so that a creation is recorded as one
/// call; any other interface is queried for.
template <typename Interface>
HRESULT giveOut(Interface *made, REFIID own, REFIID id, LPVOID *result)
{
    if (id != own)
        return giveOut(made, id, result);
    *result = made;
    return S_OK;
}

} // namespace

HRESULT CoInitializeEx(LPVOID, DWORD dwCoInit)
{
    const auto fault = faultOf(QStringLiteral("CoInitializeEx %1").arg(dwCoInit));
    return fault ? *fault : posix::initializeCom();
}

HRESULT CoInitialize(LPVOID)
{
    const auto fault = faultOf(QStringLiteral("CoInitialize"));
    return fault ? *fault : posix::initializeCom();
}

void CoUninitialize()
{
    simulated::record(QStringLiteral("CoUninitialize"));
    posix::uninitializeCom();
}

HRESULT CoCreateInstance(REFCLSID rclsid, IUnknown *pUnkOuter, DWORD dwClsContext, REFIID riid,
                         LPVOID *ppv)
{
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    if (const auto fault = faultOf(QStringLiteral("CoCreateInstance %1 %2 %3")
                                       .arg(nameOf(rclsid), nameOf(riid))
                                       .arg(dwClsContext)))
        return *fault;
    if (pUnkOuter)
        return E_INVALIDARG;
    if (rclsid == CLSID_MMDeviceEnumerator)
        return giveOut(simulated::makeDeviceEnumerator(), IID_IMMDeviceEnumerator, riid, ppv);
    if (rclsid == CLSID_PolicyConfig)
        return giveOut(simulated::makePolicyConfig(), IID_IPolicyConfig, riid, ppv);
    if (rclsid == CLSID_PolicyConfigVista)
        return giveOut(simulated::makePolicyConfigVista(), IID_IPolicyConfigVista, riid, ppv);
    if (rclsid == CLSID_ManifestDocument)
        return giveOut(simulated::makeManifestDocument(), IID_ManifestDocument, riid, ppv);
    return REGDB_E_CLASSNOTREG;
}

HRESULT CoCreateGuid(GUID *pguid)
{
    const auto fault = faultOf(QStringLiteral("CoCreateGuid"));
    return fault ? *fault : posix::createGuid(pguid);
}

LPVOID CoTaskMemAlloc(SIZE_T cb)
{
    if (faultOf(QStringLiteral("CoTaskMemAlloc %1").arg(cb)))
        return nullptr;
    return posix::taskMemoryAlloc(cb);
}

void CoTaskMemFree(LPVOID pv)
{
    simulated::record(QStringLiteral("CoTaskMemFree"));
    posix::taskMemoryFree(pv);
}

HRESULT PropVariantClear(PROPVARIANT *value)
{
    // The memory is given back whatever is answered, or a fault would look like a leak.
    const auto fault = faultOf(QStringLiteral("PropVariantClear"));
    const HRESULT result = posix::propVariantClear(value);
    return fault ? *fault : result;
}
