#include "platform/simulated/record.h"

#include "platform/posix/lasterror.h"
#include "platform/simulated/immortal.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace simulated
{

namespace
{

struct Fault
{
    QString call;
    QString endpointId;
    HRESULT code;
    int timesLeft; ///< negative: for ever
};

struct Action
{
    QString call;
    std::function<void()> run;
};

struct Record
{
    std::mutex mutex;
    std::condition_variable grown;
    QList<Call> calls;
    std::vector<Fault> faults;
    std::vector<Action> actions;
};

Record &theRecord()
{
    return immortal<Record>();
}

bool isNamed(const QString &call, const QString &name)
{
    return call.startsWith(name) && (call.size() == name.size() || call[name.size()] == u' ');
}

qsizetype count(const Record &record, const QString &name)
{
    return std::count_if(record.calls.begin(), record.calls.end(),
                         [&](const Call &call) { return isNamed(call.text, name); });
}

std::optional<HRESULT> takeFault(Record &record, const QString &call, const QString &endpointId)
{
    const auto fault =
        std::find_if(record.faults.begin(), record.faults.end(), [&](const Fault &candidate) {
            return candidate.timesLeft != 0 && isNamed(call, candidate.call) &&
                   (candidate.endpointId.isEmpty() || candidate.endpointId == endpointId);
        });
    if (fault == record.faults.end())
        return std::nullopt;
    if (fault->timesLeft > 0)
        --fault->timesLeft;
    return fault->code;
}

void addFault(const QString &call, DWORD code, int times, const QString &endpointId)
{
    Record &record = theRecord();
    const std::lock_guard lock(record.mutex);
    record.faults.push_back({call, endpointId, static_cast<HRESULT>(code), times});
}

} // namespace

std::optional<HRESULT> faultOf(const QString &call, const QString &endpointId)
{
    Record &record = theRecord();
    std::vector<std::function<void()>> actions;
    std::optional<HRESULT> fault;
    {
        const std::lock_guard lock(record.mutex);
        record.calls.append({call, endpointId, std::this_thread::get_id()});
        fault = takeFault(record, call, endpointId);
        for (const Action &action : record.actions) {
            if (isNamed(call, action.call))
                actions.push_back(action.run);
        }
    }
    record.grown.notify_all();
    for (const auto &run : actions)
        run();
    return fault;
}

void record(const QString &call, const QString &endpointId)
{
    [[maybe_unused]] const auto ignored = faultOf(call, endpointId);
}

bool failsWithError(const QString &call)
{
    const auto fault = faultOf(call);
    if (fault)
        posix::setLastError(static_cast<DWORD>(*fault));
    return fault.has_value();
}

QStringList calls()
{
    QStringList texts;
    for (const Call &call : callRecords())
        texts.append(call.text);
    return texts;
}

QList<Call> callRecords()
{
    Record &record = theRecord();
    const std::lock_guard lock(record.mutex);
    // Not a shared list, whose memory another thread would go on appending to.
    return {record.calls.begin(), record.calls.end()};
}

void clearCalls()
{
    Record &record = theRecord();
    const std::lock_guard lock(record.mutex);
    record.calls.clear();
}

qsizetype countCalls(const QString &call)
{
    Record &record = theRecord();
    const std::lock_guard lock(record.mutex);
    return count(record, call);
}

bool waitForCall(const QString &call, int timeoutMs)
{
    return waitForCalls(call, 1, timeoutMs);
}

bool waitForCalls(const QString &call, qsizetype wanted, int timeoutMs)
{
    Record &record = theRecord();
    std::unique_lock lock(record.mutex);
    return record.grown.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                 [&] { return count(record, call) >= wanted; });
}

void failNext(const QString &call, DWORD code, int times, const QString &endpointId)
{
    if (times > 0)
        addFault(call, code, times, endpointId);
}

void failAlways(const QString &call, DWORD code, const QString &endpointId)
{
    addFault(call, code, -1, endpointId);
}

void clearFaults()
{
    Record &record = theRecord();
    const std::lock_guard lock(record.mutex);
    record.faults.clear();
}

void onCall(const QString &call, std::function<void()> action)
{
    Record &record = theRecord();
    const std::lock_guard lock(record.mutex);
    record.actions.push_back({call, std::move(action)});
}

void resetCalls()
{
    Record &record = theRecord();
    const std::lock_guard lock(record.mutex);
    record.calls.clear();
    record.faults.clear();
    record.actions.clear();
}

} // namespace simulated
