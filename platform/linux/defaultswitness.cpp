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
// What a look has been told alone, it tells within this time.
constexpr std::chrono::milliseconds lingeringTime = 500ms;
// Where clients come all the time, a look costs more than it helps.
constexpr std::chrono::milliseconds longestDelay = 8s;
constexpr int mostFailures = 3;

DefaultsWitness *self(void *witness)
{
    return static_cast<DefaultsWitness *>(witness);
}
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

void DefaultsWitness::begin(const char *name)
{
    if (std::exchange(isOn, true))
        return;
    server = name;
    request();
}

void DefaultsWitness::end()
{
    isOn = false;
    cancel(api, timer);
    looking.reset();
    kept.reset();
    doubted.reset();
    lastLook = {};
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
    lastRequest = Clock::now();
    if (timer || looking)
        again = true;
    else
        arm(nextDelay(), [](pa_mainloop_api *, pa_time_event *, const timeval *, void *witness) {
            self(witness)->look();
        });
}

std::chrono::milliseconds DefaultsWitness::nextDelay()
{
    const bool isSoon = Clock::now() - lastLook < longestDelay;
    delay = isSoon ? std::clamp(2 * delay, settlingTime, longestDelay) : settlingTime;
    return doubted ? settlingTime : delay;
}

void DefaultsWitness::arm(std::chrono::milliseconds wanted, pa_time_event_cb_t call)
{
    cancel(api, timer);
    timer = callLater(api, wanted, call, this);
}

void DefaultsWitness::look()
{
    cancel(api, timer);
    if (Clock::now() - lastRequest >= settlingTime)
        again = false; // whoever asked meanwhile is served by this one
    isConnected = false;
    looking = std::make_unique<DefaultsContext>(
        api, DefaultsContext::Callbacks{
                 .connected = [this](quint32 index) { lookConnected(index); },
                 .told = [this](DefaultsContext &context,
                                const pa_server_info &info) { onTold(context, info); },
                 .lost = [this](DefaultsContext &context) { onLost(context); },
             });
    looking->connect(server.constData());
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
    else
        lookTold(names);
}

void DefaultsWitness::lookTold(DefaultNames names)
{
    failures = 0;
    const DefaultNames believed = callbacks.believed();
    for (std::size_t flow = 0; flow < names.size(); ++flow)
        if (!names[flow])
            names[flow] = believed[flow];
    if (names == believed) {
        doubted.reset();
        linger();
    } else if (doubted != names) {
        doubted = names;
        again = true;
        finishLook();
    } else {
        doubted.reset();
        kept = std::move(looking);
        callbacks.told(names);
        finishLook();
    }
}

void DefaultsWitness::linger()
{
    arm(lingeringTime, [](pa_mainloop_api *, pa_time_event *, const timeval *, void *witness) {
        self(witness)->finishLook();
    });
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
    cancel(api, timer);
    looking.reset();
    cameMeanwhile.clear();
    lastLook = Clock::now();
    if (std::exchange(again, false))
        request();
}

bool DefaultsWitness::isOwn(quint32 index) const
{
    return std::ranges::find(ownIndexes, index) != ownIndexes.end();
}
} // namespace pulse
