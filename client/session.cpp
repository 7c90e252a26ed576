#include "client/session.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTextStream>
#include <QTime>

namespace
{
QString compact(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

/// A payload as "key=value" pairs; nested values stay JSON.
QString pairs(const QJsonObject &payload)
{
    QStringList words;
    for (auto entry = payload.begin(); entry != payload.end(); ++entry) {
        // A value alone is no document: it is written as an array's only element.
        const QByteArray element =
            QJsonDocument(QJsonArray{entry.value()}).toJson(QJsonDocument::Compact);
        words.append(entry.key() + '=' + QString::fromUtf8(element.sliced(1).chopped(1)));
    }
    return words.join(' ');
}
} // namespace

Exit Session::open()
{
    return wire.open(options.host, options.port, QDeadlineTimer(options.timeout));
}

Result<QJsonObject> Session::ask(const QString &command, const std::optional<QJsonObject> &payload,
                                 const QString &answer,
                                 const std::function<bool(const QJsonObject &)> &accepts)
{
    asides.clear();
    wire.send(command, payload);
    const QDeadlineTimer deadline(options.timeout);
    while (const auto event = wire.next(deadline)) {
        if (event->name == answer && accepts(event->payload))
            return event->payload;
        asides.append(*event);
    }
    return lost();
}

Exit Session::barrier()
{
    return ask("heartbeat", {}, "heartbeat").exit();
}

Result<QJsonObject> Session::askInfos(Direction direction)
{
    if (direction == Direction::Output)
        return ask("getOutputDeviceInfos", {}, "didReceiveOutputDeviceInfos");
    return ask("getInputDeviceInfos", {}, "didReceiveInputDeviceInfos");
}

Result<QList<Endpoint>> Session::endpoints(std::optional<Direction> direction)
{
    QList<Endpoint> found;
    for (const Direction each : {Direction::Output, Direction::Input}) {
        if (direction.value_or(each) != each)
            continue;
        const auto infos = askInfos(each);
        if (!infos)
            return infos.exit();
        found += endpointsOf(*infos, each);
    }
    return found;
}

Result<Endpoint> Session::find(const QString &text)
{
    const auto all = endpoints(options.direction);
    if (!all)
        return all.exit();
    return pick(*all, text);
}

void Session::printLine(const QString &line)
{
    QTextStream stream(stdout);
    stream << line << Qt::endl;
    if (stream.status() != QTextStream::Ok)
        outputLost = true;
}

void Session::print(const QString &text, const QJsonObject &json)
{
    printLine(options.json ? compact(json) : text);
}

void Session::printEvent(const Event &event)
{
    if (options.json)
        return printLine(event.text);
    const QString time = QTime::currentTime().toString("HH:mm:ss.zzz");
    printLine(QStringList{time, event.name, pairs(event.payload)}.join(' ').trimmed());
}

Exit Session::lost() const
{
    if (!wire.isOpen())
        return fail(Exit::NotListening, "the program has ended the connection");
    return fail(Exit::TimedOut,
                QStringLiteral("no answer within %1 s; has another client connected since?")
                    .arg(double(options.timeout.count()) / 1000));
}

Result<Endpoint> pick(const QList<Endpoint> &endpoints, const QString &text)
{
    const QList<Endpoint> found = matches(endpoints, text);
    if (found.size() == 1)
        return found.first();
    if (found.isEmpty()) {
        return fail(Exit::NoSuchEndpoint,
                    QStringLiteral("no endpoint is called \"%1\"; there are:%2")
                        .arg(text, endpoints.isEmpty() ? " none" : describe(endpoints)));
    }
    return fail(Exit::Ambiguous, QStringLiteral("\"%1\" may mean:%2").arg(text, describe(found)));
}
