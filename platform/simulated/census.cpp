#include "platform/simulated/census.h"

#include "platform/posix/taskmemory.h"
#include "platform/simulated/immortal.h"
#include "platform/simulated/simulated.h"

#include <QMap>
#include <QStringList>

#include <mutex>

namespace simulated
{

namespace
{

struct Census
{
    std::mutex mutex;
    QMap<const void *, QString> living;
    QMap<int, HANDLE> openEvents; ///< by their numbers
    qsizetype blocksAtReset = 0;
    int events = 0;
};

Census &census()
{
    return immortal<Census>();
}

qsizetype blocksSinceReset(const Census &census)
{
    return static_cast<qsizetype>(posix::taskMemoryBlocks()) - census.blocksAtReset;
}

} // namespace

void enterCensus(const void *object, const QString &name)
{
    const std::lock_guard lock(census().mutex);
    census().living.insert(object, name);
}

QString leaveCensus(const void *object)
{
    const std::lock_guard lock(census().mutex);
    using Entry = std::pair<const int &, HANDLE &>;
    census().openEvents.removeIf([&](Entry entry) { return entry.second == object; });
    return census().living.take(object);
}

QString handleName(HANDLE handle)
{
    if (!handle)
        return QStringLiteral("null");
    const std::lock_guard lock(census().mutex);
    return census().living.value(handle, QStringLiteral("invalid"));
}

int nextEventNumber()
{
    const std::lock_guard lock(census().mutex);
    return ++census().events;
}

void enterEvent(HANDLE event, int number)
{
    const std::lock_guard lock(census().mutex);
    census().living.insert(event, eventName(number));
    census().openEvents.insert(number, event);
}

QString eventName(int number)
{
    return QStringLiteral("event%1").arg(number);
}

QList<HANDLE> openEvents()
{
    const std::lock_guard lock(census().mutex);
    return census().openEvents.values();
}

void resetCensus()
{
    const std::lock_guard lock(census().mutex);
    census().living.clear();
    census().openEvents.clear();
    census().blocksAtReset = static_cast<qsizetype>(posix::taskMemoryBlocks());
    census().events = 0;
}

qsizetype liveObjects()
{
    const std::lock_guard lock(census().mutex);
    return census().living.size() + blocksSinceReset(census());
}

QString leakReport()
{
    const std::lock_guard lock(census().mutex);
    QStringList lines = census().living.values();
    lines.sort();
    if (const qsizetype blocks = blocksSinceReset(census()); blocks != 0)
        lines.append(QStringLiteral("%1 blocks of task memory").arg(blocks));
    return lines.join(QLatin1Char('\n'));
}

} // namespace simulated
