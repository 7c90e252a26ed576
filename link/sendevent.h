// The one way in which an event leaves the program; for the senders' source files only.
#pragma once

#include "link/eventtable.h"
#include "link/websocketserver.h"

#include <QMutexLocker>

template <std::size_t Row, typename... Values>
void WebSocketServer::send(const Values &...values)
{
    static_assert(keyCount(Row) == sizeof...(Values), "one value for each key");
    const EventRow &row = eventTable[Row];
    constexpr auto latin1 = [](std::string_view text) {
        return QLatin1StringView(text.data(), qsizetype(text.size()));
    };

    const QMutexLocker locker(&mutex);
    if (!canSend())
        return;
    QJsonObject document;
    document.insert(QLatin1StringView("event"), latin1(row.name));
    QJsonObject payload;
    std::size_t place = 0;
    (payload.insert(latin1(row.keys[place++]), values), ...);
    document.insert(QLatin1StringView("payload"), payload);
    transmit(document);
}
