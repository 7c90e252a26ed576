// Which sessions are never shown.
#include "sessions/sessionfilter.h"

#include <QTest>

class TestSessionFilter : public QObject
{
    Q_OBJECT

private slots:
    void hides_data()
    {
        QTest::addColumn<int>("processId");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("hidden");
        const auto row = [](const char *tag, int processId, const QString &name,
                            const QString &path, bool hidden) {
            QTest::newRow(tag) << processId << name << path << hidden;
        };
        const QString elsewhere = "C:\\Programs\\player.exe";
        row("a player", 7, "Player", elsewhere, false);
        row("a player without a path", 7, "Player", "", false);
        row("no process", 0, "Player", elsewhere, true);
        row("this program", 7, "Player", "C:\\Own\\Program.exe", true);
        row("this program in another case", 7, "Player", "C:\\own\\program.exe", false);
        row("no name", 7, "", elsewhere, true);

        row("explorer.exe", 7, "explorer.exe", elsewhere, true);
        row("Explorer.EXE", 7, "Explorer.EXE", elsewhere, true);
        row("EXPLORER.EXE", 7, "EXPLORER.EXE", elsewhere, true);
        row("Explorer.exe, another spelling", 7, "Explorer.exe", elsewhere, false);
        row("another spelling, by its path", 7, "Shell", "C:\\Windows\\eXpLoReR.exe", true);
        row("part of a file name", 7, "Shell", "C:\\Windows\\myexplorer.exe", false);
        row("explorer as a directory", 7, "Shell", "C:\\explorer.exe\\a.exe", false);

        row("rundll32.exe", 7, "rundll32.exe", elsewhere, true);
        row("Rundll32.exe", 7, "Rundll32.exe", elsewhere, false);
        row("rundll32 by its path", 7, "Host", "C:\\Windows\\RUNDLL32.EXE", true);
        row("ShellHost.exe", 7, "ShellHost.exe", elsewhere, true);
        row("shellhost.exe", 7, "shellhost.exe", elsewhere, false);
        row("ShellHost by its path", 7, "Host", "C:\\Windows\\shellhost.exe", true);
        row("SystemSettings.exe", 7, "SystemSettings.exe", elsewhere, true);
        row("systemsettings.exe", 7, "systemsettings.exe", elsewhere, false);
        row("SystemSettings by its path", 7, "Host", "C:\\Windows\\systemsettings.EXE", true);
    }
    void hides()
    {
        QFETCH(int, processId);
        QFETCH(QString, name);
        QFETCH(QString, path);
        QTEST(isHiddenSession(processId, name, path, "C:\\Own\\Program.exe"), "hidden");
    }
};

QTEST_APPLESS_MAIN(TestSessionFilter)
#include "tst_sessionfilter.moc"
