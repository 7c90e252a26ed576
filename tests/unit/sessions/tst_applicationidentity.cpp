// The name of a process's application: its sources, their order, and each call that can fail.
#include "platform/simulated/simulated.h"
#include "sessions/applicationidentity.h"
#include "tests/support/logcapture.h"

#include <QTest>

using simulated::Application;

namespace
{
constexpr DWORD pid = 4711;
const QString path = QStringLiteral("C:\\Program Files\\Player\\player.exe");
const QString fullName = QStringLiteral("Maker.Player_1.0.0.0_x64__abc");
const QString installPath = QStringLiteral("C:\\Program Files\\WindowsApps\\Maker.Player");

/// A process whose every source has a name of its own.
Application wholeApplication()
{
    return {.processId = pid,
            .imagePath = path,
            .moduleName = "module.exe",
            .listedName = "listed.exe",
            .packageFullName = fullName,
            .version = {{"FileDescription", "Described"},
                        {"ProductName", "Product"},
                        {"OriginalFilename", "Original"}}};
}

Application classicApplication()
{
    Application application = wholeApplication();
    application.packageFullName.clear();
    return application;
}

void setPackageName(const QString &displayName)
{
    simulated::setApplication(wholeApplication());
    simulated::setPackage({fullName, installPath, displayName});
}

/// A process of which nothing but its place in the list is known.
void setListed(DWORD id, const QString &name)
{
    Application application;
    application.processId = id;
    application.listedName = name;
    application.isClosed = true;
    simulated::setApplication(application);
}

/// Whatever was opened is closed again.
void verifyNothingIsLeft()
{
    const QString report = simulated::leakReport();
    QVERIFY2(report.isEmpty(), qPrintable(report));
}
} // namespace

