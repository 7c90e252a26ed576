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

using PolicyConfig = Policy<IPolicyConfig>;
using PolicyConfigVista = Policy<IPolicyConfigVista>;
} // namespace pulse
