// The name of a packaged application, read by the system from a manifest.
#include "playedpackage.h"
#include "sessions/applicationidentity.h"
#include "tests/support/logcapture.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

namespace
{
const QByteArray opening = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                           "<Package xmlns=\"http://schemas.microsoft.com/appx/manifest/foundation/"
                           "windows10\" xmlns:other=\"urn:other\">\n";
const QByteArray closing = "</Package>\n";

QByteArray manifestWith(const QByteArray &properties)
{
    return opening + "<Identity Name=\"Maker.Player\"/><Properties>" + properties +
           "</Properties>" + closing;
}
} // namespace

class TestPackageName : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))); }
    void cleanupTestCase() { CoUninitialize(); }
    void cleanup() { playPackage({}); }
    void names_data();
    void names();
    void folderWithoutAManifest();
    void processWithoutAPackage();
    void nameOfTheResourcesStaysRaw();
    void threadWithoutCom();

private:
    /// The name that this process has with that manifest.
    static QString nameWith(const QByteArray &manifest);
    static QString ownName() { return GetAppDisplayNameByPid(GetCurrentProcessId(), false); }
};

QString TestPackageName::nameWith(const QByteArray &manifest)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath("AppxManifest.xml"));
    if (!file.open(QFile::WriteOnly) || file.write(manifest) != manifest.size())
        qFatal("The manifest can't be written");
    file.close();
    playPackage(QDir::toNativeSeparators(folder.path()).toStdWString());
    return ownName();
}

void TestPackageName::names_data()
{
    QTest::addColumn<QByteArray>("manifest");
    QTest::addColumn<QString>("name");
    const QByteArray named = "<DisplayName>Player</DisplayName>";
    QTest::newRow("name") << manifestWith(named) << "Player";
    QTest::newRow("other letters")
        << manifestWith("<DisplayName>播放器 &amp; Söhne</DisplayName>") << "播放器 & Söhne";
    QTest::newRow("among others") << manifestWith("<Logo>logo.png</Logo>" + named +
                                                  "<DisplayName>Second</DisplayName>")
                                  << "Player";
    QTest::newRow("no element") << manifestWith("<Logo>logo.png</Logo>") << "";
    QTest::newRow("empty element") << manifestWith("<DisplayName/>") << "";
    QTest::newRow("of another namespace")
        << manifestWith("<other:DisplayName>Other</other:DisplayName>") << "";
    QTest::newRow("in another place") << opening + named + closing << "";
    QTest::newRow("without a namespace")
        << QByteArray("<Package><Properties>" + named + "</Properties></Package>") << "";
    QTest::newRow("broken") << opening + "<Properties>" + named << "";
    QTest::newRow("no XML") << QByteArray("Player") << "";
    QTest::newRow("empty file") << QByteArray() << "";
}

void TestPackageName::names()
{
    QFETCH(QByteArray, manifest);
    QTEST(nameWith(manifest), "name");
}

void TestPackageName::folderWithoutAManifest()
{
    const QTemporaryDir folder;
    playPackage(QDir::toNativeSeparators(folder.path()).toStdWString());
    QCOMPARE(ownName(), QString());
}

void TestPackageName::processWithoutAPackage()
{
    QCOMPARE(ownName(), QString());
}

void TestPackageName::nameOfTheResourcesStaysRaw()
{
    // The folder has no index of resources.
    const LogCapture log;
    const QString raw = "ms-resource:AppName";
    QCOMPARE(nameWith(manifestWith("<DisplayName>" + raw.toUtf8() + "</DisplayName>")), raw);
    const QStringList lines = log.linesOf("Critical");
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines[0].startsWith("Critical: SHLoadIndirectString failed:"), qPrintable(lines[0]));
}

void TestPackageName::threadWithoutCom()
{
    CoUninitialize();
    const QString name = nameWith(manifestWith("<DisplayName>Player</DisplayName>"));
    QVERIFY(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
    QCOMPARE(name, QString());
}

QTEST_GUILESS_MAIN(TestPackageName)
#include "tst_packagename.moc"
