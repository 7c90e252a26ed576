// Crashes of the process, as the handlers that were installed hear of them.
#pragma once

#include <QList>
#include <QString>

namespace simulated
{

/// What a handler was installed with.
struct InstalledCrashHandler
{
    QString dumpPath;
    int handlerTypes = 0;
};
/// Those since the last reset, oldest first.
[[nodiscard]] QList<InstalledCrashHandler> crashHandlers();

/// Tells the newest handler of a dump with that name, written or not, on a thread of its own as
/// the library does. What the handler answered; false without a handler.
bool announceDump(const QString &minidumpId, bool succeeded);

} // namespace simulated
