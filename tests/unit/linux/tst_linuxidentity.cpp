// The names of applications by this system's own means, in the order that all systems share, from
// process files and desktop entries that the test writes.
#include "platform/linux/processfiles.h"
#include "sessions/applicationidentity.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace
{
constexpr quint32 pid = 4711;

class Place
{
public:
    Place()
    {
        qputenv("XDG_DATA_HOME", QFile::encodeName(folder.filePath("data")));
        processfiles::setRoot(folder.filePath("proc/"));
        program = folder.filePath("bin/player");
        write("bin/player", "");
        QFile::setPermissions(program, QFile::ReadOwner | QFile::ExeOwner);
        write("proc/4711/comm", "short\n");
        write("proc/1/comm", "init\n");
        QFile::link(program, folder.filePath("proc/4711/exe"));
    }
    ~Place() { processfiles::setRoot("/proc/"); }

    void write(const QString &name, const QByteArray &text) const
    {
        const QString path = folder.filePath(name);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    void writeEntry(const QString &id, const QByteArray &lines) const
    {
        write("data/applications/" + id + ".desktop", "[Desktop Entry]\n" + lines);
    }
    /// What the process can't be looked into for others is a dangling name here.
    void hideExecutable() const { QFile::remove(folder.filePath("proc/4711/exe")); }

    QTemporaryDir folder;
    QString program;
};
} // namespace

class tst_linuxidentity : public QObject
{
    Q_OBJECT

private slots:
    void sourcesInOrder()
    {
        const Place place;
        const QByteArray exec = "Exec=" + place.program.toUtf8() + " %U\n";
        QCOMPARE(applicationName(pid), "player");
        QCOMPARE(applicationFileName(pid), place.program);
        place.writeEntry("any", "Name=Any Player\nGenericName=Player of Anything\n" + exec);
        QCOMPARE(applicationName(pid), "Any Player");
        place.writeEntry("org.maker.Player", "Name=Maker's Player\n");
        place.write("proc/4711/cgroup",
                    "0::/user.slice/app.slice/app-gnome-org.maker.Player-812.scope\n");
        QCOMPARE(applicationName(pid), "Maker's Player");
        place.writeEntry("org.box.Player", "Name=Boxed Player\n");
        place.write("proc/4711/root/.flatpak-info",
                    "[Application]\nruntime=r\nname=org.box.Player\n[Instance]\nname=other\n");
        QCOMPARE(applicationName(pid), "Boxed Player");
    }

    void aClosedProcessIsNamedByTheTable()
    {
        const Place place;
        place.hideExecutable();
        QCOMPARE(applicationFileName(pid), QString());
        QCOMPARE(getVersionInfoName(pid), QString());
        QCOMPARE(getModuleBaseName(pid), QString());
        QCOMPARE(applicationName(pid), "short");
    }

    void nobodyHasNoName()
    {
        const Place place;
        QCOMPARE(applicationName(0), QString());
        QCOMPARE(applicationName(815), QString());
        QCOMPARE(applicationFileName(815), QString());
    }

    void theGenericNameStandsInForAMissingOne()
    {
        const Place place;
        place.writeEntry("any", "GenericName=Player of Anything\nExec=" + place.program.toUtf8());
        QCOMPARE(applicationName(pid), "Player of Anything");
    }

    void anInterpreterIsNotNamedByWhatItRuns()
    {
        const Place place;
        place.writeEntry("script", "Name=Script\nExec=" + place.program.toUtf8() + " /a/script\n");
        QCOMPARE(applicationName(pid), "player");
    }

    void theEntryWithTheFewestOptionsCounts()
    {
        const Place place;
        const QByteArray exec = "Exec=" + place.program.toUtf8();
        place.writeEntry("a", "Name=Private\n" + exec + " --private\n");
        place.writeEntry("b", "Name=Plain\n" + exec + " %f\n");
        QCOMPARE(applicationName(pid), "Plain");
    }

    void cgroups_data()
    {
        QTest::addColumn<QByteArray>("cgroup");
        QTest::addColumn<QString>("id");
        const auto row = [](const char *cgroup, const char *id) {
            QTest::newRow(cgroup) << QByteArray("0::/user.slice/") + cgroup + "\n" << id;
        };
        row("app-org.maker.Player-12.scope", "org.maker.Player");
        row("app-kde-org.maker.Player-ab12.scope", "org.maker.Player");
        row("app-gnome-my\\x2dplayer-12.scope", "my-player");
        row("app-org.maker.Player@12ab.service", "org.maker.Player");
        row("app-org.maker.Player.service", "org.maker.Player");
        row("session-2.scope", "");
        row("vte-spawn-1.scope", "");
    }
    void cgroups()
    {
        QFETCH(QByteArray, cgroup);
        const Place place;
        place.write("proc/4711/cgroup", cgroup);
        QTEST(processfiles::desktopId(pid), "id");
    }
};

QTEST_GUILESS_MAIN(tst_linuxidentity)
#include "tst_linuxidentity.moc"
