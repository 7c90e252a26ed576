// Every event, letter for letter as it stands on the wire.
#include "eventrows.h"
#include "linkfixture.h"

#include <QTest>
#include <QThread>

Q_DECLARE_METATYPE(Sender)

namespace
{
/// Slots as the meta-object lists them; a `const QString &` is listed as QString.
const QStringList publicSlots{
    "unableToOpenDevice(QJsonObject,QString)",
    "deviceDidConnect(int,int,QString)",
    "deviceDidConnect(QJsonObject)",
    "deviceDidDisconnect(int,int,QString)",
    "deviceDidDisconnect(QJsonObject)",
    "receivedFromGetInputReport(QJsonObject,QJsonArray,int)",
    "receivedFromGetFeatureReport(QJsonObject,QByteArray,int)",
    "hidWriteResult(QJsonObject,int,QString)",
    "didReceiveAudioSessionInfos(QJsonObject)",
    "didReceiveDeviceAudioSessionInfos(QString,QJsonArray)",
    "audioSessionInfoChanged(QString,QJsonObject)",
    "audioSessionDisplayNameChanged(QString,QString,QString,QString,int,QString,QString)",
    "audioSessionIconPathChanged(QString,QString,QString,QString,int,QString,QString)",
    "audioSessionGroupingParamChanged(QString,QString,QString,QString,int,QString,QString,QString)",
    "audioSessionStateActive(QString,QString,QString,QString,QString,int,QString,QString)",
    "audioSessionStateInactive(QString,QString,QString,QString,QString,int,QString,QString)",
    "audioSessionStateExpired(QString,QString,QString,QString,QString,int,QString,QString)",
    "audioSessionDisconnected(QString,QString,QString,QString,QString,int,QString,QString)",
    "finishSetAppDefaultAudioEndpoint(QString,QString,bool)",
    "finishAddOutputDevice(QString)",
    "cannotAddOutputDevice(QString)",
    "finishRemoveOutputDevice(QString)",
    "cannotRemoveOutputDevice(QString)",
    "didReceiveSystemUUID(QString)",
};

const QStringList privateSlots{
    "handleNewConnection()",
    "onSocketDisconnected()",
    "onBinaryMessageReceived(QByteArray)",
    "onTextMessageReceived(QString)",
};

QStringList slotsWithAccess(QMetaMethod::Access access)
{
    const QMetaObject &meta = WebSocketServer::staticMetaObject;
    QStringList found;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index) {
        const QMetaMethod method = meta.method(index);
        if (method.methodType() == QMetaMethod::Slot && method.access() == access)
            found.append(QString::fromLatin1(method.methodSignature()));
    }
    return found;
}
} // namespace

class TestLinkEvents : public QObject
{
    Q_OBJECT

private slots:
    void event_data();
    void event();
    void rowsCoverEveryEvent();
    void slotsStandInTheirOrder();
    void eventsWithoutClientAreLost();
    void senderRunsInsideASignalHandler();
    void senderIsReachedFromAnotherThread();
};

void TestLinkEvents::event_data()
{
    QTest::addColumn<Sender>("sender");
    QTest::addColumn<QString>("text");
    for (const EventCase &row : eventCases())
        QTest::newRow(row.name) << row.sender << row.text;
}

void TestLinkEvents::event()
{
    QFETCH(Sender, sender);
    QFETCH(QString, text);
    ListeningServer server;
    WireClient client(server.port);
    QVERIFY(client.isConnected());

    sender(*server.link);

    QCOMPARE(client.takeTexts(), QStringList{text});
}

void TestLinkEvents::rowsCoverEveryEvent()
{
    QSet<QString> names;
    for (const EventCase &row : eventCases())
        names.insert(row.text.section('"', 3, 3));
    QCOMPARE(names.size(), 36);
}

void TestLinkEvents::slotsStandInTheirOrder()
{
    QCOMPARE(slotsWithAccess(QMetaMethod::Public), publicSlots);
    QCOMPARE(slotsWithAccess(QMetaMethod::Private), privateSlots);
    QVERIFY(slotsWithAccess(QMetaMethod::Protected).isEmpty());
}

void TestLinkEvents::eventsWithoutClientAreLost()
{
    ListeningServer server;
    for (const EventCase &row : eventCases())
        row.sender(*server.link);

    WireClient client(server.port);
    QVERIFY(client.isConnected());
    QCOMPARE(client.takeTexts(), QStringList{});

    client.socket.close();
    QTRY_COMPARE_WITH_TIMEOUT(client.socket.state(), QAbstractSocket::UnconnectedState, patience);
    for (const EventCase &row : eventCases())
        row.sender(*server.link);
    WireClient next(server.port);
    QVERIFY(next.isConnected());
    QCOMPARE(next.takeTexts(), QStringList{});
}

void TestLinkEvents::senderRunsInsideASignalHandler()
{
    ListeningServer server;
    WebSocketServer &link = *server.link;
    QObject::connect(&link, &WebSocketServer::sigGetDeviceVolume, &link,
                     [&](const QString &deviceName, const QString &deviceID) {
                         link.didReceiveDeviceVolume(deviceName, deviceID, 5);
                         link.didReceiveDeviceMute(deviceName, deviceID, true);
                     });
    WireClient client(server.port);
    client.sendCommand("getDeviceVolume", {{"deviceName", "n"}, {"deviceID", "i"}});
    const QStringList expected{
        R"({"event":"didReceiveDeviceVolume","payload":{"deviceID":"i","deviceName":"n","deviceVolume":5}})",
        R"({"event":"didReceiveDeviceMute","payload":{"deviceID":"i","deviceMute":true,"deviceName":"n"}})"};
    QCOMPARE(client.takeTexts(), expected);
}

void TestLinkEvents::senderIsReachedFromAnotherThread()
{
    ListeningServer server;
    WireClient client(server.port);
    QObject source;
    QThread thread;
    source.moveToThread(&thread);
    connect(&thread, &QThread::started, &source, [&] {
        QMetaObject::invokeMethod(server.link.get(), "finishAddOutputDevice", Qt::QueuedConnection,
                                  Q_ARG(QString, "Aux2"));
        thread.quit();
    });
    thread.start();
    QVERIFY(thread.wait(patience));
    QVERIFY(client.waitForTexts(1));
    QCOMPARE(client.texts.first(),
             R"({"event":"finishAddOutputDevice","payload":{"outputDeviceName":"Aux2"}})");
}

QTEST_GUILESS_MAIN(TestLinkEvents)
#include "tst_link_events.moc"
