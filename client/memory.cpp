// The verb for other programs' memory.
#include "client/verbs.h"

namespace
{
Result<int> parseProcessId(const QString &text)
{
    bool isNumber = false;
    const int id = text.toInt(&isNumber);
    if (isNumber && id > 0)
        return id;
    return fail(Exit::Usage, QStringLiteral("\"%1\" is no process ID").arg(text));
}
} // namespace

Exit trimProcess(Session &session, const QStringList &arguments)
{
    const auto pid = parseProcessId(arguments.at(0));
    if (!pid)
        return pid.exit();
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    const QJsonObject order{{"pid", *pid}};
    session.wire.send("addMemoryCheck", order);
    if (const Exit code = session.barrier(); code != Exit::Ok)
        return code;
    session.print(QStringLiteral("%1: asked to trim every ten minutes").arg(*pid), order);
    return Exit::Ok;
}
