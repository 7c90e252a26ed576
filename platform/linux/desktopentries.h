// The desktop entries that are installed for the user.
#pragma once

#include <QString>

#include <optional>

/// The names that an entry gives its application, in the user's language where it has them.
struct DesktopEntry
{
    QString id; ///< the file's name, folders below "applications" joined by "-", without ".desktop"
    QString file;
    QString name;
    QString genericName;
    QString executable; ///< the real path of what Exec starts; empty if it starts it for another
    int options = 0;    ///< that Exec passes
};

/// Looks entries up. What was read is kept until a folder changes. Callable from any thread; may
/// read many files.
namespace desktopentries
{
[[nodiscard]] std::optional<DesktopEntry> byId(const QString &id);
[[nodiscard]] std::optional<DesktopEntry> byFile(const QString &file);
/// The entry that starts this executable with the fewest options.
[[nodiscard]] std::optional<DesktopEntry> byExecutable(const QString &path);
} // namespace desktopentries
