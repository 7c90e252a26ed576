// A shared pointer that one thread may replace while others read it.
#pragma once

#include <QMutex>

#include <memory>
#include <utility>

/// Holds the lock for the few instructions of a copy only.
template <typename T>
class SharedSlot
{
public:
    [[nodiscard]] std::shared_ptr<T> load() const
    {
        const QMutexLocker locker(&mutex);
        return pointer;
    }
    /// Puts `replacement` in and gives back what was there.
    std::shared_ptr<T> exchange(std::shared_ptr<T> replacement)
    {
        const QMutexLocker locker(&mutex);
        return std::exchange(pointer, std::move(replacement));
    }

private:
    mutable QMutex mutex;
    std::shared_ptr<T> pointer;
};
