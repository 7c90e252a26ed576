// Listening, the one client slot, pings and the life of connections.
#include "link/randomport.h"
#include "linkfixture.h"
#include "tests/support/logcapture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

namespace
{
const QString heartbeat = QStringLiteral(R"({"event":"heartbeat"})");

QString volumeEvent(const QString &deviceID)
{
    return QStringLiteral(R"({"event":"didReceiveDeviceVolume","payload":{"deviceID":"%1",)"
                          R"("deviceName":"","deviceVolume":0}})")
        .arg(deviceID);
}

/// Answers every getDeviceVolume.
void answerVolume(WebSocketServer &link)
{
    QObject::connect(&link, &WebSocketServer::sigGetDeviceVolume, &link,
                     [&link](const QString &deviceName, const QString &deviceID) {
                         link.didReceiveDeviceVolume(deviceName, deviceID, 0);
                     });
}

QTimer *pingTimer(const ListeningServer &server)
{
    return server.link->findChild<QTimer *>();
}

QString failureStart(quint16 port)
{
    return QStringLiteral("Critical: Faild to listen plugin websocket server with port %1 because "
                          "of \"")
        .arg(port);
}

/// The port that a log line of the listening names; 0 if it names none.
quint16 portIn(const QString &line)
{
    static const QRegularExpression pattern("with port (\\d+)");
    return pattern.match(line).captured(1).toUShort();
}

bool isByTheRule(quint16 port)
{
    return port >= 1024 && port <= 8888 && !QString::number(port).contains('9');
}

/// Of each connection to the port, whether its server's end holds small pieces back.
QList<bool> serverSocketsWithDelay(quint16 port)
{
    QList<bool> delays;
    for (const QString &name : QDir("/proc/self/fd").entryList(QDir::System)) {
        const int descriptor = name.toInt();
        sockaddr_in6 own{};
        sockaddr_in6 peer{};
        socklen_t ownSize = sizeof own;
        socklen_t peerSize = sizeof peer;
        int noDelay = 0;
        socklen_t size = sizeof noDelay;
        // The port stands at the same place for both kinds of address.
        if (::getsockname(descriptor, reinterpret_cast<sockaddr *>(&own), &ownSize) == 0 &&
            ::getpeername(descriptor, reinterpret_cast<sockaddr *>(&peer), &peerSize) == 0 &&
            ntohs(own.sin6_port) == port &&
            ::getsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &noDelay, &size) == 0)
            delays.append(noDelay == 0);
    }
    return delays;
}

/// Counts the sockets that ask for their deletion.
class DeletedSockets : public QObject
{
public:
    DeletedSockets() { QCoreApplication::instance()->installEventFilter(this); }

    int count = 0;

protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::DeferredDelete && object->inherits("QWebSocket"))
            ++count;
        return false;
    }
};

/// No further file can be opened while this lives, so that no listen can work.
class NoMoreFiles
{
public:
    NoMoreFiles()
    {
        getrlimit(RLIMIT_NOFILE, &before);
        rlimit few = before;
        few.rlim_cur = std::min<rlim_t>(before.rlim_cur, 256);
        setrlimit(RLIMIT_NOFILE, &few);
        for (int file = dup(STDIN_FILENO); file >= 0; file = dup(STDIN_FILENO))
            fillers.append(file);
    }
    ~NoMoreFiles()
    {
        for (const int file : std::as_const(fillers))
            close(file);
        setrlimit(RLIMIT_NOFILE, &before);
    }
    Q_DISABLE_COPY_MOVE(NoMoreFiles)

private:
    rlimit before{};
    QList<int> fillers;
};
} // namespace

