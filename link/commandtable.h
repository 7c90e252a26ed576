// The commands that a client can send.
#pragma once

#include <QJsonObject>
#include <QString>

#include <string_view>

class WebSocketServer;

struct Command
{
    std::string_view name;
    /// Raises the command's signal with the values of the payload.
    void (*run)(WebSocketServer &link, const QJsonObject &payload);
};

class CommandTable
{
public:
    /// The row of this name, compared exactly; null for an unknown name.
    [[nodiscard]] static const Command *find(const QString &name);

private:
    struct Rows;

    static void replyHeartbeat(WebSocketServer &link, const QJsonObject &payload);
    static void replySystemUUID(WebSocketServer &link, const QJsonObject &payload);
};
