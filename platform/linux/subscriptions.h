// The sinks that were registered through one object.
#pragma once

#include "platform/comptr.h"
#include "platform/linux/dispatcher.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace pulse
{
/// Registers sinks of one interface with the dispatcher, each with a reference of its own, and
/// lets go of those that are left when it is destroyed. Callable from any thread.
template <typename Sink>
class Subscriptions
{
public:
    explicit Subscriptions(Dispatcher &dispatcher) : dispatcher(dispatcher) {}
    Subscriptions(const Subscriptions &) = delete;
    Subscriptions &operator=(const Subscriptions &) = delete;
    ~Subscriptions()
    {
        for (const auto &[sink, token] : entries)
            dispatcher.unsubscribe(token);
    }

    /// E_POINTER for null.
    HRESULT add(Sink *sink, const QString &topic, void (*call)(Sink &, const Event &))
    {
        if (!sink)
            return E_POINTER;
        const std::lock_guard lock(mutex);
        const auto token =
            dispatcher.subscribe(topic, [owned = ComPtr<Sink>::retain(sink),
                                         call](const Event &event) { call(*owned.get(), event); });
        entries.push_back({sink, token});
        return S_OK;
    }

    /// On return no call of the sink runs any more, unless this is called from that very call.
    /// E_POINTER for null, E_NOTFOUND for a sink that is not registered here.
    HRESULT remove(Sink *sink)
    {
        if (!sink)
            return E_POINTER;
        const Dispatcher::Token token = take(sink);
        if (!token)
            return E_NOTFOUND;
        dispatcher.unsubscribe(token);
        return S_OK;
    }

private:
    struct Entry
    {
        const Sink *sink;
        Dispatcher::Token token;
    };

    Dispatcher::Token take(const Sink *sink)
    {
        const std::lock_guard lock(mutex);
        const auto found = std::find_if(entries.begin(), entries.end(),
                                        [sink](const Entry &entry) { return entry.sink == sink; });
        if (found == entries.end())
            return 0;
        const Dispatcher::Token token = found->token;
        entries.erase(found);
        return token;
    }

    Dispatcher &dispatcher;
    std::mutex mutex;
    std::vector<Entry> entries;
};
} // namespace pulse