class TestLinkTransport : public QObject
{
    Q_OBJECT

private slots:
    void listeningIsLogged();
    void secondStartListenChangesNothing();
    void everyInterfaceAndOriginIsWelcome();
    void handshakeNamesTheServer();
    void takenPortIsLeftForADrawnOne();
    void listenIsTriedUntilItWorks();
    void randomPortFollowsItsRule();
    void randomPortIsNeverTheTakenOne();
    void noMessageWaitsForAnAcknowledgement();
    void newestClientGetsEverything();
    void olderClientLeavesWithTheCurrentOneUntouched();
    void olderClientsLeavingStopsThePings();
    void pingTimerIsSetAsDeclared();
    void pingsHaveNoPayloadAndNeedNoAnswer();
    void vanishedClientIsNoticedByItsSocket();
    void closeCodeDecidesTheLog_data();
    void closeCodeDecidesTheLog();
    void binaryFramesAreDropped();
    void nothingElseHappensOnADisconnect();
    void destructionClosesEveryClient();
    void connectionsLeaveNothingBehind();
    void clientThatLeavesAtOnceLeavesNothingBehind_data();
    void clientThatLeavesAtOnceLeavesNothingBehind();
};

void TestLinkTransport::listeningIsLogged()
{
    LogCapture log;
    const ListeningServer server;
    QCOMPARE(log.take().last(),
             QString("Info: WebSocket server listening with port %1").arg(server.port));
}

void TestLinkTransport::secondStartListenChangesNothing()
{
    const ListeningServer server;
    LogCapture log;
    QVERIFY(server.link->startListen(server.port));
    QVERIFY(server.link->startListen(freePort()));
    QCOMPARE(log.take(), QStringList{});
    QVERIFY(WireClient(server.port).isConnected());
}

void TestLinkTransport::everyInterfaceAndOriginIsWelcome()
{
    const ListeningServer server;
    QVERIFY(WireClient(server.port).isConnected());
    // Another address than the one that "localhost" means.
    QVERIFY(WireClient(server.port, "127.0.0.2").isConnected());
    RawClient stranger(server.port, "Origin: http://stranger.example\r\n");
    QVERIFY(stranger.handshake.startsWith("HTTP/1.1 101 "));
}

void TestLinkTransport::handshakeNamesTheServer()
{
    const ListeningServer server;
    const RawClient client(server.port);
    QVERIFY2(client.handshake.contains("\r\nServer: tavoriWebSocketServer\r\n"),
             client.handshake.constData());
}

void TestLinkTransport::takenPortIsLeftForADrawnOne()
{
    QTcpServer holder;
    QVERIFY(holder.listen(QHostAddress::Any));
    const quint16 taken = holder.serverPort();

    LogCapture log;
    WebSocketServer link(nullptr);
    QElapsedTimer sinceFailure;
    sinceFailure.start();
    QVERIFY(!link.startListen(taken));
    const QStringList failure = log.take();
    QCOMPARE(failure.size(), 1);
    QVERIFY2(failure.first().startsWith(failureStart(taken)), qPrintable(failure[0]));
    QVERIFY2(failure.first().endsWith('"'), qPrintable(failure[0]));

    QVERIFY(waitUntil([&] { return !log.lines().isEmpty(); }));
    QVERIFY(sinceFailure.elapsed() >= 990);
    // A drawn port may be taken as well; the last line tells where the listening ended.
    QVERIFY(waitUntil([&] { return !log.linesOf("Info").isEmpty(); }));
    const quint16 port = portIn(log.linesOf("Info").last());
    QVERIFY(isByTheRule(port));
    QVERIFY(port != taken);
    QVERIFY(WireClient(port).isConnected());
}

void TestLinkTransport::listenIsTriedUntilItWorks()
{
    const quint16 port = freePort();
    LogCapture log;
    WebSocketServer link(nullptr);
    {
        const NoMoreFiles none;
        QElapsedTimer sinceStart;
        sinceStart.start();
        QVERIFY(!link.startListen(port));
        QVERIFY(waitUntil([&] { return log.linesOf("Critical").size() >= 3; }));
        QVERIFY(sinceStart.elapsed() >= 1990);
    }
    QVERIFY(waitUntil([&] { return !log.linesOf("Info").isEmpty(); }));

    QList<quint16> ports;
    for (const QString &line : log.linesOf("Critical")) {
        ports.append(portIn(line));
        QVERIFY2(line.startsWith(failureStart(ports.last())), qPrintable(line));
    }
    ports.append(portIn(log.linesOf("Info").last()));
    QCOMPARE(ports.first(), port);
    for (qsizetype index = 1; index < ports.size(); ++index) {
        QVERIFY2(isByTheRule(ports[index]), qPrintable(QString::number(ports[index])));
        QVERIFY(ports[index] != ports[index - 1]);
    }
    QVERIFY(WireClient(ports.last()).isConnected());
}

