#include "app/processidentity.h"
#include "platform/simulated/simulated.h"
#include "tests/support/logcapture.h"

#include <QLocale>
#include <QSysInfo>
#include <QtTest>

#include <cstring>

class TestProcessIdentity : public QObject
{
    Q_OBJECT

private slots:
    void init() { simulated::reset(); }

    void kernelVersionIsSplitAtDots_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<int>>("expected");
        // Numbers that stay show as what they were before.
        QTest::newRow("three") << "10.0.19045" << QList<int>{10, 0, 19045};
        QTest::newRow("four") << "10.0.22631.4602" << QList<int>{10, 0, 22631};
        QTest::newRow("two") << "10.1" << QList<int>{10, 1, 93};
        QTest::newRow("one") << "7" << QList<int>{7, 92, 93};
        QTest::newRow("text in the third") << "6.1.0-37-amd64" << QList<int>{6, 1, 0};
        QTest::newRow("empty parts count") << ".5." << QList<int>{0, 5, 0};
        QTest::newRow("no number") << "version" << QList<int>{0, 92, 93};
        QTest::newRow("base ten") << "0x10.010.1e3" << QList<int>{0, 10, 0};
    }
    void kernelVersionIsSplitAtDots()
    {
        QFETCH(QString, text);
        QFETCH(QList<int>, expected);
        const LogCapture log;
        WindowsVersion version{91, 92, 93};
        readKernelVersion(text, version);
        QCOMPARE((QList<int>{version.major, version.minor, version.build}), expected);
        QCOMPARE(log.lines(), QStringList());
    }

    void unknownKernelVersionIsTold()
    {
        const LogCapture log;
        WindowsVersion version{91, 92, 93};
        readKernelVersion("", version);
        QCOMPARE((QList<int>{version.major, version.minor, version.build}),
                 (QList<int>{91, 92, 93}));
        QCOMPARE(log.lines(), QStringList("Critical: Fail to get windows version!!!"));
    }

    void versionComesFromTheSystem()
    {
        simulated::setSystemVersion(10, 1, 22631);
        windowsVersion = {};
        determineWindowsVersion();
        QCOMPARE(windowsVersion.major, 10);
        QCOMPARE(windowsVersion.minor, 1);
        QCOMPARE(windowsVersion.build, 22631);
    }

    void versionComesFromTheKernelWhereTheSystemHasNone()
    {
        simulated::failNext("readSystemVersion", 1);
        WindowsVersion expected;
        readKernelVersion(QSysInfo::kernelVersion(), expected);
        windowsVersion = {};
        determineWindowsVersion();
        QCOMPARE(windowsVersion.major, expected.major);
        QCOMPARE(windowsVersion.minor, expected.minor);
        QCOMPARE(windowsVersion.build, expected.build);
        QVERIFY(windowsVersion.major > 0);
    }

    void guidIsDrawn()
    {
        const LogCapture log;
        processGuid = GUID{};
        createProcessGuid();
        const GUID first = processGuid;
        QVERIFY(!IsEqualGUID(first, GUID{}));
        createProcessGuid();
        QVERIFY(!IsEqualGUID(first, processGuid));
        QCOMPARE(log.lines(), QStringList());
    }

    void missingGuidIsAllZero()
    {
        const LogCapture log;
        std::memset(&processGuid, 0xAA, sizeof(processGuid));
        simulated::failNext("CoCreateGuid", DWORD(E_FAIL));
        createProcessGuid();
        QVERIFY(IsEqualGUID(processGuid, GUID{}));
        QCOMPARE(log.lines(), QStringList("Critical: Fail to create guid!!!"));
    }

    void qtKnowsTheVersion()
    {
        QCOMPARE(QCoreApplication::applicationVersion(), QString());
        provideProgramVersion();
#ifdef _WIN32 // where Qt reads it from the program's resource, which this one has none of
        const QString expected;
#else
        const QString expected = "1.0.2511.13096";
#endif
        QCOMPARE(QCoreApplication::applicationVersion(), expected);
    }

    void fiveLinesTellWhatRuns()
    {
        const LogCapture log;
        logProcessIdentity();
        const QString language = QLocale::languageToString(QLocale::system().language());
        const QStringList expected{
            R"(Info: "6.8.3")",
            QString(R"(Info: "%1 %2")").arg(QSysInfo::productVersion(), QSysInfo::productType()),
            QString(R"(Info: "%1")").arg(QSysInfo::kernelVersion()),
            QString(R"(Info: "%1")").arg(language),
            R"(Info: "1.0.2511.13096")",
        };
        QCOMPARE(log.lines(), expected);
    }
};

QTEST_GUILESS_MAIN(TestProcessIdentity)
#include "tst_processidentity.moc"
