#include "tests/unit/app/controllerfixture.h"

#include "platform/simulated/devicefiles.h"
#include "platform/simulated/endpoints.h"
#include "platform/simulated/notifications.h"
#include "platform/simulated/simulated.h"
#include "tests/support/virtualcardtree.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTest>

namespace
{
/// The channels that the client asks for, and Stream, start hidden.
bool startsHidden(tavoriDeviceType type)
{
    return type == tavoriAux2 || type == tavoriAux3 || type == tavoriBrowser ||
           type == tavoriStream;
}

void addCardEndpoint(const Channel &channel, EDataFlow flow)
{
    simulated::addEndpoint(
        {.name = channel.fullName(),
         .flow = flow,
         .id = cardEndpointId(channel, flow),
         .state = startsHidden(channel.type) ? DEVICE_STATE_DISABLED : DEVICE_STATE_ACTIVE});
}
} // namespace

ControllerFixture::ControllerFixture()
{
    simulated::reset();
    speakers = simulated::addEndpoint({.name = "Speakers"});
    headset = simulated::addEndpoint({.name = "Headset"});
    microphone = simulated::addEndpoint({.name = "Microphone", .flow = eCapture});
    for (const Channel &channel : channels) {
        addCardEndpoint(channel, eRender);
        if (!channel.captureSuffix.isEmpty())
            addCardEndpoint(channel, eCapture);
    }
    simulated::setDefault(eRender, speakers);
    simulated::setDefault(eCapture, microphone);
    setRenderTree(renderCardGroups());
    setCaptureTree(captureCardGroups());
    simulated::publishDriver(0);
}

ControllerFixture::~ControllerFixture()
{
    client.abort();
    widget.reset();
    simulated::reset();
}

void ControllerFixture::start()
{
    widget = std::make_unique<QuorvaneWidget>();
    QObject::connect(&client, &QWebSocket::textMessageReceived, &client,
                     [this](const QString &text) {
                         events.append(QJsonDocument::fromJson(text.toUtf8()).object());
                     });
    client.open(QUrl("ws://127.0.0.1:24925"));
    QVERIFY(QTest::qWaitFor([this] { return client.isValid(); }));
    settle();
    clearEvents();
}

void ControllerFixture::quit()
{
    // What QCoreApplication raises when its event loop ends.
    QMetaObject::invokeMethod(qApp, "aboutToQuit");
    widget.reset();
}

void ControllerFixture::send(const QString &event, const QJsonObject &payload)
{
    const QJsonObject document{{"event", event}, {"payload", payload}};
    client.sendTextMessage(QJsonDocument(document).toJson(QJsonDocument::Compact));
}

void ControllerFixture::settle()
{
    simulated::drain();
    send("heartbeat");
    QVERIFY(waitForEvent("heartbeat").isEmpty());
}

QJsonObject ControllerFixture::waitForEvent(const QString &event)
{
    QJsonObject payload;
    const auto take = [&] {
        for (qsizetype index = 0; index < events.size(); ++index) {
            if (events.at(index).value("event").toString() == event) {
                payload = events.takeAt(index).value("payload").toObject();
                return true;
            }
        }
        return false;
    };
    if (!QTest::qWaitFor(take, 10000))
        QTest::qFail(qPrintable("no event " + event), __FILE__, __LINE__);
    return payload;
}

QStringList ControllerFixture::pendingEvents() const
{
    QStringList texts;
    for (const QJsonObject &event : events)
        texts.append(QJsonDocument(event).toJson(QJsonDocument::Compact));
    return texts;
}

QString ControllerFixture::renderId(tavoriDeviceType type)
{
    return cardEndpointId(*channelOfType(type), eRender);
}

QString ControllerFixture::captureId(tavoriDeviceType type)
{
    return cardEndpointId(*channelOfType(type), eCapture);
}

bool ControllerFixture::waitForLog(const QString &text) const
{
    return QTest::qWaitFor([&] { return !log.lines().filter(text).isEmpty(); }, 10000);
}
