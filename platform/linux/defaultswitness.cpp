#include "platform/linux/defaultswitness.h"

#include "platform/linux/mainlooptimer.h"

#include <pulse/def.h>

#include <algorithm>
#include <utility>

namespace pulse
{
namespace
{
using namespace std::chrono_literals;

// By then a client that has come has, as a rule, got what it asked for.
constexpr std::chrono::milliseconds settlingTime = 1s;
// Where clients come all the time, a look costs more than it helps.
constexpr std::chrono::milliseconds longestDelay = 8s;
constexpr int mostFailures = 3;
} // namespace

DefaultsWitness::DefaultsWitness(pa_mainloop_api *api, Callbacks callbacks)
    : api(api), callbacks(std::move(callbacks))
{
    ownIndexes.fill(PA_INVALID_INDEX);
}

DefaultsWitness::~DefaultsWitness()
{
    end();
}

void DefaultsWitness::begin()
{
    if (!std::exchange(isOn, true))
        request();
}

void DefaultsWitness::end()
{
    isOn = false;
    cancel(api, timer);
    looking.reset();
    kept.reset();
    doubted.reset();
    failures = 0;
    again = false;
    ownIndexes.fill(PA_INVALID_INDEX);
    looks = 0;
    cameMeanwhile.clear();
}

void DefaultsWitness::clientCame(quint32 index)
{
    if (looking && !isConnected)
        cameMeanwhile.push_back(index);
    else if (!isOwn(index))
        request();
}

void DefaultsWitness::dismiss()
{
    kept.reset();
}

void DefaultsWitness::request()
{
    if (!isOn)
        return;
    if (timer || looking)
        again = true;
    else
        arm(settlingTime);
}

void DefaultsWitness::arm(std::chrono::milliseconds wanted)
{
    delay = wanted;
    timer = callLater(
        api, delay,
        [](pa_mainloop_api *, pa_time_event *, const timeval *, void *witness) {
            static_cast<DefaultsWitness *>(witness)->look();
        },
        this);
}

void DefaultsWitness::look()
{
    cancel(api, timer);
    isConnected = false;
    looking = std::make_unique<DefaultsContext>(
        api, DefaultsContext::Callbacks{
                 .connected = [this](quint32 index) { lookConnected(index); },
                 .told = [this](DefaultsContext &context,
                                const pa_server_info &info) { onTold(context, info); },
                 .lost = [this](DefaultsContext &context) { onLost(context); },
             });
    looking->connect();
}

void DefaultsWitness::lookConnected(quint32 index)
{
    isConnected = true;
    ownIndexes[looks++ % ownIndexes.size()] = index;
    for (const quint32 client : std::exchange(cameMeanwhile, {}))
        clientCame(client);
}

void DefaultsWitness::onTold(DefaultsContext &context, const pa_server_info &info)
{
    const DefaultNames names = callbacks.namesIn(info);
    if (&context == kept.get())
        callbacks.told(names);
    else if (std::ranges::all_of(names, &std::optional<QString>::has_value))
        lookTold(names);
    else
        lookFailed();
}

void DefaultsWitness::lookTold(const DefaultNames &names)
{
    failures = 0;
    if (names == callbacks.believed()) {
        doubted.reset();
    } else if (doubted != names) {
        doubted = names;
        delay = 0ms;
        again = true;
    } else {
        doubted.reset();
        kept = std::move(looking);
        callbacks.told(names);
    }
    finishLook();
}

void DefaultsWitness::onLost(DefaultsContext &context)
{
    if (&context != kept.get()) {
        lookFailed();
        return;
    }
    kept.reset();
    request();
}

void DefaultsWitness::lookFailed()
{
    doubted.reset();
    if (++failures < mostFailures)
        again = true;
    finishLook();
}

void DefaultsWitness::finishLook()
{
    looking.reset();
    cameMeanwhile.clear();
    if (std::exchange(again, false))
        arm(std::clamp(2 * delay, settlingTime, longestDelay));
}

// A server that does not tell us who we are could not tell us from the others.
bool DefaultsWitness::isOwn(quint32 index) const
{
    const auto last = (looks + ownIndexes.size() - 1) % ownIndexes.size();
    return (looks > 0 && ownIndexes[last] == PA_INVALID_INDEX) ||
           std::ranges::find(ownIndexes, index) != ownIndexes.end();
}
} // namespace pulse
