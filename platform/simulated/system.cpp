#include "platform/simulated/system.h"

#include "platform/coreaudio.h"
#include "platform/simulated/record.h"
#include "platform/simulated/systemstate.h"
#include "platform/systemversion.h"
#include "platform/threads.h"

#include <mutex>

namespace simulated
{

namespace
{

struct Version
{
    int major = 10;
    int minor = 0;
    int build = 19045;
};

std::mutex versionMutex;
Version version;

} // namespace

void setSystemVersion(int major, int minor, int build)
{
    const std::lock_guard lock(versionMutex);
    version = {major, minor, build};
}

void resetSystem()
{
    const std::lock_guard lock(versionMutex);
    version = {};
}

} // namespace simulated

bool readSystemVersion(int &major, int &minor, int &build)
{
    if (simulated::faultOf(QStringLiteral("readSystemVersion")))
        return false;
    const std::lock_guard lock(simulated::versionMutex);
    major = simulated::version.major;
    minor = simulated::version.minor;
    build = simulated::version.build;
    return true;
}

BOOL MessageBeep(UINT type)
{
    return simulated::failsWithError(QStringLiteral("MessageBeep %1").arg(type)) ? FALSE : TRUE;
}

void requestRealtimeScheduling(SoundThread thread)
{
    simulated::record(QStringLiteral("requestRealtimeScheduling %1")
                          .arg(thread == SoundThread::Paced ? "paced" : "fed"));
}
