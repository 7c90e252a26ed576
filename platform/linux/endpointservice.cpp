#include "platform/linux/endpointservice.h"

#include "platform/pipewire/card.h"

#include <cstdlib>

namespace pulse
{
namespace
{
using namespace std::chrono_literals;

constexpr std::chrono::milliseconds firstListingBound = 300ms;
// From a node's place in the graph to the server's list is a matter of milliseconds.
constexpr std::chrono::milliseconds visibilityBound = 1000ms;
} // namespace

EndpointService &EndpointService::instance()
{
    static EndpointService &service = *new EndpointService;
    return service;
}

EndpointService::EndpointService() : model(dispatcher), connection(model)
{
    for (const card::CardEndpoint &endpoint : card::endpoints())
        model.addCardEndpoint(endpoint.id, endpoint.flow, endpoint.nodeName, endpoint.description);
    connection.start();
    connection.waitForFirstListing(firstListingBound);
    std::atexit([] {
        instance().connection.stop();
        instance().dispatcher.stop();
    });
}

HRESULT EndpointService::setVisible(const QString &id, bool visible)
{
    if (!card::endpointOfId(id))
        return model.endpoint(id) ? E_NOTIMPL : E_NOTFOUND;
    const std::lock_guard lock(visibilityMutex);
    model.expectShown(id, visible);
    const HRESULT result = card::setShown(id, visible);
    if (FAILED(result)) {
        model.awaitShown(id, 0ms);
        return result;
    }
    return model.awaitShown(id, visibilityBound) ? S_OK : E_FAIL;
}
} // namespace pulse
