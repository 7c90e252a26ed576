// The vocabulary's functions on other processes, answered from the process files. The executable
// counts as a process's first and only module.
#include "platform/vocabulary/processes.h"

#include "platform/linux/processfiles.h"
#include "platform/linux/processhandle.h"
#include "platform/linux/workingset.h"
#include "platform/posix/lasterror.h"
#include "platform/posix/widetext.h"

namespace
{
struct OpenProcessObject final : public posix::Object
{
    OpenProcessObject(quint32 pid, std::unique_ptr<WorkingSet> workingSet)
        : pid(pid), workingSet(std::move(workingSet))
    {
    }
    const quint32 pid;
    /// Null where trimming was not asked for.
    const std::unique_ptr<WorkingSet> workingSet;
};

struct ProcessList final : public posix::Object
{
    QList<quint32> processes;
    qsizetype next = 0;
};

BOOL fails(DWORD error)
{
    posix::setLastError(error);
    return FALSE;
}

DWORD errorOf(std::errc error)
{
    switch (error) {
    case std::errc::no_such_process:
        return ERROR_INVALID_PARAMETER;
    case std::errc::function_not_supported:
        return ERROR_CALL_NOT_IMPLEMENTED;
    case std::errc::too_many_files_open:
    case std::errc::not_enough_memory:
        return ERROR_NOT_ENOUGH_MEMORY;
    default:
        return ERROR_ACCESS_DENIED;
    }
}

// One that has ended since the list was made is passed over.
BOOL nextListed(HANDLE snapshot, PROCESSENTRY32W *entry)
{
    const posix::ReferenceTo<ProcessList> list(snapshot);
    while (list && list->next < list->processes.size()) {
        const quint32 pid = list->processes[list->next++];
        const QString name = processfiles::shortName(pid);
        if (name.isEmpty() || !posix::copyWideText(name, entry->szExeFile, MAX_PATH))
            continue;
        entry->th32ProcessID = pid;
        return TRUE;
    }
    return fails(ERROR_FILE_NOT_FOUND);
}
} // namespace

quint32 processOfHandle(HANDLE handle)
{
    const posix::ReferenceTo<OpenProcessObject> process(handle);
    return process ? process->pid : 0;
}

// All that may be asked of any process is that it is there.
HANDLE OpenProcess(DWORD desiredAccess, BOOL, DWORD processId)
{
    if (!processfiles::exists(processId)) {
        fails(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (desiredAccess != PROCESS_QUERY_LIMITED_INFORMATION &&
        processfiles::executable(processId).isEmpty()) {
        fails(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    std::unique_ptr<WorkingSet> workingSet;
    if (desiredAccess & PROCESS_SET_QUOTA) {
        auto opened = WorkingSet::open(processId);
        if (const auto *error = std::get_if<std::errc>(&opened)) {
            fails(errorOf(*error));
            return nullptr;
        }
        workingSet = std::get<std::unique_ptr<WorkingSet>>(std::move(opened));
    }
    return posix::createHandle(
        std::make_unique<OpenProcessObject>(processId, std::move(workingSet)));
}

BOOL SetProcessWorkingSetSize(HANDLE handle, SIZE_T minimumBytes, SIZE_T maximumBytes)
{
    constexpr auto asSmallAsCanBe = static_cast<SIZE_T>(-1);
    if (minimumBytes != asSmallAsCanBe || maximumBytes != asSmallAsCanBe)
        return fails(ERROR_INVALID_PARAMETER);
    const posix::ReferenceTo<OpenProcessObject> process(handle);
    if (!process)
        return fails(ERROR_INVALID_HANDLE);
    if (!process->workingSet)
        return fails(ERROR_ACCESS_DENIED);
    const std::errc error = process->workingSet->trim();
    return error == std::errc() ? TRUE : fails(errorOf(error));
}

BOOL QueryFullProcessImageNameW(HANDLE process, DWORD, LPWSTR name, DWORD *size)
{
    const QString path = processfiles::executable(processOfHandle(process));
    if (path.isEmpty())
        return fails(ERROR_ACCESS_DENIED);
    const auto length = posix::copyWideText(path, name, *size);
    if (!length)
        return fails(ERROR_INSUFFICIENT_BUFFER);
    *size = *length;
    return TRUE;
}

BOOL K32EnumProcessModules(HANDLE process, HMODULE *modules, DWORD bytes, DWORD *needed)
{
    const quint32 pid = processOfHandle(process);
    if (processfiles::executable(pid).isEmpty())
        return fails(ERROR_ACCESS_DENIED);
    *needed = sizeof(HMODULE);
    if (bytes >= sizeof(HMODULE))
        *modules = reinterpret_cast<HMODULE>(std::uintptr_t{pid});
    return TRUE;
}

DWORD K32GetModuleBaseNameW(HANDLE process, HMODULE, LPWSTR name, DWORD size)
{
    const QString path = processfiles::executable(processOfHandle(process));
    const QString base = path.section(QLatin1Char('/'), -1);
    return base.isEmpty() ? 0 : posix::copyWideText(base, name, size).value_or(0);
}

HANDLE CreateToolhelp32Snapshot(DWORD, DWORD)
{
    auto list = std::make_unique<ProcessList>();
    list->processes = processfiles::all();
    const HANDLE handle = posix::createHandle(std::move(list));
    return handle ? handle : INVALID_HANDLE_VALUE;
}

BOOL Process32FirstW(HANDLE snapshot, PROCESSENTRY32W *entry)
{
    return nextListed(snapshot, entry);
}

BOOL Process32NextW(HANDLE snapshot, PROCESSENTRY32W *entry)
{
    return nextListed(snapshot, entry);
}
