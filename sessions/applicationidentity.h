// The name under which the user knows the application of a process.
#pragma once

#include "platform/applications.h"

#include <QString>

#include <string>

/// The name of the application, by the first of these that knows one: its package, its version
/// information, its first module, the list of processes. Empty for process 0 and for one that is
/// gone. Reads files: not for a thread that must not wait.
[[nodiscard]] QString applicationName(DWORD pid);

/// The full path of the process's executable; empty if it can't be had.
[[nodiscard]] QString applicationFileName(DWORD pid);

/// The display name of a packaged application; empty for any other process. `useWinRT` asks the
/// package manager instead of reading the package's manifest.
[[nodiscard]] QString GetAppDisplayNameByPid(unsigned long pid, bool useWinRT);

/// False when the package's install path can't be had.
[[nodiscard]] bool getPackageInstallPath(std::wstring fullName, std::wstring &path);

/// "FileDescription", "ProductName" or "OriginalFilename" of the executable, whichever comes
/// first; empty if it has none of them.
[[nodiscard]] QString getVersionInfoName(DWORD pid);

/// The file name of the first module, "<unknown>" if the module doesn't tell it; empty if the
/// process doesn't tell its modules.
[[nodiscard]] QString getModuleBaseName(DWORD pid);

/// The executable's name in the list of processes; empty for a process that is not there.
[[nodiscard]] QString getSnapshotExeName(DWORD pid);
