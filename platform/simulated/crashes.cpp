#include "platform/simulated/crashes.h"

#include "platform/crashhandler.h"
#include "platform/simulated/crashtable.h"
#include "platform/simulated/immortal.h"

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class CrashHandler
{
public:
    std::wstring dumpPath;
    MinidumpCallback callback = nullptr;
    void *context = nullptr;
    int handlerTypes = 0;
};

namespace simulated
{
namespace
{

/// Handlers are never given back; after a reset they only count no more.
struct CrashHandlers
{
    std::mutex mutex;
    std::vector<std::unique_ptr<CrashHandler>> all;
    std::size_t first = 0; ///< since the last reset
};

CrashHandlers &handlers()
{
    return immortal<CrashHandlers>();
}

const CrashHandler *newest()
{
    const std::lock_guard lock(handlers().mutex);
    return handlers().all.size() > handlers().first ? handlers().all.back().get() : nullptr;
}

} // namespace

QList<InstalledCrashHandler> crashHandlers()
{
    const std::lock_guard lock(handlers().mutex);
    QList<InstalledCrashHandler> result;
    for (std::size_t i = handlers().first; i < handlers().all.size(); ++i) {
        const CrashHandler &handler = *handlers().all[i];
        result.append({QString::fromStdWString(handler.dumpPath), handler.handlerTypes});
    }
    return result;
}

bool announceDump(const QString &minidumpId, bool succeeded)
{
    const CrashHandler *handler = newest();
    if (!handler)
        return false;
    bool answer = false;
    std::thread handlerThread([&] {
        answer = handler->callback(handler->dumpPath.c_str(), minidumpId.toStdWString().c_str(),
                                   handler->context, nullptr, nullptr, succeeded);
    });
    handlerThread.join();
    return answer;
}

void resetCrashes()
{
    const std::lock_guard lock(handlers().mutex);
    handlers().first = handlers().all.size();
}

} // namespace simulated

CrashHandler *installCrashHandler(const std::wstring &dumpPath, MinidumpCallback callback,
                                  void *context, int handlerTypes)
{
    const std::lock_guard lock(simulated::handlers().mutex);
    auto &all = simulated::handlers().all;
    all.push_back(std::make_unique<CrashHandler>());
    *all.back() = {dumpPath, callback, context, handlerTypes};
    return all.back().get();
}
