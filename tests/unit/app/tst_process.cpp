// The program as a process: its order of starting, its two roles, its exit codes.
#include "tests/support/portlock.h"
#include "tests/support/privatehome.h"
#include "tests/support/processend.h"

#include <QLocalSocket>
#include <QLocale>
#include <QProcess>
#include <QRegularExpression>
#include <QSysInfo>
#include <QWebSocket>
#include <QtTest>

#include <algorithm>
#include <memory>

namespace
{

constexpr int boundMs = 30000;
const QString localServerName("@tavori_Quorvane_LocalServer_Name_");

/// One process of the program. Its end is the process's end.
class Program
{
public:
    explicit Program(const PrivateHome &home, const QStringList &arguments = {},
                     const QStringList &settings = {})
    {
        QProcessEnvironment environment = home.environment();
        for (const QString &setting : settings)
            environment.insert(setting.section('=', 0, 0), setting.section('=', 1));
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(home.path("home"));
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QUORVANE, arguments);
    }
    ~Program()
    {
        if (process.state() == QProcess::NotRunning)
            return;
        process.kill();
        process.waitForFinished(boundMs);
    }
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /// The exit code, or -1 after a crash or when it does not end.
    [[nodiscard]] int waitForEnd()
    {
        return hasEnded(process, boundMs) && process.exitStatus() == QProcess::NormalExit
                   ? process.exitCode()
                   : -1;
    }
    [[nodiscard]] bool crashed()
    {
        return hasEnded(process, boundMs) && process.exitStatus() == QProcess::CrashExit;
    }
    [[nodiscard]] bool isRunning() const { return process.state() == QProcess::Running; }
    void killHard() { process.kill(); }
    [[nodiscard]] QByteArray console() { return process.readAll(); }

private:
    QProcess process;
};

/// Waits for a line of the latest log whose text after the stamp is exactly this.
bool waitForLine(const PrivateHome &home, const QByteArray &text)
{
    return QTest::qWaitFor([&] { return home.log().contains("] " + text + "\r\n"); }, boundMs);
}

bool waitForListening(const PrivateHome &home)
{
    return waitForLine(home, "Info: WebSocket server listening with port 24925") &&
           waitForLine(home, "Info: End of init!!!");
}

/// The texts of the latest log's lines, without their stamps.
QByteArrayList lines(const PrivateHome &home)
{
    static const QRegularExpression stamp(R"(^\[[^]]*\] )");
    QByteArrayList result;
    for (const QString &line : QString::fromUtf8(home.log()).split("\r\n", Qt::SkipEmptyParts))
        result << QString(line).remove(stamp).toUtf8();
    return result;
}

std::unique_ptr<QWebSocket> connectClient()
{
    auto client = std::make_unique<QWebSocket>();
    client->open(QUrl(QString("ws://127.0.0.1:%1").arg(PortLock::port)));
    const auto connected = [&client] { return client->state() == QAbstractSocket::ConnectedState; };
    return QTest::qWaitFor(connected, boundMs) ? std::move(client) : nullptr;
}

bool quit()
{
    const auto client = connectClient();
    if (!client)
        return false;
    client->sendTextMessage(R"({"event":"quitApp"})");
    return QTest::qWaitFor(
        [&client] { return client->state() == QAbstractSocket::UnconnectedState; }, boundMs);
}

QByteArray quoted(const QString &text)
{
    return "Info: \"" + text.toUtf8() + "\"";
}

} // namespace

class TestProcess : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { portLock = std::make_unique<PortLock>(); }
    void cleanupTestCase() { portLock.reset(); }

    void firstLinesTellWhatRuns();
    void firstRunMakesItsDirectories();
    void quitEndsWithZero();
    void comStopsBeforeTheWidgetGoes();
    void secondInstanceHandsOverAndLeaves();
    void secondInstanceLeavesNoTrace();
    void longArgumentsArriveInOrder();
    void failedListenEndsWithTwo();
    void crashedInstanceIsFollowed();
    void failingComEndsTheProcess();
    void failingGuidIsTold();
    void lostClientEndsNothing();
    void noLogIsNoObstacle();

private:
    std::unique_ptr<PortLock> portLock;
};

