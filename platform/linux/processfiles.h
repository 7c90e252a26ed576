// What the system's process files tell of a process.
#pragma once

#include <QList>
#include <QString>

#include <utility>

namespace processfiles
{
/// Where the process files stand; a test may put some of its own elsewhere. Ends with a slash.
[[nodiscard]] QString root();
void setRoot(const QString &folder);

[[nodiscard]] bool exists(quint32 pid);

/// The executable's full path, that of a file since deleted too; empty for a process that is gone
/// or that we may not look into.
[[nodiscard]] QString executable(quint32 pid);

/// The process's short name, at most 15 bytes; empty for one that is gone.
[[nodiscard]] QString shortName(quint32 pid);

/// The ID of the desktop entry that the process was started for: that of its sandbox, else the one
/// that its session's scope names. Empty if none does.
[[nodiscard]] QString desktopId(quint32 pid);

/// The address ranges that the process has mapped, begin and end of each, lowest first; without the
/// kernel's own page behind all others. Empty for a process that is gone or that we may not look
/// into.
[[nodiscard]] QList<std::pair<quintptr, quintptr>> memoryRegions(quint32 pid);

/// All processes, in no order.
[[nodiscard]] QList<quint32> all();
} // namespace processfiles
