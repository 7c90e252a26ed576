// Windows itself tells about the own process, but for the number of its threads.
#include "platform/applications.h"
#include "platform/posix/handletable.h"
#include "platform/simulated/system.h"
#include "platform/simulated/windows/systemfunction.h"

qsizetype simulated::threadCount()
{
    static auto *const takeSnapshot =
        systemFunction<decltype(CreateToolhelp32Snapshot)>("CreateToolhelp32Snapshot");
    const HANDLE snapshot = takeSnapshot(TH32CS_SNAPTHREAD, 0);
    qsizetype count = 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    posix::closeHandle(snapshot);
    return count;
}
