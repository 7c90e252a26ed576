// What is queued for an object that lives on a thread of its own.
#pragma once

#include <QMetaObject>
#include <QObject>
#include <QSemaphore>
#include <QtGlobal>

#include <functional>
#include <memory>
#include <utility>

/// As long as a thread may take to come to what is queued for it.
inline constexpr int queueMs = 30'000;

/// Returns when the object's thread has done what was queued for it until now.
inline void awaitQueueOf(QObject &object)
{
    // Shared: the thread may still be in release() when the wait is over.
    const auto reached = std::make_shared<QSemaphore>();
    QMetaObject::invokeMethod(
        &object, [reached] { reached->release(); }, Qt::QueuedConnection);
    if (!reached->tryAcquire(1, queueMs))
        qFatal("an object's thread does not come to what is queued for it");
}

/// Holds up an object's thread from construction on until it is let go.
class HeldThread
{
public:
    /// Before it goes on, the thread does `last`.
    explicit HeldThread(
        QObject &object, std::function<void()> last = [] {})
        : state(std::make_shared<State>())
    {
        QMetaObject::invokeMethod(
            &object,
            [state = state, last = std::move(last)] {
                state->entered.release();
                state->leave.acquire();
                last();
            },
            Qt::QueuedConnection);
        if (!state->entered.tryAcquire(1, queueMs))
            qFatal("an object's thread does not come to what is queued for it");
    }
    ~HeldThread() { letGo(); }
    HeldThread(const HeldThread &) = delete;
    HeldThread &operator=(const HeldThread &) = delete;

    void letGo()
    {
        if (std::exchange(isHeld, false))
            state->leave.release();
    }

private:
    struct State
    {
        QSemaphore entered;
        QSemaphore leave;
    };
    const std::shared_ptr<State> state;
    bool isHeld = true;
};