void TestLinkTransport::randomPortFollowsItsRule()
{
    QSet<QChar> digits;
    QSet<quint16> drawn;
    for (int draw = 0; draw < 200'000; ++draw) {
        const quint16 port = randomPort();
        QVERIFY2(isByTheRule(port), qPrintable(QString::number(port)));
        drawn.insert(port);
        for (const QChar digit : QString::number(port))
            digits.insert(digit);
    }
    QCOMPARE(digits.size(), 9);
    // All of them: 8 * 729 numbers of four such digits, less the 22 below 1024.
    QCOMPARE(drawn.size(), 8 * 729 - 22);
}

void TestLinkTransport::randomPortIsNeverTheTakenOne()
{
    for (int draw = 0; draw < 100'000; ++draw)
        QVERIFY(randomPortOtherThan(1024) != 1024);
}

void TestLinkTransport::noMessageWaitsForAnAcknowledgement()
{
    const ListeningServer server;
    const WireClient first(server.port);
    QVERIFY(waitUntil([&] { return first.isConnected(); }));
    const WireClient second(server.port);
    QVERIFY(waitUntil([&] { return second.isConnected(); }));
    QCOMPARE(serverSocketsWithDelay(server.port), QList<bool>({false, false}));
}

void TestLinkTransport::newestClientGetsEverything()
{
    const ListeningServer server;
    answerVolume(*server.link);
    WireClient first(server.port);
    first.sendCommand("getDeviceVolume", {{"deviceID", "alone"}});
    QCOMPARE(first.takeTexts(), QStringList{volumeEvent("alone")});

    WireClient second(server.port);
    first.sendCommand("getDeviceVolume", {{"deviceID", "of the first"}});
    first.send(heartbeat);
    QVERIFY(second.waitForTexts(2));
    second.sendCommand("getDeviceVolume", {{"deviceID", "of the second"}});
    QVERIFY(second.waitForTexts(3));
    server.link->deviceRemoved("an event");
    QVERIFY(second.waitForTexts(4));

    const QStringList expected{volumeEvent("of the first"), heartbeat, volumeEvent("of the second"),
                               R"({"event":"deviceRemoved","payload":{"deviceID":"an event"}})"};
    QCOMPARE(second.texts, expected);
    QCOMPARE(first.texts, QStringList{});
    QVERIFY(first.isConnected());
}

void TestLinkTransport::olderClientLeavesWithTheCurrentOneUntouched()
{
    const ListeningServer server;
    answerVolume(*server.link);
    WireClient first(server.port);
    WireClient second(server.port);
    first.socket.close();
    QVERIFY(waitUntil([&] { return !pingTimer(server)->isActive(); }));
    second.sendCommand("getDeviceVolume", {{"deviceID", "still here"}});
    QCOMPARE(second.takeTexts(), QStringList{volumeEvent("still here")});
}

void TestLinkTransport::olderClientsLeavingStopsThePings()
{
    const ListeningServer server;
    pingTimer(server)->setInterval(10);
    WireClient first(server.port);
    RawClient second(server.port);
    QVERIFY(waitUntil([&] { return second.count(RawClient::Ping) >= 2; }));

    first.socket.close();
    QVERIFY(waitUntil([&] { return !pingTimer(server)->isActive(); }));
    second.send(RawClient::Text, heartbeat.toUtf8());
    QVERIFY(waitUntil([&] { return second.count(RawClient::Text) == 1; }));
    const int pings = second.count(RawClient::Ping);
    // Many intervals go by; the heartbeats measure that the server has been running all along.
    for (int round = 2; round <= 20; ++round) {
        QTest::qWait(10);
        second.send(RawClient::Text, heartbeat.toUtf8());
        QVERIFY(waitUntil([&] { return second.count(RawClient::Text) == round; }));
    }
    QCOMPARE(second.count(RawClient::Ping), pings);

    RawClient third(server.port);
    QVERIFY(waitUntil([&] { return third.count(RawClient::Ping) >= 2; }));
    QCOMPARE(second.count(RawClient::Ping), pings);
}

void TestLinkTransport::pingTimerIsSetAsDeclared()
{
    const ListeningServer server;
    QCOMPARE(server.link->findChildren<QTimer *>().size(), 1);
    QCOMPARE(pingTimer(server)->interval(), 5000);
    QCOMPARE(pingTimer(server)->timerType(), Qt::PreciseTimer);
    QVERIFY(!pingTimer(server)->isActive());
    QVERIFY(!pingTimer(server)->isSingleShot());

    const WireClient client(server.port);
    QVERIFY(pingTimer(server)->isActive());
    QCOMPARE(pingTimer(server)->interval(), 5000);
}

void TestLinkTransport::pingsHaveNoPayloadAndNeedNoAnswer()
{
    const ListeningServer server;
    pingTimer(server)->setInterval(10);
    RawClient silent(server.port);
    // Nothing but pings, and none of them is ever answered.
    QVERIFY(waitUntil([&] { return silent.count(RawClient::Ping) >= 10; }));
    QCOMPARE(silent.count(RawClient::Ping), silent.frames().size());
    for (const RawClient::Frame &frame : silent.frames())
        QCOMPARE(frame.payload, QByteArray());
    QCOMPARE(silent.socket.state(), QAbstractSocket::ConnectedState);
}

void TestLinkTransport::vanishedClientIsNoticedByItsSocket()
{
    const ListeningServer server;
    RawClient client(server.port);
    QVERIFY(waitUntil([&] { return pingTimer(server)->isActive(); }));
    client.socket.abort();
    QVERIFY(waitUntil([&] { return !pingTimer(server)->isActive(); }));
    server.link->deviceRemoved("lost");
    WireClient next(server.port);
    QCOMPARE(next.takeTexts(), QStringList{});
}

void TestLinkTransport::closeCodeDecidesTheLog_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("reason");
    QTest::newRow("normal") << 1000 << "";
    QTest::newRow("normal with a reason") << 1000 << "bye";
    QTest::newRow("going away") << 1001 << "";
    QTest::newRow("going away with a reason") << 1001 << "to \"lunch\"";
    QTest::newRow("protocol error") << 1002 << "x";
    QTest::newRow("of an application") << 4000 << "x";
}