class TestApplicationIdentity : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { simulated::reset(); }
    void cleanup() { verifyNothingIsLeft(); }

    void sourcesInOrder_data()
    {
        QTest::addColumn<int>("missing");
        QTest::addColumn<QString>("name");
        QTest::newRow("package") << 0 << "Packaged";
        QTest::newRow("version information") << 1 << "Described";
        QTest::newRow("module") << 2 << "module.exe";
        QTest::newRow("list of processes") << 3 << "listed.exe";
        QTest::newRow("nothing") << 4 << "";
    }
    void sourcesInOrder()
    {
        QFETCH(int, missing);
        simulated::setPackage({fullName, installPath, "Packaged"});
        Application application = wholeApplication();
        if (missing > 0)
            application.packageFullName.clear();
        if (missing > 1)
            application.version.clear();
        if (missing > 2)
            application.moduleName.clear();
        if (missing > 3)
            application.listedName.clear();
        simulated::setApplication(application);
        QTEST(applicationName(pid), "name");
    }

    void aKnownNameAsksNothingMore()
    {
        setPackageName("Packaged");
        QCOMPARE(applicationName(pid), "Packaged");
        QCOMPARE(simulated::countCalls("QueryFullProcessImageNameW"), 0);
        QCOMPARE(simulated::countCalls("K32EnumProcessModules"), 0);
        QCOMPARE(simulated::countCalls("CreateToolhelp32Snapshot"), 0);
    }

    void processZeroHasNoName()
    {
        Application application = wholeApplication();
        application.processId = 0;
        simulated::setApplication(application);
        QCOMPARE(applicationName(0), QString());
        QCOMPARE(applicationFileName(0), QString());
        QCOMPARE(simulated::calls(), QStringList());
    }

    void versionKeysInOrder_data()
    {
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QString>("name");
        const QStringList all{"FileDescription", "ProductName", "OriginalFilename"};
        QTest::newRow("description") << all << "text of FileDescription";
        QTest::newRow("product") << all.mid(1) << "text of ProductName";
        QTest::newRow("file name") << all.mid(2) << "text of OriginalFilename";
        QTest::newRow("another key") << QStringList{"CompanyName"} << "";
    }
    void versionKeysInOrder()
    {
        QFETCH(QStringList, keys);
        Application application = classicApplication();
        application.version.clear();
        for (const QString &key : keys)
            application.version.append({key, "text of " + key});
        simulated::setApplication(application);
        QTEST(getVersionInfoName(pid), "name");
    }

    void anEmptyDescriptionIsPassedOver()
    {
        Application application = classicApplication();
        application.version.first().second.clear();
        simulated::setApplication(application);
        QCOMPARE(getVersionInfoName(pid), "Product");
    }

    void theFirstTranslationIsUsed()
    {
        simulated::setApplication(classicApplication());
        QCOMPARE(getVersionInfoName(pid), "Described");
        QVERIFY(simulated::calls().contains(
            "VerQueryValueW \\StringFileInfo\\040904b0\\FileDescription"));
        QCOMPARE(simulated::countCalls("VerQueryValueW"), 2);
    }

    void aShortTranslationTableIsNone()
    {
        simulated::setApplication(classicApplication());
        simulated::setTranslationBytes(3);
        QCOMPARE(getVersionInfoName(pid), QString());
        simulated::setTranslationBytes(4);
        QCOMPARE(getVersionInfoName(pid), "Described");
    }

    void versionCallsThatFail_data()
    {
        QTest::addColumn<QString>("call");
        QTest::newRow("path") << "QueryFullProcessImageNameW";
        QTest::newRow("size") << "GetFileVersionInfoSizeW";
        QTest::newRow("block") << "GetFileVersionInfoW";
        QTest::newRow("translation") << "VerQueryValueW \\VarFileInfo\\Translation";
    }
    void versionCallsThatFail()
    {
        QFETCH(QString, call);
        simulated::setApplication(classicApplication());
        simulated::failNext(call, ERROR_ACCESS_DENIED);
        QCOMPARE(getVersionInfoName(pid), QString());
        QCOMPARE(simulated::countCalls(call), 1);
    }

    void aProcessIsOpenedWithLessWhenAllIsDenied()
    {
        Application application = classicApplication();
        application.isRestricted = true;
        simulated::setApplication(application);
        QCOMPARE(applicationFileName(pid), path);
        const QStringList opened{QStringLiteral("OpenProcess %1 410").arg(pid),
                                 QStringLiteral("OpenProcess %1 1000").arg(pid)};
        QCOMPARE(simulated::calls().mid(0, 2), opened);
    }

    void aProcessThatCannotBeOpenedIsNamedByTheList()
    {
        Application application = wholeApplication();
        application.isClosed = true;
        simulated::setApplication(application);
        setListed(12, "before.exe");
        setListed(9000, "behind.exe");
        QCOMPARE(GetAppDisplayNameByPid(pid, false), QString());
        QCOMPARE(getVersionInfoName(pid), QString());
        QCOMPARE(getModuleBaseName(pid), QString());
        QCOMPARE(applicationFileName(pid), QString());
        QCOMPARE(applicationName(pid), "listed.exe");
    }

    void aFileNameOfTooManyCharactersIsNone()
    {
        Application application = classicApplication();
        application.imagePath = QString(260, u'x');
        simulated::setApplication(application);
        QCOMPARE(applicationFileName(pid), QString());
        application.imagePath = QString(259, u'x');
        simulated::setApplication(application);
        QCOMPARE(applicationFileName(pid), application.imagePath);
    }

    void aModuleThatDoesNotTellItsNameIsUnknown()
    {
        simulated::setApplication(classicApplication());
        simulated::failNext("K32GetModuleBaseNameW", ERROR_ACCESS_DENIED);
        QCOMPARE(getModuleBaseName(pid), "<unknown>");
    }

    void modulesThatCannotBeListedGiveNothing()
    {
        simulated::setApplication(classicApplication());
        simulated::failNext("K32EnumProcessModules", ERROR_ACCESS_DENIED);
        QCOMPARE(getModuleBaseName(pid), QString());
        QCOMPARE(simulated::countCalls("K32GetModuleBaseNameW"), 0);
    }

    void listCallsThatFail_data()
    {
        QTest::addColumn<QString>("call");
        QTest::newRow("snapshot") << "CreateToolhelp32Snapshot";
        QTest::newRow("first") << "Process32FirstW";
        QTest::newRow("next") << "Process32NextW";
    }
    void listCallsThatFail()
    {
        QFETCH(QString, call);
        setListed(12, "before.exe");
        simulated::setApplication(wholeApplication());
        simulated::failNext(call, ERROR_ACCESS_DENIED);
        QCOMPARE(getSnapshotExeName(pid), QString());
        QCOMPARE(getSnapshotExeName(pid), "listed.exe");
    }

    void aLiteralDisplayNameNeedsNoResource()
    {
        setPackageName("Player of the Maker");
        QCOMPARE(GetAppDisplayNameByPid(pid, false), "Player of the Maker");
        QCOMPARE(simulated::countCalls("SHLoadIndirectString"), 0);
        const QStringList calls = simulated::calls();
        const qsizetype create =
            calls.indexOf("CoCreateInstance ManifestDocument IXMLDOMDocument2 1");
        QCOMPARE(calls.indexOf("IXMLDOMDocument2::put_async 0"), create + 1);
        QVERIFY(calls[create + 2].startsWith("IXMLDOMDocument2::setProperty SelectionNamespaces"));
        QCOMPARE(calls[create + 3], "IXMLDOMDocument2::load " + installPath + "\\AppxManifest.xml");
    }

    void onlyTheExactSchemeMeansAResource()
    {
        setPackageName("MS-Resource:AppName");
        QCOMPARE(GetAppDisplayNameByPid(pid, false), "MS-Resource:AppName");
        QCOMPARE(simulated::countCalls("SHLoadIndirectString"), 0);
    }

    void resourceKeys_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("key");
        QTest::newRow("relative") << "ms-resource:AppName"
                                  << "/resources/AppName";
        QTest::newRow("absolute") << "ms-resource:/Foo/Bar"
                                  << "/Foo/Bar";
        QTest::newRow("empty") << "ms-resource:"
                               << "/resources/";
    }
    void resourceKeys()
    {
        QFETCH(QString, name);
        QFETCH(QString, key);
        setPackageName(name);
        simulated::setIndirectString(
            "@{" + installPath + "\\resources.pri?ms-resource:" + key + "}", "Loaded");
        QCOMPARE(GetAppDisplayNameByPid(pid, false), "Loaded");
    }

    void aResourceThatCannotBeLoadedKeepsItsRawText()
    {
        setPackageName("ms-resource:AppName");
        simulated::failNext("SHLoadIndirectString", 0x80073B17);
        const LogCapture log;
        QCOMPARE(applicationName(pid), "ms-resource:AppName");
        QCOMPARE(log.linesOf("Critical"),
                 QStringList("Critical: SHLoadIndirectString failed: \"-7ff8c4e9\""));
    }

    void packageCallsThatFail_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<uint>("code");
        QTest::newRow("no package") << "GetPackageFullName" << 15700u;
        QTest::newRow("full name") << QStringLiteral("GetPackageFullName %1 text").arg(pid) << 5u;
        QTest::newRow("open") << "OpenPackageInfoByFullName" << 1168u;
        QTest::newRow("length") << "GetPackageInfo 16 length" << 5u;
        QTest::newRow("length without need") << "GetPackageInfo 16 length" << 0u;
        QTest::newRow("info") << "GetPackageInfo 16 info" << 5u;
        QTest::newRow("document") << "CoCreateInstance ManifestDocument" << 0x80040154u;
        QTest::newRow("load") << "IXMLDOMDocument2::load" << 0x80004005u;
        QTest::newRow("node") << "IXMLDOMDocument2::selectSingleNode" << 0x80004005u;
        QTest::newRow("text") << "IXMLDOMNode::get_text" << 0x80004005u;
    }
    void packageCallsThatFail()
    {
        QFETCH(QString, call);
        QFETCH(uint, code);
        setPackageName("Packaged");
        simulated::failNext(call, code);
        QCOMPARE(GetAppDisplayNameByPid(pid, false), QString());
        QCOMPARE(simulated::countCalls(call), 1);
        // The next source takes its place, and the next attempt finds it again.
        QCOMPARE(getVersionInfoName(pid), "Described");
        QCOMPARE(GetAppDisplayNameByPid(pid, false), "Packaged");
    }

    void aPackageWithoutManifestHasNoName()
    {
        simulated::setApplication(wholeApplication());
        simulated::setPackage({fullName, installPath, "Packaged", false});
        QCOMPARE(GetAppDisplayNameByPid(pid, false), QString());
        QCOMPARE(simulated::countCalls("IXMLDOMDocument2::selectSingleNode"), 0);
    }

    void installPathOfAPackage()
    {
        setPackageName("Packaged");
        std::wstring result = L"before";
        QVERIFY(!getPackageInstallPath(L"unknown", result));
        QCOMPARE(QString::fromStdWString(result), "before");
        QVERIFY(getPackageInstallPath(fullName.toStdWString(), result));
        QCOMPARE(QString::fromStdWString(result), installPath);
        QCOMPARE(simulated::countCalls("ClosePackageInfo"), 1);
    }

    void thePackageManagerKnowsTheNameToo()
    {
        setPackageName("Packaged");
        QCOMPARE(GetAppDisplayNameByPid(pid, true), "Packaged");
        QVERIFY(simulated::calls().contains("CoInitializeEx 0"));
        QVERIFY(simulated::calls().contains(
            "PackageManager::FindPackageByUserSecurityIdPackageFullName '' " + fullName));
        QCOMPARE(simulated::countCalls("CoCreateInstance"), 0);
    }

    void packageManagerCallsThatFail_data()
    {
        QTest::addColumn<QString>("call");
        for (const char *call :
             {"CoInitializeEx", "WindowsCreateString", "IActivationFactory::ActivateInstance",
              "PackageManager::FindPackageByUserSecurityIdPackageFullName",
              "Package2::get_DisplayName"})
            QTest::newRow(call) << QString(call);
    }
    void packageManagerCallsThatFail()
    {
        QFETCH(QString, call);
        setPackageName("Packaged");
        QCOMPARE(GetAppDisplayNameByPid(pid, true), "Packaged"); // the factory is there from now on
        simulated::failNext(call, 0x80004005);
        const LogCapture log;
        QCOMPARE(GetAppDisplayNameByPid(pid, true), QString());
        QCOMPARE(log.lines().filter("Critical: WinRT error: ").size(), 1);
    }

    void aPackageThatTheManagerLacksIsAnError()
    {
        simulated::setApplication(wholeApplication());
        const LogCapture log;
        QCOMPARE(GetAppDisplayNameByPid(pid, true), QString());
        QCOMPARE(log.lines().filter("Critical: WinRT error: ").size(), 1);
    }
};

// The one factory that is kept for ever is fetched here, at the second attempt.
void TestApplicationIdentity::initTestCase()
{
    setPackageName("Packaged");
    simulated::failNext("RoGetActivationFactory", 0x80040154);
    const LogCapture log;
    QCOMPARE(GetAppDisplayNameByPid(pid, true), QString());
    QCOMPARE(log.lines().filter("Critical: WinRT error: ").size(), 1);
    QCOMPARE(GetAppDisplayNameByPid(pid, true), "Packaged");
    QCOMPARE(GetAppDisplayNameByPid(pid, true), "Packaged");
    QCOMPARE(simulated::countCalls("RoGetActivationFactory"), 2);
}

QTEST_GUILESS_MAIN(TestApplicationIdentity)
#include "tst_applicationidentity.moc"
