// A connection to the server that is there for its defaults alone.
#pragma once

#include <QtGlobal>

#include <pulse/context.h>
#include <pulse/introspect.h>
#include <pulse/mainloop-api.h>

#include <functional>

namespace pulse
{
/// Connects, asks for the server's information, and asks again with each change of it. Runs on the
/// main loop's thread or under its lock, and may be destroyed in its own callbacks.
class DefaultsContext
{
public:
    struct Callbacks
    {
        /// The connection stands; the number that the server knows its client by.
        std::function<void(quint32 index)> connected;
        /// An answer.
        std::function<void(DefaultsContext &, const pa_server_info &)> told;
        /// There is no connection and none to come.
        std::function<void(DefaultsContext &)> lost;
    };

    DefaultsContext(pa_mainloop_api *api, Callbacks callbacks);
    ~DefaultsContext();
    DefaultsContext(const DefaultsContext &) = delete;
    DefaultsContext &operator=(const DefaultsContext &) = delete;

    /// To this server. Not in the constructor, since it may fail at once.
    void connect(const char *server);

private:
    void onState();
    void subscribe();
    void ask();
    void onAnswer(const pa_server_info *info);
    void lose();

    const Callbacks callbacks;
    pa_context *context;
    bool isAsked = false;
    bool again = false;
};
} // namespace pulse
