// What a broken or hostile client may send: nothing of it moves the program.
#include "linkfixture.h"
#include "tests/support/logcapture.h"

#include <QDir>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

#include <memory>
#include <vector>

namespace
{
const QString heartbeat = QStringLiteral(R"({"event":"heartbeat"})");

qsizetype openFiles()
{
    return QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).size();
}

/// A text frame's payload of 16 MiB.
QString hugeText(const QString &start, const QString &end)
{
    return start + QString((1 << 24) - start.size() - end.size(), 'x') + end;
}
} // namespace

class TestLinkRubbish : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void textIsIgnored_data();
    void textIsIgnored();
    void hugeArgumentArrivesWhole();
    void brokenFramesEndOnlyTheirOwnConnection_data();
    void brokenFramesEndOnlyTheirOwnConnection();
    void commandInFragmentsIsOneCommand();
    void strangersOnThePortAreNotClients_data();
    void strangersOnThePortAreNotClients();
    void manyConnectionsAtOnce();
    void manyCommandsInOneGo();

private:
    /// The current client still gets its answers.
    [[nodiscard]] bool currentClientGoesOn();

    std::unique_ptr<ListeningServer> server;
    std::unique_ptr<WireClient> current;
};

void TestLinkRubbish::init()
{
    server = std::make_unique<ListeningServer>();
}

void TestLinkRubbish::cleanup()
{
    current.reset();
    server.reset();
}

bool TestLinkRubbish::currentClientGoesOn()
{
    current->send(heartbeat);
    return current->waitForTexts(1) && current->texts == QStringList{heartbeat};
}

