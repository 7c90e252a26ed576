// Telling of a dump from a thread that has not crashed.
#include "platform/crashannouncer.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSemaphore>
#include <QThread>
#include <QtTest>

#include <memory>

namespace
{

using Announcer = CrashAnnouncer<const char *>;

/// Announcers are never destroyed; the test keeps what they need for as long.
template <typename T>
T &forEver()
{
    static T *const instance = new T;
    return *instance;
}

int announcersThreads()
{
    int count = 0;
    const QDir threads(QStringLiteral("/proc/self/task"));
    for (const QString &thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile name(threads.filePath(thread + QStringLiteral("/comm")));
        if (name.open(QIODevice::ReadOnly) && name.readAll() == "crash-announcer\n")
            ++count;
    }
    return count;
}

} // namespace

class TestCrashAnnouncer : public QObject
{
    Q_OBJECT

private slots:
    // First, before other tests' announcers: whoever crashes now has it at hand.
    void standsReadyFromTheBeginning()
    {
        QCOMPARE(announcersThreads(), 0);
        new Announcer([](const char *, bool isWritten) { return isWritten; });
        QCOMPARE(announcersThreads(), 1);
    }

    void resultIsTheAnnouncements_data()
    {
        QTest::addColumn<bool>("succeeded");
        QTest::addColumn<bool>("answer");
        for (const bool succeeded : {false, true})
            for (const bool answer : {false, true})
                QTest::addRow("%d %d", succeeded, answer) << succeeded << answer;
    }

    void resultIsTheAnnouncements()
    {
        QFETCH(bool, succeeded);
        QFETCH(bool, answer);
        struct Told
        {
            std::string path;
            bool succeeded = false;
            QThread *thread = nullptr;
        };
        const auto told = std::make_shared<Told>();
        auto *announcer = new Announcer([told, answer](const char *path, bool isWritten) {
            *told = {path, isWritten, QThread::currentThread()};
            return answer;
        });
        QCOMPARE(announcer->announce("/dumps/1.dmp", succeeded), answer);
        QCOMPARE(told->path, std::string("/dumps/1.dmp"));
        QCOMPARE(told->succeeded, succeeded);
        QVERIFY(told->thread != QThread::currentThread());
        // Another handler's turn after a refusal comes to the same announcer.
        QCOMPARE(announcer->announce("/dumps/2.dmp", !succeeded), answer);
        QCOMPARE(told->path, std::string("/dumps/2.dmp"));
    }

    void announcementThatHangsIsLeft_data()
    {
        QTest::addColumn<bool>("succeeded");
        QTest::newRow("written") << true;
        QTest::newRow("failed") << false;
    }

    void announcementThatHangsIsLeft()
    {
        QFETCH(bool, succeeded);
        auto *announcer = new Announcer([succeeded](const char *, bool) {
            forEver<QSemaphore>().acquire(); // like a lock that the crashed thread holds
            return !succeeded;
        });
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(announcer->announce("/dumps/1.dmp", succeeded), succeeded);
        QVERIFY(timer.elapsed() >= Announcer::longestAnnouncement.count());
    }
};

QTEST_GUILESS_MAIN(TestCrashAnnouncer)
#include "tst_crashannouncer.moc"
