#include "fakeprogram.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>

#include <algorithm>
#include <utility>

QJsonObject FakeEndpoint::info() const
{
    return {
        {"deviceName", name}, {"deviceID", id}, {"deviceVolume", volume}, {"deviceMute", isMuted}};
}

FakeProgram::FakeProgram()
{
    const auto channel = [](const QString &word) {
        return QStringLiteral("tavori - %1 (tavori Virtual Audio Device)").arg(word);
    };
    endpoints = {
        {"outputDevice", channel("Aux"), "{0.0.0.00000000}.{a0}"},
        {"outputDevice", channel("Aux2"), "{0.0.0.00000000}.{a2}"},
        {"outputDevice", channel("Gaming"), "{0.0.0.00000000}.{06}"},
        {"outputDevice", channel("Microphone"), "{0.0.0.00000000}.{08}"},
        {"outputDevice", channel("Stream"), "{0.0.0.00000000}.{10}"},
        {"outputDevice", "Speakers (High Definition)", "{0.0.0.00000000}.{b1}", 42},
        {"outputDevice", "Speakers", "{0.0.0.00000000}.{b2}", 7, true},
        {"outputDevice", "Headset", "{0.0.0.00000000}.{b3}"},
        {"outputDevice", "Twin", "{0.0.0.00000000}.{c1}"},
        {"outputDevice", "Twin", "{0.0.0.00000000}.{c2}"},
        {"outputDevice", "扬声器 é", "{0.0.0.00000000}.{d1}"},
        {"inputDevice", channel("Microphone"), "{0.0.1.00000000}.{08}"},
        {"inputDevice", "Headset", "{0.0.1.00000000}.{b3}"},
        {"inputDevice", "Desk microphone", "{0.0.1.00000000}.{b4}"},
    };
    sessionInfos = {{"{0.0.0.00000000}.{b2}",
                     QJsonArray{QJsonObject{{"sessionProcessName", "Player"},
                                            {"sessionProcessId", 100},
                                            {"sessionState", "AudioSessionStateActive"}}}}};
    defaultOutput = "{0.0.0.00000000}.{b2}";
    defaultInput = "{0.0.1.00000000}.{b4}";
    QObject::connect(&server, &QWebSocketServer::newConnection, &server, [this] { accept(); });
}

bool FakeProgram::listen(quint16 port)
{
    return server.listen(QHostAddress::LocalHost, port);
}

void FakeProgram::accept()
{
    QWebSocket *socket = server.nextPendingConnection();
    client = socket;
    sockets.append(socket);
    QObject::connect(socket, &QWebSocket::textMessageReceived, &server,
                     [this](const QString &text) { receive(text); });
    QObject::connect(socket, &QWebSocket::disconnected, &server, [this, socket] {
        closeCodes.append(socket->closeCode());
        sockets.removeOne(socket);
        socket->deleteLater();
    });
}

void FakeProgram::send(const QString &text)
{
    if (client)
        client->sendTextMessage(text);
}

void FakeProgram::sendEvent(const QString &event, const QJsonObject &payload)
{
    const QJsonObject document{{"event", event}, {"payload", payload}};
    send(QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Compact)));
}

void FakeProgram::hangUp()
{
    for (QWebSocket *socket : QList(sockets))
        socket->close(QWebSocketProtocol::CloseCodeGoingAway);
}

QList<QJsonObject> FakeProgram::received(const QString &command) const
{
    QList<QJsonObject> found;
    std::copy_if(messages.begin(), messages.end(), std::back_inserter(found),
                 [&](const QJsonObject &message) { return message["event"] == command; });
    return found;
}

FakeEndpoint &FakeProgram::endpoint(const QString &id)
{
    return *std::find_if(endpoints.begin(), endpoints.end(),
                         [&](const FakeEndpoint &each) { return each.id == id; });
}

