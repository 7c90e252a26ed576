// The base of the simulated platform's runtime classes.
#pragma once

#include "platform/simulated/recordedobject.h"
#include "platform/winrt.h"

namespace simulated
{

/// Nobody inspects an object.
template <typename Interface>
class RuntimeObject : public RecordedObject<Interface>
{
public:
    using RecordedObject<Interface>::RecordedObject;

    HRESULT STDMETHODCALLTYPE GetIids(ULONG *, IID **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel *) override { return E_NOTIMPL; }
};

} // namespace simulated
