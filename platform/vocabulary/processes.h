// Other processes: opening them, their executable, their modules, their working set, and the list
// of all.
#pragma once

#include "platform/vocabulary/kernel.h"

using HMODULE = struct HINSTANCE__ *;

inline constexpr DWORD PROCESS_VM_READ = 0x0010;
inline constexpr DWORD PROCESS_SET_QUOTA = 0x0100;
inline constexpr DWORD PROCESS_QUERY_INFORMATION = 0x0400;
inline constexpr DWORD PROCESS_QUERY_LIMITED_INFORMATION = 0x1000;
inline constexpr DWORD TH32CS_SNAPPROCESS = 0x0002;
inline constexpr std::size_t MAX_PATH = 260;

struct PROCESSENTRY32W
{
    DWORD dwSize; ///< sizeof(PROCESSENTRY32W), set by the caller
    DWORD th32ProcessID;
    WCHAR szExeFile[MAX_PATH];
};

/// A handle for CloseHandle; null on failure.
HANDLE OpenProcess(DWORD desiredAccess, BOOL inheritHandle, DWORD processId);

/// The executable's full path. `size` counts characters: the buffer's on entry, those of the text
/// without its terminator on return.
BOOL QueryFullProcessImageNameW(HANDLE process, DWORD flags, LPWSTR name, DWORD *size);

/// Modules in order of loading, the executable first. `needed` is in bytes.
BOOL K32EnumProcessModules(HANDLE process, HMODULE *modules, DWORD bytes, DWORD *needed);
/// The module's file name without its folder; the number of characters, 0 on failure.
DWORD K32GetModuleBaseNameW(HANDLE process, HMODULE module, LPWSTR name, DWORD size);

/// With both bounds at -1, takes as many pages as it can out of the process's working set. FALSE
/// when the process has ended or the system refuses. The handle must be open for
/// PROCESS_SET_QUOTA.
BOOL SetProcessWorkingSetSize(HANDLE process, SIZE_T minimumBytes, SIZE_T maximumBytes);

/// A snapshot for CloseHandle; INVALID_HANDLE_VALUE on failure.
HANDLE CreateToolhelp32Snapshot(DWORD flags, DWORD processId);
BOOL Process32FirstW(HANDLE snapshot, PROCESSENTRY32W *entry);
/// FALSE behind the last one.
BOOL Process32NextW(HANDLE snapshot, PROCESSENTRY32W *entry);
