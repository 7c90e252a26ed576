// Processes, their modules, their working sets and their list.
#include "platform/applications.h"
#include "platform/posix/handletable.h"
#include "platform/posix/lasterror.h"
#include "platform/posix/widetext.h"
#include "platform/simulated/applicationtable.h"
#include "platform/simulated/census.h"
#include "platform/simulated/record.h"

using simulated::Application;
using simulated::failsWithError;

namespace
{

struct OpenProcessObject final : public posix::Object
{
    explicit OpenProcessObject(DWORD id) : id(id) {}
    const DWORD id;
};

struct ProcessList final : public posix::Object
{
    QList<Application> listed;
    qsizetype next = 0;
};

HANDLE handOut(std::unique_ptr<posix::Object> object, const QString &name)
{
    const HANDLE handle = posix::createHandle(std::move(object));
    if (handle)
        simulated::enterCensus(handle, name);
    return handle;
}

bool fails(DWORD error)
{
    posix::setLastError(error);
    return false;
}

bool grants(const Application &application, DWORD access)
{
    if (application.isClosed)
        return false;
    return !application.isRestricted || access == PROCESS_QUERY_LIMITED_INFORMATION;
}

BOOL nextListed(HANDLE snapshot, PROCESSENTRY32W *entry)
{
    const posix::ReferenceTo<ProcessList> list(snapshot);
    if (!list || list->next >= list->listed.size())
        return fails(ERROR_FILE_NOT_FOUND);
    const Application &application = list->listed[list->next++];
    entry->th32ProcessID = application.processId;
    posix::copyWideText(application.listedName, entry->szExeFile, MAX_PATH);
    return TRUE;
}

} // namespace

DWORD simulated::processOfHandle(HANDLE handle)
{
    const posix::ReferenceTo<OpenProcessObject> process(handle);
    return process ? process->id : 0;
}

HANDLE OpenProcess(DWORD desiredAccess, BOOL, DWORD processId)
{
    if (failsWithError(
            QStringLiteral("OpenProcess %1 %2").arg(processId).arg(desiredAccess, 0, 16)))
        return nullptr;
    const auto application = simulated::findApplication(processId);
    if (!application || !grants(*application, desiredAccess)) {
        fails(application ? ERROR_ACCESS_DENIED : ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return handOut(std::make_unique<OpenProcessObject>(processId),
                   QStringLiteral("process%1").arg(processId));
}

BOOL QueryFullProcessImageNameW(HANDLE process, DWORD, LPWSTR name, DWORD *size)
{
    const DWORD id = simulated::processOfHandle(process);
    if (failsWithError(QStringLiteral("QueryFullProcessImageNameW %1").arg(id)))
        return FALSE;
    const auto application = simulated::findApplication(id);
    if (!application || application->imagePath.isEmpty())
        return fails(ERROR_ACCESS_DENIED);
    const auto length = posix::copyWideText(application->imagePath, name, *size);
    if (!length)
        return fails(ERROR_INSUFFICIENT_BUFFER);
    *size = *length;
    return TRUE;
}

BOOL K32EnumProcessModules(HANDLE process, HMODULE *modules, DWORD bytes, DWORD *needed)
{
    const DWORD id = simulated::processOfHandle(process);
    if (failsWithError(QStringLiteral("K32EnumProcessModules %1").arg(id)))
        return FALSE;
    const auto application = simulated::findApplication(id);
    if (!application || application->moduleName.isEmpty())
        return fails(ERROR_ACCESS_DENIED);
    *needed = sizeof(HMODULE);
    if (bytes >= sizeof(HMODULE))
        *modules = reinterpret_cast<HMODULE>(std::uintptr_t{id});
    return TRUE;
}

DWORD K32GetModuleBaseNameW(HANDLE process, HMODULE, LPWSTR name, DWORD size)
{
    const DWORD id = simulated::processOfHandle(process);
    if (failsWithError(QStringLiteral("K32GetModuleBaseNameW %1").arg(id)))
        return 0;
    const auto application = simulated::findApplication(id);
    if (!application)
        return 0;
    return posix::copyWideText(application->moduleName, name, size).value_or(0);
}

BOOL SetProcessWorkingSetSize(HANDLE process, SIZE_T minimumBytes, SIZE_T maximumBytes)
{
    return failsWithError(QStringLiteral("SetProcessWorkingSetSize %1 %2 %3")
                              .arg(simulated::processOfHandle(process))
                              .arg(qint64(minimumBytes))
                              .arg(qint64(maximumBytes)))
               ? FALSE
               : TRUE;
}

HANDLE CreateToolhelp32Snapshot(DWORD flags, DWORD)
{
    if (failsWithError(QStringLiteral("CreateToolhelp32Snapshot %1").arg(flags)))
        return INVALID_HANDLE_VALUE;
    auto list = std::make_unique<ProcessList>();
    for (const Application &application : simulated::allApplications()) {
        if (!application.listedName.isEmpty())
            list->listed.append(application);
    }
    const HANDLE handle = handOut(std::move(list), QStringLiteral("processes"));
    return handle ? handle : INVALID_HANDLE_VALUE;
}

BOOL Process32FirstW(HANDLE snapshot, PROCESSENTRY32W *entry)
{
    return failsWithError(QStringLiteral("Process32FirstW")) ? FALSE : nextListed(snapshot, entry);
}

BOOL Process32NextW(HANDLE snapshot, PROCESSENTRY32W *entry)
{
    return failsWithError(QStringLiteral("Process32NextW")) ? FALSE : nextListed(snapshot, entry);
}
