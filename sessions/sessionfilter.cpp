#include "sessions/sessionfilter.h"

#include <algorithm>
#include <array>

namespace
{

/// A process of the desktop: its name counts exactly, its path's end in any case.
struct DesktopProcess
{
    QLatin1StringView name;
    QLatin1StringView pathEnd;
};

constexpr std::array desktopProcesses{
    DesktopProcess{QLatin1StringView("explorer.exe"), QLatin1StringView("\\Explorer.EXE")},
    DesktopProcess{QLatin1StringView("Explorer.EXE"), QLatin1StringView("\\Explorer.EXE")},
    DesktopProcess{QLatin1StringView("EXPLORER.EXE"), QLatin1StringView("\\Explorer.EXE")},
    DesktopProcess{QLatin1StringView("rundll32.exe"), QLatin1StringView("\\rundll32.exe")},
    DesktopProcess{QLatin1StringView("ShellHost.exe"), QLatin1StringView("\\ShellHost.exe")},
    DesktopProcess{QLatin1StringView("SystemSettings.exe"),
                   QLatin1StringView("\\SystemSettings.exe")},
};

} // namespace

bool isHiddenSession(int processId, const QString &name, const QString &path,
                     const QString &ownPath)
{
    if (processId == 0 || path == ownPath || name.isEmpty())
        return true;
    return std::ranges::any_of(desktopProcesses, [&](const DesktopProcess &process) {
        return name == process.name || path.endsWith(process.pathEnd, Qt::CaseInsensitive);
    });
}
