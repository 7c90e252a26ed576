// The one thread on which sinks are called.
#pragma once

#include "platform/linux/events.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace pulse
{
/// Delivers events to subscribers, in the order of posting, on a thread of its own and with no
/// lock held: a subscriber may call straight back. All functions are callable from any thread.
class Dispatcher
{
public:
    using Deliver = std::function<void(const Event &)>;
    using Token = quint64;

    Dispatcher();
    ~Dispatcher();

    /// `topic` is the ID of the endpoint whose levels are wanted, that of sessions (see events.h),
    /// or empty for device events.
    /// A subscriber gets what is posted from now on, and nothing of what still waits.
    [[nodiscard]] Token subscribe(const QString &topic, Deliver deliver);

    /// On return no call of the subscriber runs any more and `deliver` is destroyed, unless this
    /// is called from within that very call. An unknown token is ignored.
    void unsubscribe(Token token);

    /// Never blocks on a subscriber.
    void post(Event event);

    /// Ends the thread; what still waits is dropped. Later posts go nowhere.
    void stop();

private:
    struct Subscription
    {
        Token token;
        QString topic;
        Deliver deliver; ///< empty once unsubscribed
    };
    using SubscriptionPointer = std::shared_ptr<Subscription>;
    struct Delivery
    {
        Event event;
        std::vector<SubscriptionPointer> receivers;
    };

    void run();
    void deliver(const Delivery &delivery, std::unique_lock<std::mutex> &lock);

    std::mutex mutex;
    std::condition_variable arrived;
    std::condition_variable returned;
    std::vector<SubscriptionPointer> subscriptions;
    std::deque<Delivery> queue;
    Token lastToken = 0;
    Token running = 0; ///< whose call runs now; 0 for none
    bool stopping = false;
    std::thread::id threadId; ///< set by the thread itself
    std::thread thread;
};
} // namespace pulse
