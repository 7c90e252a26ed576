// The names of real processes.
#include "handles.h"
#include "sessions/applicationidentity.h"
#include "tests/support/processend.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

namespace
{
constexpr int boundMs = 60000;

QString programPath(const QString &name)
{
    return QCoreApplication::applicationDirPath() + '/' + name + ".exe";
}

/// The name of a file in its own letters: the system's list of processes may have others.
QString inLowerCase(const QString &name)
{
    return name.toLower();
}

/// A program that runs while the object lives.
class Running
{
public:
    explicit Running(const QString &name) { process.start(programPath(name), QStringList()); }
    ~Running() { end(); }
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

    [[nodiscard]] bool isReady()
    {
        return process.waitForReadyRead(boundMs) && process.readAll().startsWith("ready");
    }
    [[nodiscard]] DWORD id() const { return static_cast<DWORD>(process.processId()); }
    bool end()
    {
        process.closeWriteChannel();
        return hasEnded(process, boundMs);
    }

private:
    QProcess process;
};
} // namespace

class TestProcessName : public QObject
{
    Q_OBJECT

private slots:
    void names_data();
    void names();
    void everySourceOfOne();
    void processThatHasEnded();
    void thisProcess();
    void nothingStaysOpen();
};

void TestProcessName::names_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("name");
    QTest::newRow("description") << "described"
                                 << "Described";
    QTest::newRow("product") << "product"
                             << "Product";
    QTest::newRow("original name") << "original"
                                   << "Original";
    QTest::newRow("empty description") << "emptilydescribed"
                                       << "Product";
    QTest::newRow("first language") << "chinese"
                                    << "播放器";
    QTest::newRow("no language") << "untranslated"
                                 << "untranslated.exe";
    QTest::newRow("none of the names") << "unnamed"
                                       << "unnamed.exe";
    QTest::newRow("no version information") << "versionless"
                                            << "versionless.exe";
}

void TestProcessName::names()
{
    QFETCH(QString, program);
    Running running(program);
    QVERIFY(running.isReady());
    QTEST(applicationName(running.id()), "name");
    QVERIFY(running.end());
}

void TestProcessName::everySourceOfOne()
{
    Running running("described");
    QVERIFY(running.isReady());
    const QString path = QDir::toNativeSeparators(programPath("described"));
    QCOMPARE(applicationFileName(running.id()), path);
    QCOMPARE(getVersionInfoName(running.id()), "Described");
    QCOMPARE(inLowerCase(getModuleBaseName(running.id())), "described.exe");
    QCOMPARE(inLowerCase(getSnapshotExeName(running.id())), "described.exe");
    QCOMPARE(GetAppDisplayNameByPid(running.id(), false), QString());
}

void TestProcessName::processThatHasEnded()
{
    Running running("described");
    QVERIFY(running.isReady());
    const DWORD id = running.id();
    QVERIFY(running.end());
    // The system takes a while to forget it.
    QTRY_COMPARE_WITH_TIMEOUT(applicationFileName(id), QString(), boundMs);
    QCOMPARE(getVersionInfoName(id), QString());
    QCOMPARE(getModuleBaseName(id), QString());
    QCOMPARE(getSnapshotExeName(id), QString());
    QCOMPARE(applicationName(id), QString());
}

void TestProcessName::thisProcess()
{
    const QString path = QDir::toNativeSeparators(QCoreApplication::applicationFilePath());
    QCOMPARE(applicationFileName(GetCurrentProcessId()), path);
    QCOMPARE(applicationName(GetCurrentProcessId()), QFileInfo(path).fileName());
}

void TestProcessName::nothingStaysOpen()
{
    const DWORD id = GetCurrentProcessId();
    QCOMPARE(leftOpen([id] { (void)applicationName(id); }), 0);
    QCOMPARE(leftOpen([id] { (void)applicationFileName(id); }), 0);
    QCOMPARE(leftOpen([id] { (void)getSnapshotExeName(id); }), 0);
}

QTEST_GUILESS_MAIN(TestProcessName)
#include "tst_processname.moc"
