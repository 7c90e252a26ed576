#include "client/application.h"

#include <QJsonArray>

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <tuple>

namespace
{
QString stateWord(const QString &state, Direction direction)
{
    if (state == "AudioSessionStateActive")
        return direction == Direction::Output ? "playing" : "recording";
    return state == "AudioSessionStateInactive" ? "silent" : "expired";
}

bool comesBefore(const Application &left, const Application &right)
{
    return std::tie(left.name, left.processId, left.endpoint.name) <
           std::tie(right.name, right.processId, right.endpoint.name);
}
} // namespace

QList<Application> applicationsOf(const QJsonObject &payload, const QList<Endpoint> &endpoints)
{
    const QJsonObject infos = payload["audioSessionInfos"].toObject();
    QList<Application> applications;
    for (const Endpoint &endpoint : endpoints) {
        for (const QJsonValue info : infos[endpoint.id].toArray()) {
            const QString state = info["sessionState"].toString();
            applications.append({info["sessionProcessName"].toString(),
                                 info["sessionProcessId"].toInt(), endpoint,
                                 stateWord(state, endpoint.direction)});
        }
    }
    std::stable_sort(applications.begin(), applications.end(), comesBefore);
    return applications;
}

QList<Application> matches(const QList<Application> &applications, const QString &text)
{
    using Test = std::function<bool(const Application &)>;
    const std::array<Test, 4> tests{
        [&](const Application &each) { return QString::number(each.processId) == text; },
        [&](const Application &each) { return each.name == text; },
        [&](const Application &each) { return each.name.compare(text, Qt::CaseInsensitive) == 0; },
        [&](const Application &each) { return each.name.startsWith(text, Qt::CaseInsensitive); },
    };
    QList<Application> found;
    if (text.isEmpty())
        return found;
    for (const Test &test : tests) {
        std::copy_if(applications.begin(), applications.end(), std::back_inserter(found), test);
        if (!found.isEmpty())
            break;
    }
    return found;
}

QStringList tableOf(const QList<Application> &applications)
{
    qsizetype nameWidth = 0;
    qsizetype idWidth = 0;
    for (const Application &each : applications) {
        nameWidth = std::max(nameWidth, each.name.size());
        idWidth = std::max(idWidth, QString::number(each.processId).size());
    }
    QStringList lines;
    for (const Application &each : applications) {
        lines.append(QStringLiteral("%1 %2 %3 %4 %5")
                         .arg(each.state, -9)
                         .arg(each.processId, int(idWidth))
                         .arg(each.name, -int(nameWidth))
                         .arg(each.endpoint.direction == Direction::Output ? "->" : "<-",
                              each.endpoint.name));
    }
    return lines;
}
