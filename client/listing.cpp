// The verbs that list endpoints.
#include "client/verbs.h"

namespace
{
QString line(const Endpoint &endpoint)
{
    return QStringLiteral("%1 %2% %3 %4  %5")
        .arg(endpoint.isDefault ? '*' : ' ')
        .arg(endpoint.volume, 3)
        .arg(endpoint.isMuted ? "muted" : "     ", endpoint.name, endpoint.id);
}

Exit list(Session &session, Direction direction)
{
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    const auto infos = session.askInfos(direction);
    if (!infos)
        return infos.exit();
    QStringList lines;
    for (const Endpoint &endpoint : endpointsOf(*infos, direction))
        lines.append(line(endpoint));
    if (session.options.json || !lines.isEmpty())
        session.print(lines.join('\n'), *infos);
    return Exit::Ok;
}
} // namespace

Exit listOutputs(Session &session, const QStringList &)
{
    return list(session, Direction::Output);
}

Exit listInputs(Session &session, const QStringList &)
{
    return list(session, Direction::Input);
}
