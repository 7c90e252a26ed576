// IPolicyConfig and IPolicyConfigVista.
#pragma once

#include "platform/linux/endpointservice.h"
#include "platform/posix/comobject.h"

namespace pulse
{
/// Both generations do the same: the server's default sink or source, for whatever role since
/// it has one for all, and the virtual card's endpoints shown or hidden.
template <typename Interface>
class Policy : public posix::ComObject<Interface>
{
public:
    explicit Policy(EndpointService &service) : service(service) {}

    // The slots that nobody calls.
    HRESULT STDMETHODCALLTYPE slot3() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot4() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot5() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot10() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot11() override { return E_NOTIMPL; }

    HRESULT STDMETHODCALLTYPE SetDefaultEndpoint(LPCWSTR id, ERole) override
    {
        return id ? service.server().setDefault(QString::fromWCharArray(id)) : E_POINTER;
    }
    HRESULT STDMETHODCALLTYPE SetEndpointVisibility(LPCWSTR id, int visible) override
    {
        return id ? service.setVisible(QString::fromWCharArray(id), visible != 0) : E_POINTER;
    }

private:
    EndpointService &service;
};

class PolicyConfig final : public Policy<IPolicyConfig>
{
public:
    using Policy::Policy;
    HRESULT STDMETHODCALLTYPE slot12() override { return E_NOTIMPL; }
};

using PolicyConfigVista = Policy<IPolicyConfigVista>;
} // namespace pulse
