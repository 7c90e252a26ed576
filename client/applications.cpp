// The verbs for applications: who uses sound where, and moving one.
#include "client/application.h"
#include "client/verbs.h"

#include <algorithm>

namespace
{
/// The applications, and the answer that told of them.
struct Listing
{
    QList<Application> applications;
    QJsonObject answer;
};

Result<Listing> listApplications(Session &session, const QList<Endpoint> &endpoints)
{
    const auto answer = session.ask("getAudioSessionInfos", {}, "didReceiveAudioSessionInfos");
    if (!answer)
        return answer.exit();
    return Listing{applicationsOf(*answer, endpoints), *answer};
}

QString described(const QList<Application> &applications)
{
    return applications.isEmpty() ? " none" : "\n  " + tableOf(applications).join("\n  ");
}

/// The sessions of the one application that the text means, all of one process.
Result<QList<Application>> pickApplication(const QList<Application> &applications,
                                           const QString &text)
{
    const QList<Application> found = matches(applications, text);
    if (found.isEmpty()) {
        return fail(Exit::NoSuchEndpoint,
                    QStringLiteral("no application \"%1\" uses sound; there are:%2")
                        .arg(text, described(applications)));
    }
    const bool isOne = std::all_of(found.begin(), found.end(), [&](const Application &each) {
        return each.processId == found.first().processId;
    });
    if (!isOne) {
        return fail(Exit::Ambiguous,
                    QStringLiteral("\"%1\" may mean:%2").arg(text, described(found)));
    }
    return found;
}

QList<Endpoint> ofDirection(QList<Endpoint> endpoints, std::optional<Direction> direction)
{
    endpoints.removeIf(
        [=](const Endpoint &each) { return direction.value_or(each.direction) != each.direction; });
    return endpoints;
}

/// Where the application is now in that direction; empty if it isn't there at all.
QString placeOf(const QList<Application> &sessions, Direction direction)
{
    for (const Application &each : sessions) {
        if (each.endpoint.direction == direction)
            return each.endpoint.id;
    }
    return {};
}
} // namespace

Exit listApps(Session &session, const QStringList &)
{
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    const auto endpoints = session.endpoints({});
    if (!endpoints)
        return endpoints.exit();
    const auto listing = listApplications(session, *endpoints);
    if (!listing)
        return listing.exit();
    const QStringList lines = tableOf(listing->applications);
    if (session.options.json || !lines.isEmpty())
        session.print(lines.join('\n'), listing->answer);
    return Exit::Ok;
}

Exit moveApp(Session &session, const QStringList &arguments)
{
    if (const Exit code = session.open(); code != Exit::Ok)
        return code;
    const auto endpoints = session.endpoints({});
    if (!endpoints)
        return endpoints.exit();
    const auto listing = listApplications(session, *endpoints);
    if (!listing)
        return listing.exit();
    const auto found = pickApplication(listing->applications, arguments.at(0));
    if (!found)
        return found.exit();
    const auto endpoint = pick(ofDirection(*endpoints, session.options.direction), arguments.at(1));
    if (!endpoint)
        return endpoint.exit();

    const QString name = found->first().name;
    const QJsonObject order{{"appProcessID", found->first().processId},
                            {"appName", name},
                            {"audioEndpointID", endpoint->id},
                            {"fromAudioEndpointID", placeOf(*found, endpoint->direction)},
                            {"deviceType", deviceType(endpoint->direction)}};
    const auto result = session.ask(
        "setAppDefaultAudioEndpoint", order, "finishSetAppDefaultAudioEndpoint",
        [&](const QJsonObject &payload) {
            return payload["appName"] == name && payload["audioEndpointID"] == endpoint->id;
        });
    if (!result)
        return result.exit();
    if (!(*result)["success"].toBool()) {
        // The program reads inputs back in another form than it has set them.
        const bool isInput = endpoint->direction == Direction::Input;
        return fail(
            Exit::Refused,
            QStringLiteral("%1 was not moved to %2%3")
                .arg(name, endpoint->name, isInput ? ", or the program could not confirm it" : ""));
    }
    session.print(QStringLiteral("%1 -> %2").arg(name, endpoint->name), *result);
    return Exit::Ok;
}
