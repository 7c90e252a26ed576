#include "platform/pipewire/connection.h"

#include "platform/posix/realtimepriority.h"
#include "platform/signalstack.h"

#include <malloc.h>

#include <algorithm>
#include <cerrno>
#include <thread>

namespace
{
// The socket appears a moment before the server listens on it: after each appearance a few tries
// are made, and then none until the next.
constexpr int triesAfterAppearance = 20;
constexpr timespec retryDelay{0, 50'000'000};
// Links that the session manager has begun are done well within it. Below a second.
constexpr std::chrono::milliseconds releaseDelay{100};

Connection *self(void *data)
{
    return static_cast<Connection *>(data);
}
} // namespace

const pw_core_events Connection::coreEvents = [] {
    pw_core_events events{};
    events.version = PW_VERSION_CORE_EVENTS;
    events.done = [](void *data, uint32_t, int sequence) { self(data)->onDone(sequence); };
    events.error = [](void *data, uint32_t id, int, int result, const char *) {
        self(data)->onError(id, result);
    };
    return events;
}();

const pw_registry_events Connection::registryEvents = [] {
    pw_registry_events events{};
    events.version = PW_VERSION_REGISTRY_EVENTS;
    events.global = [](void *data, uint32_t id, uint32_t, const char *type, uint32_t,
                       const spa_dict *properties) {
        self(data)->serverObjects.add(id, type, properties);
        self(data)->notifyChanged();
    };
    events.global_remove = [](void *data, uint32_t id) {
        self(data)->serverObjects.remove(id);
        self(data)->notifyChanged();
    };
    return events;
}();

Connection &Connection::instance()
{
    // Never destroyed: streams of other objects with static lifetime may still use it.
    static Connection *connection = new Connection;
    return *connection;
}

Connection::Connection()
{
    pw_init(nullptr, nullptr);
    loop = pw_thread_loop_new("pw-connection", nullptr);
    pw_properties *properties =
        pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", PW_KEY_APP_NAME, "Quorvane",
                          PW_KEY_APP_ICON_NAME, "audio-card", nullptr);
    context = pw_context_new(messageLoop(), properties, 0);
    const auto onLost = [](void *data, uint64_t) {
        self(data)->disconnect();
        self(data)->connect();
    };
    lostEvent = pw_loop_add_event(messageLoop(), onLost, this);
    const auto onRetry = [](void *data, uint64_t) { self(data)->connect(); };
    retryTimer = pw_loop_add_timer(messageLoop(), onRetry, this);
    const auto onRelease = [](void *data, uint64_t) { self(data)->releaseWhatIsDue(); };
    releaseTimer = pw_loop_add_timer(messageLoop(), onRelease, this);
    watch = std::make_unique<ServerWatch>(messageLoop(), [this] {
        retriesLeft = triesAfterAppearance;
        connect();
    });
    prepareThreads();
    pw_thread_loop_start(loop);
    const Lock lock(*this);
    connect();
    waitUntil([this] { return !core || isListed; }, std::chrono::seconds(2));
}