void TestLinkRubbish::textIsIgnored_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("16 MiB of letters") << hugeText("", "");
    QTest::newRow("16 MiB, unknown command") << hugeText(R"({"event":")", R"("})");
    QTest::newRow("16 MiB, then a command") << hugeText("", heartbeat);
    QTest::newRow("deep arrays") << QString(100'000, '[') + QString(100'000, ']');
    QTest::newRow("deep arrays, not closed") << QString(1'000'000, '[');
    QTest::newRow("deep objects") << QString(R"({"event":)").repeated(100'000);
    QTest::newRow("deep payload") << R"({"event":"quitApp","payload":)" + QString(100'000, '[') +
                                         QString(100'000, ']') + "}";
    QTest::newRow("NUL in front") << QString(QChar(0)) + R"({"event":"quitApp"})";
    QTest::newRow("NUL in the name") << QStringLiteral("{\"event\":\"quitApp\\u0000\"}");
    QTest::newRow("lone surrogate") << QStringLiteral(R"({"event":"\ud800"})");
    QTest::newRow("byte order mark alone") << QString(QChar(QChar::ByteOrderMark));
    QTest::newRow("number without end") << QString(1'000'000, '9');
    QTest::newRow("escapes without end") << '"' + QString("\\u0000").repeated(100'000);
}

void TestLinkRubbish::textIsIgnored()
{
    QFETCH(QString, text);
    const QSignalSpy quits(server->link.get(), &WebSocketServer::sigQuitApp);
    current = std::make_unique<WireClient>(server->port);
    LogCapture log;
    current->send(text);
    QCOMPARE(current->takeTexts(), QStringList{});
    QCOMPARE(quits.size(), 0);
    QCOMPARE(log.take(), QStringList{});
}

void TestLinkRubbish::hugeArgumentArrivesWhole()
{
    QSignalSpy spy(server->link.get(), &WebSocketServer::sigAddOutputDevice);
    current = std::make_unique<WireClient>(server->port);
    const QString name = hugeText("", "");
    current->sendCommand("addOutputDevice", {{"outputDeviceName", name}});
    QCOMPARE(current->takeTexts(), QStringList{});
    QCOMPARE(spy.size(), 1);
    QVERIFY(spy.first().first().toString() == name);
}

void TestLinkRubbish::brokenFramesEndOnlyTheirOwnConnection_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray mask(4, '\0');
    QTest::newRow("unknown opcode") << QByteArray("\x83\x80", 2) + mask;
    QTest::newRow("reserved bits") << QByteArray("\xF1\x80", 2) + mask;
    QTest::newRow("continuation of nothing") << QByteArray("\x80\x80", 2) + mask;
    QTest::newRow("ping in fragments") << QByteArray("\x09\x80", 2) + mask;
    QTest::newRow("ping of 126 bytes")
        << QByteArray("\x89\xFE\x00\x7E", 4) + mask + QByteArray(126, 'x');
    QTest::newRow("text that is not UTF-8") << QByteArray("\x81\x82", 2) + mask + "\xC3\x28";
    QTest::newRow("length beyond all bounds")
        << QByteArray("\x81\xFF\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 10) + mask;
    QTest::newRow("close of one byte") << QByteArray("\x88\x81", 2) + mask + "x";
    QTest::newRow("close with an unknown code")
        << QByteArray("\x88\x82", 2) + mask + QByteArray("\x00\x01", 2);
}

void TestLinkRubbish::brokenFramesEndOnlyTheirOwnConnection()
{
    QFETCH(QByteArray, bytes);
    const LogCapture log;
    RawClient broken(server->port);
    current = std::make_unique<WireClient>(server->port);
    broken.socket.write(bytes);
    QVERIFY(waitUntil([&] { return broken.socket.state() == QAbstractSocket::UnconnectedState; }));
    QVERIFY(currentClientGoesOn());
}

void TestLinkRubbish::commandInFragmentsIsOneCommand()
{
    RawClient client(server->port);
    client.send(RawClient::Text, R"({"event":)", false);
    client.send(RawClient::Ping, "in between");
    client.send(RawClient::Continuation, R"("heart)", false);
    client.send(RawClient::Continuation, R"(beat"})");
    QVERIFY(waitUntil([&] { return client.count(RawClient::Text) == 1; }));
    QCOMPARE(client.count(RawClient::Pong), 1);
}

void TestLinkRubbish::strangersOnThePortAreNotClients_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("silence") << QByteArray();
    QTest::newRow("plain HTTP") << QByteArray("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    QTest::newRow("other protocol") << QByteArray("\x16\x03\x01\x02\x00\x01\x00\x01\xFC", 9);
    QTest::newRow("half a handshake") << QByteArray("GET / HTTP/1.1\r\nUpgrade: websocket\r\n");
    QTest::newRow("header without end") << "GET / HTTP/1.1\r\nX: " + QByteArray(1 << 20, 'x');
    QTest::newRow("frame without handshake") << QByteArray("\x81\x80\x00\x00\x00\x00", 6);
}

void TestLinkRubbish::strangersOnThePortAreNotClients()
{
    QFETCH(QByteArray, bytes);
    current = std::make_unique<WireClient>(server->port);
    const qsizetype before = openFiles();
    {
        QTcpSocket stranger;
        stranger.connectToHost(QHostAddress::LocalHost, server->port);
        QVERIFY(waitUntil([&] { return stranger.state() == QAbstractSocket::ConnectedState; }));
        stranger.write(bytes);
        // A stranger that became the current client would take this answer.
        QVERIFY(waitUntil([&] {
            return stranger.bytesToWrite() == 0 ||
                   stranger.state() == QAbstractSocket::UnconnectedState;
        }));
        QVERIFY(currentClientGoesOn());
    }
    QVERIFY(waitUntil([&] { return openFiles() == before; }));
    current->texts.clear();
    QVERIFY(currentClientGoesOn());
}

void TestLinkRubbish::manyConnectionsAtOnce()
{
    const LogCapture log;
    current = std::make_unique<WireClient>(server->port);
    const qsizetype before = openFiles();
    for (int wave = 0; wave < 10; ++wave) {
        std::vector<std::unique_ptr<QTcpSocket>> sockets;
        for (int index = 0; index < 100; ++index) {
            sockets.push_back(std::make_unique<QTcpSocket>());
            sockets.back()->connectToHost(QHostAddress::LocalHost, server->port);
        }
        QVERIFY(waitUntil([&] {
            return std::all_of(sockets.begin(), sockets.end(), [](const auto &socket) {
                return socket->state() == QAbstractSocket::ConnectedState;
            });
        }));
        current->texts.clear();
        QVERIFY(currentClientGoesOn());
    }
    QVERIFY(waitUntil([&] { return openFiles() == before; }));
    current->texts.clear();
    QVERIFY(currentClientGoesOn());
}

void TestLinkRubbish::manyCommandsInOneGo()
{
    current = std::make_unique<WireClient>(server->port);
    const QSignalSpy spy(server->link.get(), &WebSocketServer::sigAddMemoryCheck);
    for (int count = 0; count < 10'000; ++count) {
        current->send(R"({"event":"addMemoryCheck","payload":{"pid":1}})");
        current->send(R"({"event":"addMemoryCheck")");
    }
    QCOMPARE(current->takeTexts(), QStringList{});
    QCOMPARE(spy.size(), 10'000);
}

QTEST_GUILESS_MAIN(TestLinkRubbish)
#include "tst_link_rubbish.moc"
