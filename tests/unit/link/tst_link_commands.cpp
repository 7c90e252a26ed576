// Every command, sent over a real socket: which signal it raises, with which arguments.
#include "commandrows.h"
#include "linkfixture.h"
#include "tests/support/logcapture.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <vector>

namespace
{
struct Raised
{
    QString signal;
    QVariantList arguments;
};

/// Watches all signals of the class at once.
class SignalRecorder
{
public:
    explicit SignalRecorder(WebSocketServer *link)
    {
        const QMetaObject &meta = WebSocketServer::staticMetaObject;
        for (int index = meta.methodOffset(); index < meta.methodCount(); ++index) {
            if (meta.method(index).methodType() == QMetaMethod::Signal)
                spies.push_back(std::make_unique<QSignalSpy>(link, meta.method(index)));
            if (meta.method(index).methodType() == QMetaMethod::Signal)
                names.append(QString::fromLatin1(meta.method(index).name()));
        }
    }

    /// What has been raised since the last call.
    QList<Raised> take()
    {
        QList<Raised> raised;
        for (std::size_t index = 0; index < spies.size(); ++index) {
            for (const QVariantList &arguments : std::as_const(*spies[index]))
                raised.append({names.at(qsizetype(index)), arguments});
            spies[index]->clear();
        }
        return raised;
    }

private:
    std::vector<std::unique_ptr<QSignalSpy>> spies;
    QStringList names;
};

QString declaration(const QMetaMethod &method)
{
    QStringList arguments;
    for (int index = 0; index < method.parameterCount(); ++index) {
        arguments.append(QString::fromLatin1(method.parameterTypeName(index) + ' ' +
                                             method.parameterNames().at(index)));
    }
    return QString::fromLatin1(method.name()) + '(' + arguments.join(", ") + ')';
}

QString systemUuidEvent(const QString &uuid)
{
    return QStringLiteral(R"({"event":"didReceiveSystemUUID","payload":{"systemUUID":"%1"}})")
        .arg(uuid);
}
} // namespace

class TestLinkCommands : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void command_data();
    void command();
    void casesCoverEveryCommandAndSignal();
    void signalsStandInTheirOrder();
    void unknownNameIsIgnored_data();
    void unknownNameIsIgnored();
    void settingsCommandsDoNothing();
    void heartbeatIsAnswered_data();
    void heartbeatIsAnswered();
    void quitAppRaisesItsSignalOnly();
    void systemUuidIsEmptyWithoutTheKey();
    void systemUuidIsReadAnewByEachCommand();
    void systemUuidIsReadOutsideTheCall();

private:
    std::unique_ptr<ListeningServer> server;
    std::unique_ptr<WireClient> client;
    std::unique_ptr<SignalRecorder> recorder;
};

void TestLinkCommands::initTestCase()
{
    server = std::make_unique<ListeningServer>();
    client = std::make_unique<WireClient>(server->port);
    QVERIFY(client->isConnected());
    recorder = std::make_unique<SignalRecorder>(server->link.get());
}

void TestLinkCommands::cleanupTestCase()
{
    recorder.reset();
    client.reset();
    server.reset();
}

void TestLinkCommands::command_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QVariantList>("arguments");
    for (const CommandCase &row : commandCases())
        QTest::newRow(qPrintable(row.label)) << row.text << row.signal << row.arguments;
}

void TestLinkCommands::command()
{
    QFETCH(QString, text);
    QFETCH(QString, signal);
    QFETCH(QVariantList, arguments);

    client->send(text);
    client->takeTexts();

    const QList<Raised> raised = recorder->take();
    if (signal.isEmpty()) {
        QVERIFY2(raised.isEmpty(), qPrintable(raised.isEmpty() ? "" : raised.first().signal));
        return;
    }
    QCOMPARE(raised.size(), 1);
    QCOMPARE(raised.first().signal, signal);
    QCOMPARE(raised.first().arguments, arguments);
}

void TestLinkCommands::casesCoverEveryCommandAndSignal()
{
    QSet<QString> commands;
    QSet<QString> signalNames;
    for (const CommandCase &row : commandCases()) {
        commands.insert(QJsonDocument::fromJson(row.text.toUtf8())["event"].toString());
        if (!row.signal.isEmpty())
            signalNames.insert(row.signal);
    }
    QCOMPARE(commandNames().size(), 40);
    QCOMPARE(commands, QSet<QString>(commandNames().begin(), commandNames().end()));
    QCOMPARE(signalNames.size(), declaredSignals().size());
}

void TestLinkCommands::signalsStandInTheirOrder()
{
    const QMetaObject &meta = WebSocketServer::staticMetaObject;
    QStringList found;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index) {
        const QMetaMethod method = meta.method(index);
        if (method.methodType() != QMetaMethod::Signal)
            continue;
        QCOMPARE(method.methodIndex() - meta.methodOffset(), found.size());
        QCOMPARE(method.access(), QMetaMethod::Public);
        QCOMPARE(QByteArray(method.typeName()), QByteArray("void"));
        found.append(declaration(method));
    }
    QCOMPARE(found.size(), 44);
    QCOMPARE(found, declaredSignals());
}

