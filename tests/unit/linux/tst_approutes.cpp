// The store of applications' own endpoints, and the tree of settings that it is read as.
#include "platform/pipewire/approutes.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

namespace
{
const QString player = "/opt/Some Player/bin/player";
const QString speakers = "{0.0.0.00000000}.{11111111-2222-3333-4444-555555555555}";
const QString microphone = "{0.0.1.00000000}.{66666666-7777-8888-9999-000000000000}";
const QString longSpeakers =
    R"(\\?\SWD#MMDEVAPI#)" + speakers + "#{e6327cad-dcec-4949-ae8a-991e976a79d2}";
const QString longMicrophone =
    R"(\\?\SWD#MMDEVAPI#)" + microphone + "#{2eef81be-33fa-4800-9670-1cd474972c3f}";

/// The groups of the tree, by their value ".".
QMap<QString, QMap<QString, QString>> groups()
{
    const QMap<QString, QVariant> values = approutes::settings();
    QMap<QString, QMap<QString, QString>> result;
    for (auto each = values.begin(); each != values.end(); ++each) {
        const QString group = each.key().section('/', 0, 0);
        const QString application = values.value(group + "/.").toString();
        result[application].insert(each.key().section('/', 1), each->toString());
    }
    return result;
}
} // namespace

class TestAppRoutes : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        folder = std::make_unique<QTemporaryDir>();
        qputenv("XDG_STATE_HOME", folder->path().toUtf8());
        approutes::reload();
    }

    void nothingIsKnownAtFirst()
    {
        QCOMPARE(approutes::route(player, eRender, eConsole), QString());
        QVERIFY(approutes::settings().isEmpty());
        // Who only asks leaves no file.
        QVERIFY(!QFileInfo::exists(file()));
    }

    void directionsAndRolesStandApart()
    {
        approutes::setRoute({player, {}}, eRender, eMultimedia, speakers);
        QCOMPARE(approutes::route(player, eRender, eMultimedia), speakers);
        QCOMPARE(approutes::route(player, eRender, eConsole), QString());
        QCOMPARE(approutes::route(player, eCapture, eMultimedia), QString());
        QCOMPARE(approutes::route(player + "2", eRender, eMultimedia), QString());
        approutes::setRoute({player, {}}, eCapture, eMultimedia, microphone);
        QCOMPARE(approutes::route(player, eRender, eMultimedia), speakers);
        QCOMPARE(approutes::route(player, eCapture, eMultimedia), microphone);
    }

    void routesOutliveTheProgram()
    {
        approutes::setRoute({player, {"Player", "Musik, \"laut\"; ж"}}, eRender, eConsole,
                            speakers);
        approutes::setRoute({"/usr/bin/other", {}}, eCapture, eConsole, microphone);
        const auto before = approutes::settings();
        approutes::reload();
        QCOMPARE(approutes::route(player, eRender, eConsole), speakers);
        QCOMPARE(approutes::route("/usr/bin/other", eCapture, eConsole), microphone);
        QCOMPARE(approutes::settings(), before);
    }

    void endedRouteIsEmpty()
    {
        approutes::setRoute({player, {}}, eRender, eConsole, speakers);
        approutes::setRoute({player, {}}, eRender, eConsole, {});
        for (const bool isFresh : {false, true}) {
            if (isFresh)
                approutes::reload();
            QCOMPARE(approutes::route(player, eRender, eConsole), QString());
            // The application is known still, and follows the default.
            QCOMPARE(groups().first().value("000_000", "none"), QString());
        }
    }

    void treeHasTheShapeOfTheRegistry()
    {
        approutes::setRoute({player, {}}, eRender, eConsole, speakers);
        approutes::setRoute({player, {}}, eRender, eMultimedia, speakers);
        approutes::setRoute({player, {}}, eCapture, eCommunications, microphone);
        const QString application = R"(\Device\HarddiskVolume1\opt\Some Player\bin\player)";
        const QMap<QString, QString> group{{".", application},
                                           {"000_000", longSpeakers},
                                           {"000_001", longSpeakers},
                                           {"001_002", longMicrophone}};
        QCOMPARE(groups(), (QMap<QString, QMap<QString, QString>>{{application, group}}));
    }

    void eachNameHasAGroup()
    {
        // The executable's own name ends the path already, in whatever case.
        approutes::setRoute({player, {"Player", "Music", "PLAYER"}}, eRender, eConsole, speakers);
        const QString path = R"(\Device\HarddiskVolume1\opt\Some Player\bin\player)";
        QCOMPARE(groups().keys(), QStringList({path, path + R"(\Music)"}));
        for (const auto &group : groups())
            QCOMPARE(group.value("000_000"), longSpeakers);
        // The names are those of the last time.
        approutes::setRoute({player, {"Tunes"}}, eRender, eConsole, speakers);
        QCOMPARE(groups().keys(), QStringList({path, path + R"(\Tunes)"}));
    }

    void longForms_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<EDataFlow>("flow");
        QTest::addColumn<QString>("text");
        QTest::newRow("output") << speakers << eRender << longSpeakers;
        QTest::newRow("input") << microphone << eCapture << longMicrophone;
        QTest::newRow("none") << QString() << eRender << QString();
    }

    void longForms()
    {
        QFETCH(const QString, id);
        QFETCH(const EDataFlow, flow);
        QFETCH(const QString, text);
        QCOMPARE(approutes::longForm(id, flow), text);
        QCOMPARE(approutes::endpointOfLongForm(text), id);
    }

    void otherTextsAreNoLongForm_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("short form") << speakers;
        QTest::newRow("another bus") << R"(\\?\USB#MMDEVAPI#)" + speakers;
        QTest::newRow("prefix alone") << R"(\\?\SWD#MMDEVAPI#)";
        QTest::newRow("case") << R"(\\?\swd#MMDEVAPI#)" + speakers + "#{}";
    }

    void otherTextsAreNoLongForm()
    {
        QFETCH(const QString, text);
        QCOMPARE(approutes::endpointOfLongForm(text), QString());
    }

    void damagedFileIsNoRoute()
    {
        approutes::setRoute({player, {}}, eRender, eConsole, speakers);
        QFile damaged(file());
        QVERIFY(damaged.open(QIODevice::WriteOnly));
        constexpr char rubbish[] = "[applications\n\0size=\xff\xffmany\n1\\endpoints";
        damaged.write(rubbish, sizeof rubbish - 1);
        damaged.close();
        approutes::reload();
        QCOMPARE(approutes::route(player, eRender, eConsole), QString());
        // And it is written anew.
        approutes::setRoute({player, {}}, eRender, eConsole, microphone);
        approutes::reload();
        QCOMPARE(approutes::route(player, eRender, eConsole), microphone);
    }

    void folderThatCannotBeWrittenForgetsAtTheEnd()
    {
        qputenv("XDG_STATE_HOME", "/proc/nowhere");
        approutes::reload();
        approutes::setRoute({player, {}}, eRender, eConsole, speakers);
        QCOMPARE(approutes::route(player, eRender, eConsole), speakers);
        approutes::reload();
        QCOMPARE(approutes::route(player, eRender, eConsole), QString());
    }

    void withoutAStateFolderTheHomeHasOne()
    {
        qunsetenv("XDG_STATE_HOME");
        const QByteArray home = qgetenv("HOME");
        qputenv("HOME", folder->path().toUtf8());
        approutes::setRoute({player, {}}, eRender, eConsole, speakers);
        qputenv("HOME", home);
        QVERIFY(QFileInfo::exists(folder->path() + "/.local/state/quorvane/app-routes.ini"));
    }

    void threadsMayCallTogether()
    {
        const auto work = [](const QString &executable) {
            for (int round = 0; round < 20; ++round) {
                approutes::setRoute({executable, {}}, eRender, eConsole, speakers);
                static_cast<void>(approutes::settings());
            }
        };
        std::thread first(work, QString("/bin/a"));
        std::thread second(work, QString("/bin/b"));
        first.join();
        second.join();
        approutes::reload();
        QCOMPARE(groups().size(), 2);
    }

private:
    [[nodiscard]] QString file() const { return folder->path() + "/quorvane/app-routes.ini"; }

    std::unique_ptr<QTemporaryDir> folder;
};

QTEST_GUILESS_MAIN(TestAppRoutes)
#include "tst_approutes.moc"