void FakeProgram::receive(const QString &text)
{
    const QJsonObject message = QJsonDocument::fromJson(text.toUtf8()).object();
    messages.append(message);
    const QString command = message["event"].toString();
    const QJsonObject payload = message["payload"].toObject();
    if (isMute || (script && script(command)))
        return;
    if (command == "heartbeat")
        send(R"({"event":"heartbeat"})");
    else if (command == "getOutputDeviceInfos")
        answerInfos("outputDevice");
    else if (command == "getInputDeviceInfos")
        answerInfos("inputDevice");
    else if (command == "getDeviceVolume" || command == "getDeviceMute")
        answerLevel(command, payload);
    else if (command.startsWith("setDevice") || command == "setCurrentDevice")
        order(command, payload);
    else if (command == "addOutputDevice")
        sendEvent("finishAddOutputDevice", payload);
    else if (command == "removeOutputDevice")
        sendEvent("finishRemoveOutputDevice", payload);
    else if (command == "getAudioSessionInfos")
        sendEvent("didReceiveAudioSessionInfos", {{"audioSessionInfos", sessionInfos}});
    else if (command == "setAppDefaultAudioEndpoint")
        answerMove(payload);
    else if (command == "getSystemUUID")
        QTimer::singleShot(0, &server, [this] {
            sendEvent("didReceiveSystemUUID", {{"systemUUID", "u"}});
        });
    else if (command == "quitApp")
        hangUp();
}

void FakeProgram::answerInfos(const QString &type)
{
    settle();
    const bool isOutput = type == "outputDevice";
    QJsonArray infos;
    QJsonObject defaultInfo;
    for (const FakeEndpoint &each : std::as_const(endpoints)) {
        if (each.type != type)
            continue;
        infos.append(each.info());
        if (each.id == (isOutput ? defaultOutput : defaultInput))
            defaultInfo = each.info();
    }
    sendEvent(isOutput ? "didReceiveOutputDeviceInfos" : "didReceiveInputDeviceInfos",
              {{"defaultDevice", defaultInfo}, {type, infos}});
}

void FakeProgram::answerMove(const QJsonObject &payload)
{
    const auto finish = [this](const QJsonValue &name, const QJsonValue &id, bool success) {
        sendEvent("finishSetAppDefaultAudioEndpoint",
                  {{"appName", name}, {"audioEndpointID", id}, {"success", success}});
    };
    // What somebody else asked must not be taken for the answer.
    finish("Other", payload["audioEndpointID"], refusesOrders);
    finish(payload["appName"], "{x}", refusesOrders);
    finish(payload["appName"], payload["audioEndpointID"], !refusesOrders);
}

void FakeProgram::answerLevel(const QString &command, const QJsonObject &payload)
{
    settle();
    const FakeEndpoint &each = endpoint(payload["deviceID"].toString());
    const bool isVolume = command == "getDeviceVolume";
    // What somebody else asked must not be taken for the answer.
    sendEvent(isVolume ? "didReceiveDeviceVolume" : "didReceiveDeviceMute",
              {{"deviceName", "other"}, {"deviceID", "{x}"}, {"deviceVolume", 99}});
    QJsonObject answer{{"deviceName", each.name}, {"deviceID", each.id}};
    if (isVolume)
        answer.insert("deviceVolume", each.volume);
    else
        answer.insert("deviceMute", each.isMuted);
    sendEvent(isVolume ? "didReceiveDeviceVolume" : "didReceiveDeviceMute", answer);
}

void FakeProgram::order(const QString &command, const QJsonObject &payload)
{
    if (ignoresOrders)
        return;
    const QString id = payload["deviceID"].toString();
    if (refusesOrders) {
        const bool isVolume = command == "setDeviceVolume";
        sendEvent(isVolume ? "failedToSetDeviceVolume" : "failedToSetDeviceMute",
                  {{"deviceID", id}, {"deviceName", endpoint(id).name}});
        return;
    }
    pending = [this, command, payload, id] {
        if (command == "setDeviceVolume")
            endpoint(id).volume = payload["deviceVolume"].toInt();
        else if (command == "setDeviceMute")
            endpoint(id).isMuted = payload["deviceMute"].toBool();
        else if (payload["deviceType"] == "outputDevice")
            defaultOutput = id;
        else
            defaultInput = id;
    };
    if (delay == 0)
        settle();
}

void FakeProgram::settle()
{
    if (!pending || delay-- > 0)
        return;
    delay = 0;
    std::exchange(pending, nullptr)();
}
