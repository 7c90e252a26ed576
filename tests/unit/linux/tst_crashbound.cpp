// The end of a process whose dump does not get written.
#include "platform/linux/crashbound.h"

#include <QTest>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

using namespace std::chrono_literals;

namespace
{
constexpr int wellEnded = 17;

/// Runs in a process of its own; how that ended, as waitpid tells it.
template <typename Function>
int endOfProcess(Function function)
{
    const pid_t child = ::fork();
    if (child == 0) {
        function();
        ::_exit(wellEnded);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        // Stopped for a tracer, as by who writes a dump. Nobody lets it go on.
    }
    return status;
}
} // namespace

class TestCrashBound : public QObject
{
    Q_OBJECT

private slots:
    void whatHangsIsEnded()
    {
        const int status = endOfProcess([] {
            CrashBound bound(1ms);
            bound.begin();
            ::pause();
        });
        QVERIFY(WIFSIGNALED(status));
        QCOMPARE(WTERMSIG(status), SIGKILL);
    }

    void whatIsStoppedIsEnded()
    {
        const int status = endOfProcess([] {
            CrashBound bound(1ms);
            ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            bound.begin();
            ::raise(SIGSTOP);
        });
        QVERIFY(WIFSIGNALED(status));
        QCOMPARE(WTERMSIG(status), SIGKILL);
    }

    void whatIsDoneInTimeGoesOn()
    {
        const int status = endOfProcess([] {
            CrashBound bound(500ms);
            bound.begin();
            bound.end();
            ::usleep(1'000'000); // longer than the bound
        });
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), wellEnded);
    }

    void itIsNotOverBeforeItsTime()
    {
        const int status = endOfProcess([] {
            CrashBound bound(1h);
            bound.begin();
        });
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), wellEnded);
    }
};

QTEST_GUILESS_MAIN(TestCrashBound)
#include "tst_crashbound.moc"
