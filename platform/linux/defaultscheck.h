// Looks anew at what the server's defaults are, where the connection may have missed a change.
#pragma once

#include <QtGlobal>

#include <pulse/context.h>
#include <pulse/def.h>
#include <pulse/introspect.h>
#include <pulse/mainloop-api.h>

#include <functional>
#include <vector>

namespace pulse
{
/// Asks for the defaults over a connection that is made for this one question, a moment after a
/// client of the server has come. Runs on the main loop's thread.
///
/// While a client gets the session manager's settings, the server (PipeWire 0.3.65) tells what
/// changes in them to that client alone. Over a connection that stood before, it answers with what
/// it was then, until the next change.
class DefaultsCheck
{
public:
    /// `seen` says whether it wants another look.
    DefaultsCheck(pa_mainloop_api *api, std::function<bool(const pa_server_info &)> seen);
    ~DefaultsCheck() { cancel(); }
    DefaultsCheck(const DefaultsCheck &) = delete;
    DefaultsCheck &operator=(const DefaultsCheck &) = delete;

    /// Looks in a moment.
    void request();
    /// The same, unless the client is the last look's own.
    void clientCame(quint32 index);
    /// Drops a look that is under way or to come.
    void cancel();

private:
    void look();
    void onState();
    void knowOwnIndex();
    void onServerInfo(const pa_server_info *info);
    void finish();

    pa_mainloop_api *api;
    const std::function<bool(const pa_server_info &)> seen;
    pa_time_event *timer = nullptr; ///< while a look is to come
    pa_context *context = nullptr;  ///< while a look is under way
    quint32 ownIndex = PA_INVALID_INDEX;
    std::vector<quint32> cameMeanwhile; ///< clients, while the look does not know its own index
    bool again = false;
};
} // namespace pulse
