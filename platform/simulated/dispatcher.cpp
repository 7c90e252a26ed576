#include "platform/simulated/dispatcher.h"

#include "platform/simulated/immortal.h"

namespace simulated
{

Dispatcher::Dispatcher() : thread([this] { run(); }) {}

void Dispatcher::post(std::function<void()> delivery)
{
    {
        const std::lock_guard lock(mutex);
        waiting.push_back(std::move(delivery));
    }
    changed.notify_all();
}

void Dispatcher::drain()
{
    if (isCurrentThread())
        return;
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return waiting.empty() && !busy; });
}

bool Dispatcher::isCurrentThread() const
{
    return std::this_thread::get_id() == thread.get_id();
}

void Dispatcher::run()
{
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return !waiting.empty(); });
        const std::function<void()> delivery = std::move(waiting.front());
        waiting.pop_front();
        busy = true;
        lock.unlock();
        delivery();
        lock.lock();
        busy = false;
        changed.notify_all();
    }
}

Dispatcher &dispatcher()
{
    return immortal<Dispatcher>();
}

} // namespace simulated