void TestProcess::firstLinesTellWhatRuns()
{
    const PrivateHome home;
    Program program(home);
    QVERIFY(waitForListening(home));

    const QByteArrayList log = lines(home);
    const QByteArrayList expected{
        quoted("6.8.3"),
        quoted(QSysInfo::productVersion() + " " + QSysInfo::productType()),
        quoted(QSysInfo::kernelVersion()),
        quoted(QLocale::languageToString(QLocale::system().language())),
        quoted("1.0.2511.13096"),
    };
    QCOMPARE(log.first(5), expected);
    // The control link comes up last, when everything else stands.
    const auto begin = log.indexOf("Info: try to start websocket server : begin");
    const auto listening = log.indexOf("Info: WebSocket server listening with port 24925");
    const auto end = log.indexOf("Info: try to start websocket server : end");
    QVERIFY(4 < begin && begin < listening && listening < end);
    QCOMPARE(program.console(), QByteArray());
}

void TestProcess::firstRunMakesItsDirectories()
{
    const PrivateHome home;
    QVERIFY(!QFile::exists(home.path("data/tavori")));
    const Program program(home);
    QVERIFY(waitForListening(home));
    QVERIFY(QFileInfo(home.applicationData() + "/dumps").isDir());
    QVERIFY(QFileInfo(home.applicationData() + "/logs").isDir());
    QVERIFY(QFile::exists(home.cacheFile()));
    QCOMPARE(home.logFiles().size(), 1);
}

void TestProcess::quitEndsWithZero()
{
    const PrivateHome home;
    Program program(home);
    QVERIFY(waitForListening(home));
    QVERIFY(quit());
    QCOMPARE(program.waitForEnd(), 0);

    const QByteArrayList log = lines(home);
    const auto quitting = log.indexOf("Info: onQuitApp() :");
    QVERIFY(quitting > 0);
    QCOMPARE(log.value(quitting + 1), QByteArray("Info: onQuitApp() : end"));
    QVERIFY(log.indexOf("Info: About to quit - begin") > quitting);
    QVERIFY2(!QFile::exists(home.path("tmp/" + localServerName)), "the name is free again");
}

void TestProcess::comStopsBeforeTheWidgetGoes()
{
    const PrivateHome home;
    const QString callsFile = home.path("home/calls");
    Program program(home, {}, {"QUORVANE_CALLS=" + callsFile});
    QVERIFY(waitForListening(home));
    QVERIFY(quit());
    QCOMPARE(program.waitForEnd(), 0);

    QFile file(callsFile);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArrayList calls = file.readAll().split('\n');
    QVERIFY2(calls.first().startsWith("CoInitializeEx"), calls.first().constData());
    // The teardown ends the three microphone players, each with COM of its own; main follows.
    const auto unregistered =
        calls.indexOf("IMMDeviceEnumerator::UnregisterEndpointNotificationCallback");
    QVERIFY2(unregistered > 0, "the widget is destroyed");
    QCOMPARE(calls.first(unregistered).count("CoUninitialize"), 3 + 1);
    const auto isStart = [](const QByteArray &call) { return call.startsWith("CoInitialize"); };
    QCOMPARE(calls.count("CoUninitialize"), std::count_if(calls.begin(), calls.end(), isStart));
    const auto isAlert = [](const QByteArray &call) { return call.startsWith("MessageBeep"); };
    QVERIFY(std::none_of(calls.begin(), calls.end(), isAlert));
}

void TestProcess::secondInstanceHandsOverAndLeaves()
{
    const PrivateHome home;
    const Program first(home);
    QVERIFY(waitForListening(home));
    Program second(home, {"--option", "two;parts", QString::fromUtf8("\xE5\x9B\x9B \"q\"")});
    QCOMPARE(second.waitForEnd(), 1);

    const QByteArray handedOver =
        QByteArray(QUORVANE) + ";--option;two;parts;\xE5\x9B\x9B \\\"q\\\"";
    QVERIFY(waitForLine(home, "Info: QuorvaneWidget::restoreWindow \"" + handedOver + "\""));
    QVERIFY(first.isRunning());
}

