// Every sender with values of its own and the text that must reach the client.
#pragma once

#include <QList>
#include <QString>

#include <functional>

class WebSocketServer;

using Sender = std::function<void(WebSocketServer &)>;

struct EventCase
{
    const char *name;
    Sender sender;
    QString text;
};

[[nodiscard]] QList<EventCase> eventCases();
