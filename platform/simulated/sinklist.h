// The registered sinks of one kind.
#pragma once

#include "platform/comptr.h"
#include "platform/simulated/dispatcher.h"

#include <QList>
#include <QString>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace simulated
{

/// Deliveries run on the dispatcher's thread, with no lock held. Once a removal has returned, no
/// call of the sink runs any more, unless it was the sink that removed itself.
template <typename Sink>
class SinkList
{
public:
    /// `owner` is the object that the sink was registered on.
    void add(const void *owner, const QString &endpointId, Sink *sink)
    {
        const std::lock_guard lock(mutex);
        entries.push_back({nextNumber++, owner, endpointId, ComPtr<Sink>::retain(sink)});
    }

    /// False if it was not registered.
    bool remove(const void *owner, Sink *sink)
    {
        return removeIf(1, [&](const Entry &entry) {
                   return entry.owner == owner && entry.sink.get() == sink;
               }) > 0;
    }

    void removeAll(const void *owner)
    {
        removeIf(entryLimit, [&](const Entry &entry) { return entry.owner == owner; });
    }

    void clear()
    {
        removeIf(entryLimit, [](const Entry &) { return true; });
    }

    [[nodiscard]] qsizetype count(const QString &endpointId)
    {
        const std::lock_guard lock(mutex);
        return std::count_if(entries.begin(), entries.end(),
                             [&](const Entry &entry) { return entry.endpointId == endpointId; });
    }

    /// Borrowed: the sinks live as long as they are registered.
    [[nodiscard]] QList<Sink *> sinks(const QString &endpointId)
    {
        const std::lock_guard lock(mutex);
        QList<Sink *> found;
        for (const Entry &entry : entries) {
            if (entry.endpointId == endpointId)
                found.append(entry.sink.get());
        }
        return found;
    }

    /// Calls every sink of the endpoint that is still registered when its turn comes.
    template <typename Delivery>
    void deliver(const QString &endpointId, Delivery delivery)
    {
        std::unique_lock lock(mutex);
        std::vector<int> numbers;
        for (const Entry &entry : entries) {
            if (entry.endpointId == endpointId)
                numbers.push_back(entry.number);
        }
        for (const int number : numbers) {
            const auto entry = find(number);
            if (entry == entries.end())
                continue;
            ComPtr<Sink> sink = entry->sink;
            running = number;
            lock.unlock();
            delivery(sink.get());
            sink.reset();
            lock.lock();
            running = 0;
            idle.notify_all();
        }
    }

private:
    struct Entry
    {
        int number;
        const void *owner;
        QString endpointId;
        ComPtr<Sink> sink;
    };
    static constexpr std::size_t entryLimit = static_cast<std::size_t>(-1);

    auto find(int number)
    {
        return std::find_if(entries.begin(), entries.end(),
                            [&](const Entry &entry) { return entry.number == number; });
    }

    template <typename Predicate>
    std::size_t removeIf(std::size_t limit, Predicate predicate)
    {
        std::vector<Entry> removed; // released last, with no lock held
        std::unique_lock lock(mutex);
        for (auto entry = entries.begin(); entry != entries.end() && removed.size() < limit;) {
            if (!predicate(*entry)) {
                ++entry;
                continue;
            }
            removed.push_back(std::move(*entry));
            entry = entries.erase(entry);
        }
        const auto isRunning = [&](const Entry &entry) { return entry.number == running; };
        if (!dispatcher().isCurrentThread())
            idle.wait(lock,
                      [&] { return std::none_of(removed.begin(), removed.end(), isRunning); });
        lock.unlock();
        return removed.size();
    }

    std::mutex mutex;
    std::condition_variable idle;
    std::vector<Entry> entries;
    int nextNumber = 1;
    int running = 0;
};

} // namespace simulated
