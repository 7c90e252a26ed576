#include "tests/support/privatehome.h"

#include <QDateTime>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QtTest>

#include <utility>

namespace
{

constexpr int runBoundMs = 60000;

// How a run of the probe may end, beside its exit codes.
constexpr int crashed = -1;
constexpr int saidSomething = -2;
constexpr int hung = -3;

const QByteArray stampPattern = R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\])";

/// Runs one scenario of the probe to its end.
int runProbe(const PrivateHome &home, const QString &scenario,
             const QProcessEnvironment &environment)
{
    QProcess probe;
    probe.setProcessEnvironment(environment);
    probe.setWorkingDirectory(home.path("home"));
    probe.start(LOGPROBE, {scenario});
    if (!probe.waitForFinished(runBoundMs))
        return hung;
    // Nothing is ever said on a console.
    const QByteArray said = probe.readAllStandardError() + probe.readAllStandardOutput();
    if (!said.isEmpty())
        qWarning("%s", said.constData());
    if (probe.exitStatus() != QProcess::NormalExit)
        return crashed;
    return said.isEmpty() ? probe.exitCode() : saidSomething;
}

int runProbe(const PrivateHome &home, const QString &scenario)
{
    return runProbe(home, scenario, home.environment());
}

/// The log's lines without their ends and stamps; a line without a stamp gives a failure.
QByteArrayList messages(const QByteArray &log)
{
    static const QRegularExpression line("^" + stampPattern + " (.*)$",
                                         QRegularExpression::DotMatchesEverythingOption);
    QByteArrayList result;
    for (const QByteArray &entry : log.split('\r')) {
        const QByteArray text = entry.startsWith('\n') ? entry.mid(1) : entry;
        if (text.isEmpty())
            continue;
        const auto match = line.match(QString::fromUtf8(text));
        result << (match.hasMatch() ? match.captured(1).toUtf8() : "NO STAMP: " + text);
    }
    return result;
}

} // namespace

class TestMessageHandler : public QObject
{
    Q_OBJECT

private slots:
    void eachLevelHasItsWord();
    void valuesAreQuotedAndLiteralsAreNot();
    void linesEndWithCarriageReturnAndLineFeed();
    void stampIsLocalTime();
    void stampMovesOn();
    void fileIsNamedByTime();
    void fourTextsAreDroppedAndNothingElse();
    void droppedTextOpensTheFileNevertheless();
    void closedGateLosesEverything();
    void openingIsTriedOnce();
    void linesOfAThreadStayInOrder();
    void linesOfThreadsThatTakeTurnsStayInOrder();
    void leavingWritesWhatIsQueued();
    void leavingLosesOnlyTheTail();
    void loggingToTheEndIsHarmless_data();
    void loggingToTheEndIsHarmless();
    void fatalMessageEndsTheProcess();
    void sharedNameBelongsToTheLaterRun();
};

void TestMessageHandler::eachLevelHasItsWord()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "levels"), 0);
    const QByteArrayList expected{
        "Debug: a debug text",     "Info: an info text",
        "Warning: a warning text", "Critical: a critical text",
        "Fatal: a fatal text",     " an unknown text",
        "Info: drained",
    };
    QCOMPARE(messages(home.log()), expected);
}

void TestMessageHandler::valuesAreQuotedAndLiteralsAreNot()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "forms"), 0);
    const QByteArrayList expected{
        R"(Info: "1.0.2511.13096")",
        R"(Info: literal "with \"quotes\"\nand a break" 42)",
        "Info: two\nlines",
        "Info: 获取进程句柄失败，错误码： 5",
        "Info: %1 stays",
        "Info: drained",
    };
    QCOMPARE(messages(home.log()), expected);
}

void TestMessageHandler::linesEndWithCarriageReturnAndLineFeed()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "forms"), 0);
    const QByteArray log = home.log();
    QVERIFY2(log.startsWith('['), "no byte-order mark");
    QVERIFY(log.endsWith("Info: drained\r\n"));
    QCOMPARE(log.count('\r'), 6);
    // The break inside the message of two lines is the only one that is a line feed alone.
    QCOMPARE(log.count('\n'), 7);
    QVERIFY(log.contains("two\nlines\r\n"));
}

void TestMessageHandler::stampIsLocalTime()
{
    const PrivateHome home;
    QProcessEnvironment environment = home.environment();
    environment.insert("TZ", "XYZ-05:30"); // east of Greenwich
#ifdef _WIN32                              // which has one zone for all programs
    const int offset = QDateTime::currentDateTime().offsetFromUtc();
#else
    constexpr int offset = 5 * 3600 + 30 * 60;
#endif
    const QDateTime before = QDateTime::currentDateTimeUtc();
    QCOMPARE(runProbe(home, "one", environment), 0);
    const QDateTime after = QDateTime::currentDateTimeUtc();

    QDateTime stamp =
        QDateTime::fromString(QString::fromLatin1(home.log().mid(1, 19)), "yyyy-MM-dd hh:mm:ss");
    stamp.setOffsetFromUtc(offset);
    QVERIFY(stamp.isValid());
    QVERIFY(stamp >= before.addMSecs(-1000));
    QVERIFY(stamp <= after);
}

void TestMessageHandler::stampMovesOn()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "seconds"), 0);
    QByteArrayList stamps;
    QByteArrayList begun;
    for (const QByteArray &line : home.log().split('\n')) {
        if (line.contains("Info: 2")) {
            stamps << line.mid(1, 19);
            begun << line.mid(line.indexOf("Info: ") + 6, 19);
        }
    }
    QCOMPARE(begun.size(), 3);
    for (int i = 0; i < 3; ++i) {
        QVERIFY2(begun[i] <= stamps[i], stamps[i] + " is before " + begun[i]);
        QVERIFY2(i == 2 || stamps[i] <= begun[i + 1], stamps[i] + " is after the next line");
    }
}