void TestProcess::secondInstanceLeavesNoTrace()
{
    const PrivateHome home;
    const Program first(home);
    QVERIFY(waitForListening(home));
    const QByteArray before = home.log();
    QVERIFY(QFile::remove(home.cacheFile()));

    Program second(home);
    QCOMPARE(second.waitForEnd(), 1);
    QCOMPARE(second.console(), QByteArray());
    QVERIFY(!QFile::exists(home.cacheFile()));
    QCOMPARE(home.logFiles().size(), 1);
    QVERIFY(home.log().startsWith(before));
}

void TestProcess::longArgumentsArriveInOrder()
{
    const PrivateHome home;
    const Program first(home);
    QVERIFY(waitForListening(home));
    const QString argument(60000, 'a');
    Program second(home, {argument, argument});
    QCOMPARE(second.waitForEnd(), 1);

    const QString whole = QStringList{QUORVANE, argument, argument}.join(';');
    static const QRegularExpression piece("Info: QuorvaneWidget::restoreWindow \"([^\"]*)\"");
    const auto received = [&home] {
        QString result;
        for (auto found = piece.globalMatch(QString::fromUtf8(home.log())); found.hasNext();)
            result += found.next().captured(1);
        return result;
    };
    QTRY_COMPARE_WITH_TIMEOUT(received(), whole, boundMs);
}

void TestProcess::failedListenEndsWithTwo()
{
    const PrivateHome home;
    // A directory that is not empty cannot be cleared away.
    QVERIFY(QDir().mkpath(home.path("tmp/" + localServerName + "/something")));
    Program program(home);
    QCOMPARE(program.waitForEnd(), 2);
    QCOMPARE(program.console(), QByteArray());
    QVERIFY(!QFile::exists(home.applicationData() + "/logs"));
    QVERIFY(!QFile::exists(home.cacheFile()));
    QVERIFY2(QFile::exists(home.applicationData() + "/dumps"), "crash capture comes before");
}

void TestProcess::crashedInstanceIsFollowed()
{
    const PrivateHome home;
    {
        Program first(home);
        QVERIFY(waitForListening(home));
        first.killHard();
        QVERIFY(first.crashed());
    }
    QVERIFY(QFile::exists(home.path("tmp/" + localServerName)));
    QVERIFY(QDir(home.applicationData() + "/logs").removeRecursively());

    const Program next(home);
    QVERIFY(waitForListening(home));
}

void TestProcess::failingComEndsTheProcess()
{
    const PrivateHome home;
    Program program(home, {}, {"QUORVANE_FAULTS=CoInitializeEx=80010106"});
    QVERIFY(program.crashed());
    QVERIFY2(!QFile::exists(home.path("data/tavori")), "nothing has been done yet");
}

void TestProcess::failingGuidIsTold()
{
    const PrivateHome home;
    const Program program(home, {}, {"QUORVANE_FAULTS=CoCreateGuid=80004005"});
    QVERIFY(waitForListening(home));
    QCOMPARE(lines(home).value(0), QByteArray("Critical: Fail to create guid!!!"));
    QCOMPARE(lines(home).value(1), quoted("6.8.3"));
}

void TestProcess::lostClientEndsNothing()
{
    const PrivateHome home;
    Program program(home);
    QVERIFY(waitForListening(home));
    for (int i = 0; i < 3; ++i) {
        const auto client = connectClient();
        QVERIFY(client);
        client->abort();
    }
    QVERIFY(quit());
    QCOMPARE(program.waitForEnd(), 0);
}

void TestProcess::noLogIsNoObstacle()
{
    const PrivateHome home;
    QVERIFY(QDir().mkpath(home.applicationData()));
    QFile obstacle(home.applicationData() + "/logs");
    QVERIFY(obstacle.open(QIODevice::WriteOnly));
    obstacle.close();
    Program program(home);
    QVERIFY(QTest::qWaitFor([&home] { return QFile::exists(home.cacheFile()); }, boundMs));

    // There is no line to wait for; the port tells when it listens.
    const auto listens = [] {
        QTcpSocket probe;
        probe.connectToHost("127.0.0.1", PortLock::port);
        return probe.waitForConnected(100);
    };
    QVERIFY(QTest::qWaitFor(listens, boundMs));
    QVERIFY(quit());
    QCOMPARE(program.waitForEnd(), 0);
    QVERIFY(obstacle.size() == 0);
}

QTEST_GUILESS_MAIN(TestProcess)
#include "tst_process.moc"
