// The thread on which all notifications are delivered.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace simulated
{

/// Never ends, see immortal().
class Dispatcher
{
public:
    Dispatcher();

    void post(std::function<void()> delivery);
    /// Returns when nothing is waiting or running; at once on the dispatcher's own thread.
    void drain();
    [[nodiscard]] bool isCurrentThread() const;

private:
    void run();

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::function<void()>> waiting;
    bool busy = false;
    std::thread thread;
};

Dispatcher &dispatcher();

} // namespace simulated