void TestMessageHandler::fileIsNamedByTime()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "one"), 0);
    const QStringList files = home.logFiles();
    QCOMPARE(files.size(), 1);
    static const QRegularExpression name(
        R"(/tavori/Quorvane/logs/log-\d{4}-\d\d-\d\d-\d\d-\d\d-\d\d\.txt$)");
    QVERIFY2(name.match(files.first()).hasMatch(), qPrintable(files.first()));
    QCOMPARE(QSettings(home.cacheFile(), QSettings::IniFormat).value("Logo/index").toInt(), 2);
}

void TestMessageHandler::fourTextsAreDroppedAndNothingElse()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "dropped"), 0);
    QByteArrayList expected;
    for (const QByteArray text : {"libpng warning: iCCP: known incorrect sRGB profile",
                                  "libpng warning: profile matches sRGB but writing iCCP instead",
                                  "libpng warning: known incorrect sRGB profile",
                                  "Critical: WebSocket is already in CLOSING or CLOSED state."}) {
        expected << "Warning: x" + text << "Warning: " + text + "x"
                 << "Warning: " + text + " "
                 << "Warning: " + text.toUpper();
    }
    expected << "Critical: WebSocket is already in CLOSING or CLOSED state."
             << "Info: drained";
    QCOMPARE(messages(home.log()), expected);
}

void TestMessageHandler::droppedTextOpensTheFileNevertheless()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "onlydropped"), 0);
    QCOMPARE(home.logFiles().size(), 1);
    QCOMPARE(home.log(), QByteArray());
    QVERIFY(QFile::exists(home.cacheFile()));
}

void TestMessageHandler::closedGateLosesEverything()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "closed"), 0);
    QVERIFY(!QFile::exists(home.applicationData() + "/logs"));
    QVERIFY(!QFile::exists(home.applicationData() + "/data"));
}

void TestMessageHandler::openingIsTriedOnce()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "nodirectory"), 0);
    QVERIFY(QFileInfo(home.applicationData() + "/logs").isDir());
    QVERIFY(home.logFiles().isEmpty());
    QVERIFY(QFile::exists(home.cacheFile()));
}

void TestMessageHandler::linesOfAThreadStayInOrder()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "threads"), 0);
    const QByteArrayList lines = messages(home.log());
    QCOMPARE(lines.size(), 8 * 250 + 1);
    QList<int> next(8, 0);
    static const QRegularExpression form("^Info: thread (\\d) line (\\d+)$");
    for (const QByteArray &line : lines.first(8 * 250)) {
        const auto match = form.match(QString::fromUtf8(line));
        QVERIFY2(match.hasMatch(), line.constData());
        QCOMPARE(match.captured(2).toInt(), next[match.captured(1).toInt()]++);
    }
}

void TestMessageHandler::linesOfThreadsThatTakeTurnsStayInOrder()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "turns"), 0);
    const QByteArrayList lines = messages(home.log());
    QCOMPARE(lines.size(), 401);
    for (int i = 0; i < 400; ++i)
        QCOMPARE(lines[i], "Info: turn " + QByteArray::number(i));
}

void TestMessageHandler::leavingWritesWhatIsQueued()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "few"), 0);
    const QByteArrayList lines = messages(home.log());
    QCOMPARE(lines.size(), 200);
    for (int i = 0; i < 200; ++i)
        QCOMPARE(lines[i], "Info: line " + QByteArray::number(i) + " end");
}

void TestMessageHandler::leavingLosesOnlyTheTail()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "leave"), 0);
    const QByteArray log = home.log();
    QVERIFY(log.endsWith("\r\n"));
    // What had been written by then is there; of the rest as much as there was time for.
    const QByteArrayList lines = messages(log);
    QCOMPARE(lines.value(0), "Info: drained");
    for (int i = 1; i < lines.size(); ++i)
        QCOMPARE(lines[i], "Info: line " + QByteArray::number(i - 1) + " end");
}

void TestMessageHandler::loggingToTheEndIsHarmless_data()
{
    QTest::addColumn<QString>("scenario");
    QTest::newRow("the application object goes") << "end";
    QTest::newRow("the application object stays") << "exit";
}

void TestMessageHandler::loggingToTheEndIsHarmless()
{
    QFETCH(QString, scenario);
    for (int run = 0; run < 5; ++run) {
        const PrivateHome home;
        QCOMPARE(runProbe(home, scenario), 0);
    }
}

void TestMessageHandler::fatalMessageEndsTheProcess()
{
    const PrivateHome home;
    QCOMPARE(runProbe(home, "fatal"), crashed);
}

void TestMessageHandler::sharedNameBelongsToTheLaterRun()
{
    for (int attempt = 0; attempt < 50; ++attempt) {
        const PrivateHome home;
        QCOMPARE(runProbe(home, "levels"), 0);
        QCOMPARE(runProbe(home, "one"), 0);
        if (home.logFiles().size() > 1)
            continue; // the second turned between the two
        QCOMPARE(messages(home.log()), QByteArrayList{"Info: drained"});
        return;
    }
    QFAIL("no two runs fell into one second");
}

QTEST_GUILESS_MAIN(TestMessageHandler)
#include "tst_messagehandler.moc"
