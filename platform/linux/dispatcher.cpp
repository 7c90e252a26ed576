#include "platform/linux/dispatcher.h"

#include "platform/signalstack.h"

#include <pthread.h>

#include <algorithm>

namespace pulse
{
namespace
{
QString topicOf(const Event &event)
{
    if (const auto *level = std::get_if<LevelEvent>(&event))
        return level->id;
    if (const auto *session = std::get_if<SessionEvent>(&event))
        return session->topic;
    return {};
}
} // namespace

Dispatcher::Dispatcher() : thread(&Dispatcher::run, this) {}

Dispatcher::~Dispatcher()
{
    stop();
}

Dispatcher::Token Dispatcher::subscribe(const QString &topic, Deliver deliver)
{
    const std::lock_guard lock(mutex);
    const Token token = ++lastToken;
    subscriptions.push_back(
        std::make_shared<Subscription>(Subscription{token, topic, std::move(deliver)}));
    return token;
}

void Dispatcher::unsubscribe(Token token)
{
    Deliver last; // destroyed after the lock: it may hold a sink's last reference
    std::unique_lock lock(mutex);
    const auto found =
        std::find_if(subscriptions.begin(), subscriptions.end(),
                     [token](const SubscriptionPointer &entry) { return entry->token == token; });
    if (found == subscriptions.end())
        return;
    last.swap((*found)->deliver);
    subscriptions.erase(found);
    if (std::this_thread::get_id() == threadId)
        return;
    returned.wait(lock, [this, token] { return running != token; });
}

void Dispatcher::post(Event event)
{
    const QString topic = topicOf(event);
    const std::lock_guard lock(mutex);
    if (stopping)
        return;
    std::vector<SubscriptionPointer> receivers;
    std::copy_if(subscriptions.begin(), subscriptions.end(), std::back_inserter(receivers),
                 [&topic](const SubscriptionPointer &entry) { return entry->topic == topic; });
    if (receivers.empty())
        return;
    queue.push_back({std::move(event), std::move(receivers)});
    arrived.notify_one();
}

void Dispatcher::stop()
{
    {
        const std::lock_guard lock(mutex);
        stopping = true;
        arrived.notify_one();
    }
    if (!thread.joinable())
        return;
    if (std::this_thread::get_id() == thread.get_id())
        thread.detach(); // the process is exiting from within a sink
    else
        thread.join();
}

void Dispatcher::run()
{
    pthread_setname_np(pthread_self(), "notifications");
    SignalStack::provide();
    std::unique_lock lock(mutex);
    threadId = std::this_thread::get_id();
    while (true) {
        arrived.wait(lock, [this] { return stopping || !queue.empty(); });
        if (stopping)
            return;
        const Delivery delivery = std::move(queue.front());
        queue.pop_front();
        deliver(delivery, lock);
    }
}

void Dispatcher::deliver(const Delivery &delivery, std::unique_lock<std::mutex> &lock)
{
    for (const SubscriptionPointer &receiver : delivery.receivers) {
        Deliver call = receiver->deliver;
        if (!call)
            continue;
        running = receiver->token;
        lock.unlock();
        call(delivery.event);
        call = nullptr;
        lock.lock();
        running = 0;
        returned.notify_all();
    }
}
} // namespace pulse