void TestLinkTransport::closeCodeDecidesTheLog()
{
    QFETCH(int, code);
    QFETCH(QString, reason);
    const ListeningServer server;
    LogCapture log;
    WireClient client(server.port);
    client.socket.close(QWebSocketProtocol::CloseCode(code), reason);
    QVERIFY(waitUntil([&] { return !pingTimer(server)->isActive(); }));

    const QStringList lines = log.take();
    if (code == 1000) {
        QCOMPARE(lines, QStringList{});
        return;
    }
    QString quoted = reason;
    quoted.replace('"', "\\\"");
    const QRegularExpression expected(
        QRegularExpression::anchoredPattern(
            "Critical: WebSocketServer::onSocketDisconnected QWebSocket\\(0x[0-9a-f]+\\) %1 \"%2\"")
            .arg(code)
            .arg(QRegularExpression::escape(quoted)));
    QCOMPARE(lines.size(), 1);
    QVERIFY2(expected.match(lines.first()).hasMatch(), qPrintable(lines.first()));
}

void TestLinkTransport::binaryFramesAreDropped()
{
    const ListeningServer server;
    const QSignalSpy quits(server.link.get(), &WebSocketServer::sigQuitApp);
    LogCapture log;
    WireClient client(server.port);
    client.socket.sendBinaryMessage(heartbeat.toUtf8());
    client.socket.sendBinaryMessage(R"({"event":"quitApp"})");
    client.socket.sendBinaryMessage({});
    client.socket.sendBinaryMessage(QByteArray(1 << 20, '\0'));
    QCOMPARE(client.takeTexts(), QStringList{});
    QCOMPARE(quits.size(), 0);
    QCOMPARE(log.take(), QStringList{});
    QVERIFY(client.isConnected());
}