void TestLinkCommands::unknownNameIsIgnored_data()
{
    QTest::addColumn<QString>("text");
    for (const QString &name : commandNames()) {
        QString capital = name;
        capital[0] = capital[0].toUpper();
        for (const QString &odd : {capital, name + ' ', ' ' + name, name + "x", name.chopped(1)})
            QTest::newRow(qPrintable(odd)) << QString(R"({"event":"%1"})").arg(odd);
    }
    QTest::newRow("nothing") << "";
    QTest::newRow("not JSON") << "heartbeat";
    QTest::newRow("broken JSON") << R"({"event":"heartbeat")";
    QTest::newRow("two documents") << R"({"event":"heartbeat"}{"event":"heartbeat"})";
    QTest::newRow("single quotes") << R"({'event':'heartbeat'})";
    QTest::newRow("array") << R"(["event","heartbeat"])";
    QTest::newRow("array of a command") << R"([{"event":"heartbeat"}])";
    QTest::newRow("bare text") << R"("heartbeat")";
    QTest::newRow("bare number") << "1";
    QTest::newRow("null") << "null";
    QTest::newRow("empty object") << "{}";
    QTest::newRow("no event") << R"({"payload":{"event":"heartbeat"}})";
    QTest::newRow("other key") << R"({"Event":"heartbeat"})";
    QTest::newRow("event is an array") << R"({"event":["heartbeat"]})";
    QTest::newRow("event is an object") << R"({"event":{"event":"heartbeat"}})";
    QTest::newRow("event is null") << R"({"event":null})";
    QTest::newRow("event is a number") << R"({"event":1})";
    QTest::newRow("event is empty") << R"({"event":""})";
}

void TestLinkCommands::unknownNameIsIgnored()
{
    QFETCH(QString, text);
    const LogCapture log;
    client->send(text);
    QCOMPARE(client->takeTexts(), QStringList{});
    QVERIFY(recorder->take().isEmpty());
    QCOMPARE(log.lines(), QStringList{});
}

void TestLinkCommands::settingsCommandsDoNothing()
{
    const LogCapture log;
    for (const char *name :
         {"getSettings", "setSettings", "getGlobalSettings", "setGlobalSettings"}) {
        client->send(QString(R"({"event":"%1"})").arg(name));
        client->sendCommand(name, {{"deviceID", "i"}, {"mode", "NormalMode"}});
    }
    QCOMPARE(client->takeTexts(), QStringList{});
    QVERIFY(recorder->take().isEmpty());
    QCOMPARE(log.lines(), QStringList{});
}

void TestLinkCommands::heartbeatIsAnswered_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("plain") << R"({"event":"heartbeat"})";
    QTest::newRow("payload") << R"({"event":"heartbeat","payload":{"event":"quitApp","n":1}})";
    QTest::newRow("odd payload") << R"({"payload":[1,2],"event":"heartbeat"})";
    QTest::newRow("white space") << "\n { \"event\" :\t\"heartbeat\" }\r\n";
}

void TestLinkCommands::heartbeatIsAnswered()
{
    QFETCH(QString, text);
    client->send(text);
    QVERIFY(client->waitForTexts(1));
    QCOMPARE(client->texts, QStringList{R"({"event":"heartbeat"})"});
    client->texts.clear();
    QVERIFY(recorder->take().isEmpty());
}

void TestLinkCommands::quitAppRaisesItsSignalOnly()
{
    client->send(R"({"event":"quitApp"})");
    QCOMPARE(client->takeTexts(), QStringList{});
    const QList<Raised> raised = recorder->take();
    QCOMPARE(raised.size(), 1);
    QCOMPARE(raised.first().signal, "sigQuitApp");
    QVERIFY(client->isConnected());
}

void TestLinkCommands::systemUuidIsEmptyWithoutTheKey()
{
    client->send(R"({"event":"getSystemUUID"})");
    QVERIFY(client->waitForTexts(1));
    QCOMPARE(client->takeTexts(), QStringList{systemUuidEvent("")});
}

void TestLinkCommands::systemUuidIsReadAnewByEachCommand()
{
    // Where no registry is, the key's path names a settings file in the working directory.
    const QString before = QDir::currentPath();
    const QTemporaryDir directory;
    QVERIFY(QDir::setCurrent(directory.path()));
    const auto store = [](const QByteArray &uuid) {
        QFile file("HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography");
        return file.open(QIODevice::WriteOnly) && file.write("[General]\nMachineGuid=" + uuid) > 0;
    };
    QVERIFY(store("first"));
    client->send(R"({"event":"getSystemUUID"})");
    QVERIFY(client->waitForTexts(1));
    QCOMPARE(client->takeTexts(), QStringList{systemUuidEvent("first")});

    QVERIFY(store("and-now-another"));
    client->send(R"({"event":"getSystemUUID","payload":{"systemUUID":"x"}})");
    QVERIFY(client->waitForTexts(1));
    QCOMPARE(client->takeTexts(), QStringList{systemUuidEvent("and-now-another")});
    QVERIFY(QDir::setCurrent(before));
}

void TestLinkCommands::systemUuidIsReadOutsideTheCall()
{
    // Both commands arrive in one read, so that only a deferred answer can come second.
    client->send(R"({"event":"getSystemUUID"})");
    client->send(R"({"event":"heartbeat"})");
    QVERIFY(client->waitForTexts(2));
    const QStringList expected{R"({"event":"heartbeat"})", systemUuidEvent("")};
    QCOMPARE(client->texts, expected);
    client->texts.clear();
}

QTEST_GUILESS_MAIN(TestLinkCommands)
#include "tst_link_commands.moc"
