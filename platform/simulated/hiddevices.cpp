#include "platform/simulated/hiddevices.h"

#include "platform/simulated/hidtable.h"
#include "platform/simulated/immortal.h"

#include <algorithm>

namespace simulated
{

namespace
{

/// Runs the function on the newest device of this path, under the lock; a value of the function's
/// own without it if there is none.
template <typename Function>
auto withDevice(const QByteArray &path, Function function)
{
    HidTable &table = hidTable();
    const std::lock_guard lock(table.mutex);
    const auto found = std::find_if(
        table.devices.rbegin(), table.devices.rend(),
        [&](const std::shared_ptr<HidState> &state) { return state->description.path == path; });
    if (found != table.devices.rend())
        return function(**found);
    HidState nobody;
    return function(nobody);
}

} // namespace

HidTable &hidTable()
{
    return immortal<HidTable>();
}

void resetHid()
{
    HidTable &table = hidTable();
    const std::lock_guard lock(table.mutex);
    for (const auto &device : table.devices)
        device->unplugged = true;
    table.devices.clear();
    table.globalError.reset();
    table.changed.notify_all();
}

void addHidDevice(const HidDevice &device)
{
    HidTable &table = hidTable();
    const std::lock_guard lock(table.mutex);
    auto state = std::make_shared<HidState>();
    state->description = device;
    table.devices.push_back(std::move(state));
}

void removeHidDevice(const QByteArray &path)
{
    withDevice(path, [](HidState &state) { state.unplugged = true; });
    hidTable().changed.notify_all();
}

void queueHidReport(const QByteArray &path, const QByteArray &report)
{
    withDevice(path, [&](HidState &state) { state.reports.push_back(report); });
    hidTable().changed.notify_all();
}

void setHidInputReport(const QByteArray &path, const QByteArray &report)
{
    withDevice(path, [&](HidState &state) { state.inputReport = report; });
}

void setHidFeatureReport(const QByteArray &path, const QByteArray &report)
{
    withDevice(path, [&](HidState &state) { state.featureReport = report; });
}

QList<QByteArray> hidWrites(const QByteArray &path)
{
    return withDevice(path, [](const HidState &state) { return state.writes; });
}

QList<QByteArray> hidFeatureWrites(const QByteArray &path)
{
    return withDevice(path, [](const HidState &state) { return state.featureWrites; });
}

QByteArray hidQuery(const QByteArray &path)
{
    return withDevice(path, [](const HidState &state) { return state.lastQuery; });
}

int openHidHandles(const QByteArray &path)
{
    return withDevice(path, [](const HidState &state) { return state.openHandles; });
}

} // namespace simulated
