// CoCreateInstance: the classes that this platform has.
#include "platform/linux/enumerator.h"
#include "platform/linux/policyconfig.h"

#include <array>
#include <utility>

namespace
{
/// Makes an object with one reference and queries it for the wanted interface.
template <typename Class>
HRESULT make(REFIID id, void **result)
{
    auto *object = new Class(pulse::EndpointService::instance());
    const HRESULT queried = object->QueryInterface(id, result);
    object->Release();
    return queried;
}

struct Row
{
    const CLSID &id;
    HRESULT (*make)(REFIID, void **);
};

constexpr std::array classes{
    Row{CLSID_MMDeviceEnumerator, &make<pulse::DeviceEnumerator>},
    Row{CLSID_PolicyConfig, &make<pulse::PolicyConfig>},
    Row{CLSID_PolicyConfigVista, &make<pulse::PolicyConfigVista>},
};
} // namespace

HRESULT CoCreateInstance(REFCLSID classId, IUnknown *, DWORD, REFIID id, LPVOID *result)
{
    if (!result)
        return E_POINTER;
    *result = nullptr;
    for (const Row &row : classes) {
        if (row.id == classId)
            return row.make(id, result);
    }
    return REGDB_E_CLASSNOTREG;
}