void Connection::prepareThreads()
{
    const auto onBegin = [](void *, uint64_t) { SignalStack::provide(); };
    beginEvent = pw_loop_add_event(messageLoop(), onBegin, this);
    pw_loop_signal_event(messageLoop(), beginEvent);
    if (!context)
        return; // libpipewire's own files are missing: there is no server for us, ever
    // Until the data thread has entered its loop, the caller executes what it invokes there.
    std::thread::id caller = std::this_thread::get_id();
    const auto onDataThread = [](spa_loop *, bool, uint32_t, const void *, size_t, void *caller) {
        if (std::this_thread::get_id() == *static_cast<const std::thread::id *>(caller))
            return -EAGAIN;
        SignalStack::provide();
        return 0;
    };
    while (pw_data_loop_invoke(pw_context_get_data_loop(context), onDataThread, 0, nullptr, 0, true,
                               &caller) == -EAGAIN)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void Connection::addObserver(ConnectionObserver *observer)
{
    observers.push_back(observer);
}

void Connection::removeObserver(ConnectionObserver *observer)
{
    std::erase(observers, observer);
}

bool Connection::waitUntil(const std::function<bool()> &condition,
                           std::chrono::milliseconds longest)
{
    timespec deadline{};
    pw_thread_loop_get_time(loop, &deadline, longest.count() * SPA_NSEC_PER_MSEC);
    while (!condition())
        if (pw_thread_loop_timed_wait_full(loop, &deadline) < 0)
            return condition();
    return true;
}

void Connection::releaseLater(std::shared_ptr<void> object)
{
    if (!core)
        return;
    released.emplace_back(std::chrono::steady_clock::now() + releaseDelay, std::move(object));
    if (released.size() == 1)
        armReleaseTimer();
}

void Connection::releaseWhatIsDue()
{
    const auto now = std::chrono::steady_clock::now();
    std::erase_if(released, [now](const auto &entry) { return entry.first <= now; });
    if (!released.empty())
        armReleaseTimer();
    else
        malloc_trim(0); // a burst of streams has left the heap in holes
}

void Connection::armReleaseTimer()
{
    const auto left = std::max(released.front().first - std::chrono::steady_clock::now(),
                               std::chrono::steady_clock::duration(1));
    timespec delay{0, std::chrono::nanoseconds(left).count()};
    pw_loop_update_timer(messageLoop(), releaseTimer, &delay, nullptr, false);
}

void Connection::flushDataThread()
{
    const auto nothing = [](spa_loop *, bool, uint32_t, const void *, size_t, void *) { return 0; };
    if (!context)
        return; // libpipewire's own files are missing: there is no server for us, ever
    pw_data_loop_invoke(pw_context_get_data_loop(context), nothing, 0, nullptr, 0, true, nullptr);
}

void Connection::lowerDataThread()
{
    const auto lower = [](spa_loop *, bool, uint32_t, const void *, size_t, void *) {
        posix::lowerToFedPriority();
        return 0;
    };
    if (!context)
        return; // as above
    pw_data_loop_invoke(pw_context_get_data_loop(context), lower, 0, nullptr, 0, false, nullptr);
}

void Connection::connect()
{
    if (core || !context)
        return;
    core = pw_context_connect(context, nullptr, 0);
    if (!core) {
        retryLater();
        return;
    }
    retriesLeft = 0;
    pw_core_add_listener(core, &coreListener, &coreEvents, this);
    registry = pw_core_get_registry(core, PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(registry, &registryListener, &registryEvents, this);
    listingSequence = pw_core_sync(core, PW_ID_CORE, 0);
}

void Connection::disconnect()
{
    if (!core)
        return;
    isListed = false;
    for (ConnectionObserver *observer : std::vector(observers))
        observer->serverLost();
    released.clear();
    serverObjects.clear();
    spa_hook_remove(&registryListener);
    pw_proxy_destroy(reinterpret_cast<pw_proxy *>(registry));
    registry = nullptr;
    spa_hook_remove(&coreListener);
    pw_core_disconnect(core);
    core = nullptr;
    signal();
}

void Connection::retryLater()
{
    if (retriesLeft == 0)
        return;
    --retriesLeft;
    timespec delay = retryDelay;
    pw_loop_update_timer(messageLoop(), retryTimer, &delay, nullptr, false);
}

void Connection::notifyChanged()
{
    if (isListed)
        for (ConnectionObserver *observer : std::vector(observers))
            observer->objectsChanged();
    signal();
}

void Connection::onDone(int sequence)
{
    if (isListed || sequence != listingSequence)
        return;
    isListed = true;
    for (ConnectionObserver *observer : std::vector(observers))
        observer->serverCame();
    signal();
}

void Connection::onError(uint32_t id, int result)
{
    // The core must not be destroyed from inside its own event.
    if (id == PW_ID_CORE && result == -EPIPE)
        pw_loop_signal_event(messageLoop(), lostEvent);
}
