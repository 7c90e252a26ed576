// CoCreateInstance: the classes that this platform has.
#include "platform/linux/enumerator.h"
#include "platform/linux/manifestdocument.h"
#include "platform/linux/policyconfig.h"

#include <array>
#include <type_traits>
#include <utility>

namespace
{
template <typename Class>
Class *create()
{
    if constexpr (std::is_default_constructible_v<Class>)
        return new Class;
    else
        return new Class(pulse::EndpointService::instance());
}

/// Makes an object with one reference and queries it for the wanted interface.
template <typename Class>
HRESULT make(REFIID id, void **result)
{
    auto *object = create<Class>();
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
    Row{CLSID_ManifestDocument, &make<ManifestDocument>},
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
