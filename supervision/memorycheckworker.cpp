#include "supervision/memorycheckworker.h"

#include "platform/applications.h"
#include "platform/signalstack.h"
#include "platform/threads.h"

#include <QDebug>
#include <QMutexLocker>
#include <QThread>

namespace
{
constexpr DWORD trimmingAccess = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ | PROCESS_SET_QUOTA;
static_assert(trimmingAccess == 0x510);
/// As both bounds of a working set: as small as it can be made.
constexpr auto asSmallAsCanBe = static_cast<SIZE_T>(-1);
} // namespace

MemoryCheckWorker::MemoryCheckWorker() : workerThread(std::make_unique<QThread>())
{
    workerThread->setObjectName("MemoryCheck");
    moveToThread(workerThread.get());
    SignalStack::provideTo(*workerThread);
    workerThread->start(QThread::InheritPriority);
}

void MemoryCheckWorker::end(MemoryCheckWorker *worker)
{
    if (!worker)
        return;
    worker->removeAll();
    endOnItsThread(worker, std::move(worker->workerThread));
}

void MemoryCheckWorker::removeAll()
{
    const QMutexLocker locker(&processesMutex);
    for (const quint32 pid : processes.keys())
        closeEntry(pid);
}

void MemoryCheckWorker::addMonitorProcess(uint pid)
{
    removeMonitorProcess(pid);
    const QMutexLocker locker(&processesMutex);
    const HANDLE process = OpenProcess(trimmingAccess, FALSE, pid);
    if (!process) {
        const DWORD error = GetLastError(); // before the log can change it
        qWarning() << "获取进程句柄失败，错误码：" << error;
        return;
    }
    processes.insert(pid, process);
}

void MemoryCheckWorker::removeMonitorProcess(uint pid)
{
    const QMutexLocker locker(&processesMutex);
    if (processes.contains(pid))
        closeEntry(pid);
}

void MemoryCheckWorker::closeEntry(uint pid)
{
    if (const HANDLE process = processes.take(pid))
        CloseHandle(process);
}

void MemoryCheckWorker::handleMemoryCheck()
{
    const QMutexLocker locker(&processesMutex);
    for (const quint32 pid : processes.keys()) {
        if (const HANDLE process = processes.value(pid))
            SetProcessWorkingSetSize(process, asSmallAsCanBe, asSmallAsCanBe);
    }
}
