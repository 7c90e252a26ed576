// The program's one connection to the PipeWire server.
#pragma once

#include "platform/pipewire/serverobjects.h"
#include "platform/pipewire/serverwatch.h"

#include <pipewire/pipewire.h>

#include <chrono>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

/// Something that has objects on the server. Called on the loop's thread with the loop locked.
class ConnectionObserver
{
public:
    /// The registry has been listed once.
    virtual void serverCame() {}
    /// The server is lost: destroy every proxy and stream now, the core goes next.
    virtual void serverLost() = 0;
    /// A node or a port came or went.
    virtual void objectsChanged() {}

protected:
    ~ConnectionObserver() = default;
};

/// Connects at its first use and again whenever a server opens its socket. One loop thread for
/// messages, and libpipewire's own data thread for all streams.
class Connection
{
public:
    /// Lives until the process ends.
    static Connection &instance();

    /// Holds the loop: its thread is at rest, and libpipewire may be called. Recursive.
    class Lock
    {
    public:
        explicit Lock(Connection &connection) : loop(connection.loop) { pw_thread_loop_lock(loop); }
        ~Lock() { pw_thread_loop_unlock(loop); }
        Lock(const Lock &) = delete;
        Lock &operator=(const Lock &) = delete;

    private:
        pw_thread_loop *loop;
    };

    // All below with the loop locked.

    [[nodiscard]] bool isConnected() const { return core != nullptr && isListed; }
    [[nodiscard]] pw_loop *messageLoop() const { return pw_thread_loop_get_loop(loop); }
    [[nodiscard]] pw_core *serverCore() const { return core; }
    [[nodiscard]] const ServerObjects &objects() const { return serverObjects; }
    void addObserver(ConnectionObserver *observer);
    void removeObserver(ConnectionObserver *observer);

    /// Waits, giving the loop free meanwhile, until the condition holds or the time is over;
    /// the condition's last value. Not on the loop's thread and not with the lock held twice.
    bool waitUntil(const std::function<bool()> &condition, std::chrono::milliseconds longest);
    /// Lets every waitUntil look again.
    void signal() { pw_thread_loop_signal(loop, false); }

    /// Keeps the object for a moment, in which what the server has sent to it comes in, and lets
    /// it go then, or at once when the server is lost.
    void releaseLater(std::shared_ptr<void> object);

    /// On return no process callback that began before the call is running. No lock needed.
    void flushDataThread();
    /// Has the data thread give way to those that it wakes. libpipewire may ask a service for its
    /// priority, which answers at any time: to be repeated where it matters.
    void lowerDataThread();

private:
    Connection();

    void prepareThreads();
    void connect();
    void disconnect();
    void retryLater();
    void notifyChanged();
    void onDone(int sequence);
    void onError(uint32_t id, int result);
    void releaseWhatIsDue();
    void armReleaseTimer();

    static const pw_core_events coreEvents;
    static const pw_registry_events registryEvents;

    pw_thread_loop *loop = nullptr;
    pw_context *context = nullptr;
    pw_core *core = nullptr;
    pw_registry *registry = nullptr;
    spa_hook coreListener{};
    spa_hook registryListener{};
    spa_source *beginEvent = nullptr; ///< the message thread's first
    spa_source *lostEvent = nullptr;
    spa_source *retryTimer = nullptr;
    spa_source *releaseTimer = nullptr;
    std::unique_ptr<ServerWatch> watch;
    int retriesLeft = 0;
    int listingSequence = 0;
    bool isListed = false;
    /// What is to be let go, oldest first, and when.
    std::vector<std::pair<std::chrono::steady_clock::time_point, std::shared_ptr<void>>> released;
    ServerObjects serverObjects;
    std::vector<ConnectionObserver *> observers;
};
