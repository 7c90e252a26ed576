// The parts of the endpoint side, made once and tied together.
#pragma once

#include "platform/linux/dispatcher.h"
#include "platform/linux/endpointmodel.h"
#include "platform/linux/pulseconnection.h"
#include "platform/linux/sessionmodel.h"

#include <mutex>

namespace pulse
{
/// Table, dispatcher and connection. Callable from any thread.
class EndpointService
{
public:
    /// Made at the first call, which connects and waits for the server's first lists, a bounded
    /// time and only if there is a server. It is never destroyed: a thread that outlasts main may
    /// still call. Its threads end with the process's orderly exit.
    static EndpointService &instance();

    [[nodiscard]] Dispatcher &events() { return dispatcher; }
    [[nodiscard]] EndpointModel &endpoints() { return model; }
    [[nodiscard]] SessionModel &sessions() { return sessionModel; }
    [[nodiscard]] PulseConnection &server() { return connection; }

    /// Shows or hides an endpoint of the virtual card and returns when the server lists it or has
    /// lost it, after a bounded time at most. E_NOTFOUND for an unknown endpoint, E_NOTIMPL for
    /// one that is not the card's, E_FAIL when the server did not follow in time.
    HRESULT setVisible(const QString &id, bool visible);

private:
    EndpointService();

    /// Sends a stream that has just begun to its application's own endpoint.
    void followRoute(const Session &stream);

    Dispatcher dispatcher;
    EndpointModel model;
    SessionModel sessionModel;
    PulseConnection connection;
    std::mutex visibilityMutex; ///< one change at a time
};
} // namespace pulse
