#include "platform/linux/endpointservice.h"

#include "platform/linux/processfiles.h"
#include "platform/pipewire/approutes.h"
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

EndpointService::EndpointService()
    : model(dispatcher), sessionModel(dispatcher), connection(model, sessionModel)
{
    for (const card::CardEndpoint &endpoint : card::endpoints())
        model.addCardEndpoint(endpoint.id, endpoint.flow, endpoint.nodeName, endpoint.description);
    sessionModel.whenNewStream([this](const Session &stream) { followRoute(stream); });
    connection.start();
    connection.waitForFirstListing(firstListingBound);
    std::atexit([] {
        instance().connection.stop();
        instance().dispatcher.stop();
    });
}

void EndpointService::followRoute(const Session &stream)
{
    const QString executable = processfiles::executable(stream.processId);
    const QString id = approutes::route(executable, stream.flow, eConsole);
    if (id.isEmpty() || id == stream.endpointId)
        return;
    const std::optional<Endpoint> target = model.endpoint(id);
    if (target && target->state == DEVICE_STATE_ACTIVE)
        connection.moveStreamHere(stream, *target);
}

HRESULT EndpointService::setVisible(const QString &id, bool visible)
{
    if (!card::endpointOfId(id))
        return model.endpoint(id) ? E_NOTIMPL : E_NOTFOUND;
    const std::lock_guard lock(visibilityMutex);
    if (visible && !card::isShown(id)) {
        // The nodes of a program that was killed just now may be listed still, under our names.
        model.expectShown(id, false);
        model.awaitShown(id, visibilityBound);
    }
    model.expectShown(id, visible);
    const HRESULT result = card::setShown(id, visible);
    if (FAILED(result)) {
        model.awaitShown(id, 0ms);
        return result;
    }
    return model.awaitShown(id, visibilityBound) ? S_OK : E_FAIL;
}
} // namespace pulse
