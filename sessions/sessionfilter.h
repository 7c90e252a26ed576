// Which sessions are never shown.
#pragma once

#include <QString>

/// True for sessions without a process or a name, for this program's own (`ownPath` is its
/// executable, in native separators like `path`), and for parts of the desktop itself.
[[nodiscard]] bool isHiddenSession(int processId, const QString &name, const QString &path,
                                   const QString &ownPath);