void TestLinkTransport::nothingElseHappensOnADisconnect()
{
    const ListeningServer server;
    QList<std::shared_ptr<QSignalSpy>> spies;
    const QMetaObject &meta = WebSocketServer::staticMetaObject;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index) {
        if (meta.method(index).methodType() == QMetaMethod::Signal)
            spies.append(std::make_shared<QSignalSpy>(server.link.get(), meta.method(index)));
    }
    for (int round = 0; round < 3; ++round) {
        WireClient client(server.port);
        QVERIFY(client.isConnected());
        client.socket.close();
        QVERIFY(waitUntil([&] { return !pingTimer(server)->isActive(); }));
    }
    for (const auto &spy : std::as_const(spies))
        QCOMPARE(spy->size(), 0);
    QCOMPARE(WireClient(server.port).takeTexts(), QStringList{});
}

void TestLinkTransport::destructionClosesEveryClient()
{
    ListeningServer server;
    WireClient older(server.port);
    WireClient newer(server.port);
    const RawClient raw(server.port);
    LogCapture log;
    server.link.reset();
    QVERIFY(waitUntil([&] { return !older.isConnected() && !newer.isConnected(); }));
    QVERIFY(waitUntil([&] { return raw.socket.state() == QAbstractSocket::UnconnectedState; }));
    QCOMPARE(log.take(), QStringList{});
}

void TestLinkTransport::connectionsLeaveNothingBehind()
{
    const ListeningServer server;
    const auto openFiles = [] {
        return QDir("/proc/self/fd")
            .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
            .size();
    };
    {
        const WireClient warmUp(server.port);
    }
    QVERIFY(waitUntil([&] { return !pingTimer(server)->isActive(); }));
    const DeletedSockets deleted;
    const qsizetype before = openFiles();
    for (int round = 0; round < 100; ++round) {
        WireClient client(server.port);
        QVERIFY(client.isConnected());
    }
    QVERIFY(waitUntil([&] { return openFiles() == before; }));
    QVERIFY(waitUntil([&] { return deleted.count == 100; }));
}

void TestLinkTransport::clientThatLeavesAtOnceLeavesNothingBehind_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<int>("lines");
    QTest::newRow("normal") << QByteArray("\x03\xE8") << 0;
    QTest::newRow("going away") << QByteArray("\x03\xE9") << 1;
}

void TestLinkTransport::clientThatLeavesAtOnceLeavesNothingBehind()
{
    QFETCH(QByteArray, code);
    QFETCH(int, lines);
    const ListeningServer server;
    const DeletedSockets deleted;
    const LogCapture log;
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, server.port);
    // Handshake, close frame and the end of the connection, all in one.
    client.write(RawClient::request() + QByteArray("\x88\x82\0\0\0\0", 6) + code);
    QVERIFY(waitUntil([&] { return deleted.count == 1; }));
    QVERIFY(waitUntil([&] { return client.state() == QAbstractSocket::UnconnectedState; }));
    QVERIFY(!pingTimer(server)->isActive());
    QCOMPARE(log.lines().filter("WebSocketServer::onSocketDisconnected").size(), lines);
    // Nobody stays in its place.
    server.link->deviceRemoved("lost");
    WireClient next(server.port);
    QCOMPARE(next.takeTexts(), QStringList{});
}

QTEST_GUILESS_MAIN(TestLinkTransport)
#include "tst_link_transport.moc"
