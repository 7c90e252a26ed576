// Telling of a dump from a thread that has not crashed.
#include "platform/crashannouncer.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSemaphore>
#include <QSet>
#include <QThread>
#include <QtTest>

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>

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

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The folders of all announcers' threads.
QSet<QString> announcersThreads()
{
    QSet<QString> found;
    const QDir threads(QStringLiteral("/proc/self/task"));
    for (const QString &thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        if (contents(threads.filePath(thread + "/comm")) == "crash-announcer\n")
            found << threads.filePath(thread);
    return found;
}

bool sleeps(const QString &thread)
{
    return contents(thread + "/status").contains("\nState:\tS");
}

/// No file can be opened while it lives.
class NoDescriptors
{
public:
    NoDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &usual);
        const int next = ::dup(STDERR_FILENO);
        ::close(next);
        const rlimit full{rlim_t(next), usual.rlim_max};
        setrlimit(RLIMIT_NOFILE, &full);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &usual); }
    NoDescriptors(const NoDescriptors &) = delete;
    NoDescriptors &operator=(const NoDescriptors &) = delete;

private:
    rlimit usual{};
};

} // namespace

class TestCrashAnnouncer : public QObject
{
    Q_OBJECT

private slots:
    // Whoever crashes now has it at hand. Many, since one may be quick by luck.
    void standsReadyFromTheBeginning()
    {
        const auto before = announcersThreads().size();
        for (int made = 1; made <= 20; ++made) {
            new Announcer([](const char *, bool isWritten) { return isWritten; });
            QCOMPARE(announcersThreads().size(), before + made);
        }
    }

    void withoutDescriptorsItSleeps()
    {
        const QSet<QString> before = announcersThreads();
        Announcer *announcer = nullptr;
        {
            const NoDescriptors exhausted;
            announcer = new Announcer([](const char *, bool isWritten) { return !isWritten; });
        }
        QSet<QString> added;
        QTRY_COMPARE((added = announcersThreads() - before).size(), 1);
        QTRY_VERIFY(sleeps(*added.begin()));
        QCOMPARE(announcer->announce("/dumps/1.dmp", true), true);
        QVERIFY(sleeps(*added.begin()));
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

    void signalsDoNotCutTheWaitShort()
    {
        static std::atomic<int> handled;
        struct sigaction counting = {};
        counting.sa_handler = [](int) { ++handled; };
        struct sigaction before = {};
        sigaction(SIGUSR1, &counting, &before);
        const pthread_t waiting = pthread_self();
        auto *announcer = new Announcer([waiting](const char *, bool isWritten) {
            for (int sent = 1; sent <= 20; ++sent) {
                pthread_kill(waiting, SIGUSR1);
                while (handled < sent)
                    std::this_thread::yield();
            }
            return !isWritten;
        });
        QCOMPARE(announcer->announce("/dumps/1.dmp", true), false);
        sigaction(SIGUSR1, &before, nullptr);
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
