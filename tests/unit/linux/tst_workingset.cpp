// Trimming on the running kernel: what it takes out, of whom, and how a refusal is told.
#include "platform/linux/processfiles.h"
#include "platform/vocabulary/processes.h"

#include <QDir>
#include <QFile>
#include <QTemporaryFile>
#include <QTest>

#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

namespace
{
constexpr DWORD trimmingAccess = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ | PROCESS_SET_QUOTA;
constexpr auto asSmallAsCanBe = static_cast<SIZE_T>(-1);
constexpr qint64 fileMiB = 200;
constexpr qint64 pageBytes = 4096;

/// Of a process, in MiB.
qint64 residentMiB(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/statm").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    return file.readAll().split(' ').at(1).toLongLong() * ::sysconf(_SC_PAGESIZE) >> 20;
}

/// Whether the system has any place for pages that belong to no file.
bool hasSwap()
{
    QFile file("/proc/meminfo");
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no /proc");
    const QByteArray text = file.readAll();
    const qsizetype place = text.indexOf("SwapTotal:");
    return place < 0 || text.mid(place + 10).trimmed().split(' ').first() != "0";
}

/// A child that has touched every page of as much memory as told, and waits to be ended.
class Toucher
{
public:
    /// Of a mapped file.
    explicit Toucher(QFile &file) : Toucher(file.handle()) {}
    /// Of no file.
    Toucher() : Toucher(noFile) {}
    ~Toucher() { end(); }
    Toucher(const Toucher &) = delete;
    Toucher &operator=(const Toucher &) = delete;

    void end()
    {
        if (child > 0) {
            ::kill(child, SIGKILL);
            ::waitpid(child, nullptr, 0);
        }
        child = 0;
    }
    [[nodiscard]] DWORD pid() const { return static_cast<DWORD>(child); }

private:
    static constexpr int noFile = -1;

    explicit Toucher(int descriptor)
    {
        int ready[2];
        if (::pipe(ready) != 0)
            qFatal("no pipe");
        child = ::fork();
        if (child == 0)
            touch(descriptor, ready[1]);
        char byte = 0;
        ::close(ready[1]);
        if (::read(ready[0], &byte, 1) != 1)
            qFatal("the child did not touch its memory");
        ::close(ready[0]);
    }

    [[noreturn]] static void touch(int descriptor, int ready)
    {
        const size_t bytes = fileMiB << 20;
        const bool hasFile = descriptor != noFile;
        auto *const memory = static_cast<volatile char *>(
            ::mmap(nullptr, bytes, hasFile ? PROT_READ : PROT_READ | PROT_WRITE,
                   hasFile ? MAP_SHARED : MAP_PRIVATE | MAP_ANONYMOUS, descriptor, 0));
        if (memory == MAP_FAILED)
            ::_exit(1);
        char sum = 0;
        for (size_t offset = 0; offset < bytes; offset += pageBytes) {
            if (!hasFile)
                memory[offset] = 'x';
            sum = static_cast<char>(sum + memory[offset]);
        }
        if (::write(ready, &sum, 1) == 1)
            ::pause();
        ::_exit(0);
    }

    pid_t child = 0;
};

/// Runs on a thread that has lost the right to act for other processes; capabilities are each
/// thread's own.
template <typename Function>
void withoutTheRight(Function function)
{
    std::thread([&] {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct sets[2]{};
        if (::syscall(SYS_capget, &header, sets) != 0)
            qFatal("capget");
        sets[0].effective &= ~(1U << CAP_SYS_NICE);
        if (::syscall(SYS_capset, &header, sets) != 0)
            qFatal("capset");
        function();
    }).join();
}

/// Runs on a thread that the kernel refuses process_madvise altogether, as older ones do without
/// the right, for the own process too. False where the kernel knows no such filters.
template <typename Function>
bool whereTheKernelRefuses(Function function)
{
    bool isRefused = false;
    std::thread([&] {
        sock_filter rules[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_process_madvise, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        sock_fprog program{static_cast<unsigned short>(std::size(rules)), rules};
        isRefused = ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                    ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
        if (isRefused)
            function();
    }).join();
    return isRefused;
}
} // namespace

class tst_workingset : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // On a disk, and written out: only then can the kernel drop its pages.
        file.setFileTemplate(QCoreApplication::applicationDirPath() + "/tst_workingset-XXXXXX");
        QVERIFY(file.open());
        const QByteArray block(1 << 20, 'x');
        for (qint64 index = 0; index < fileMiB; ++index)
            QCOMPARE(file.write(block), block.size());
        QVERIFY(file.flush());
        QCOMPARE(::fsync(file.handle()), 0);
    }

    void aTrimTakesTheFilePagesOfAnotherProcessOut()
    {
        const Toucher child(file);
        const HANDLE process = OpenProcess(trimmingAccess, FALSE, child.pid());
        if (!process)
            QSKIP(qPrintable(refusal("opening the child for trimming")));
        const qint64 before = residentMiB(child.pid());
        QVERIFY2(before >= fileMiB, qPrintable(QString::number(before)));
        const BOOL trimmed = SetProcessWorkingSetSize(process, asSmallAsCanBe, asSmallAsCanBe);
        const QString reason = refusal("trimming the child");
        CloseHandle(process);
        if (!trimmed)
            QSKIP(qPrintable(reason));
        const qint64 after = residentMiB(child.pid());
        qInfo("resident memory of the child: %lld MiB before the trim, %lld MiB after", before,
              after);
        QVERIFY2(after < fileMiB / 10, qPrintable(QString::number(after)));
    }

    void withoutSwapPagesOfNoFileStayAndThatIsSuccess()
    {
        if (hasSwap())
            QSKIP("this system has swap");
        const Toucher child;
        const HANDLE process = OpenProcess(trimmingAccess, FALSE, child.pid());
        if (!process)
            QSKIP(qPrintable(refusal("opening the child for trimming")));
        const BOOL trimmed = SetProcessWorkingSetSize(process, asSmallAsCanBe, asSmallAsCanBe);
        const qint64 after = residentMiB(child.pid());
        CloseHandle(process);
        QVERIFY(trimmed);
        QVERIFY2(after >= fileMiB, qPrintable(QString::number(after)));
    }

    void ourOwnProcessNeedsNoRight()
    {
        BOOL trimmed = FALSE;
        const auto trim = [&] {
            const HANDLE self = OpenProcess(trimmingAccess, FALSE, GetCurrentProcessId());
            trimmed = SetProcessWorkingSetSize(self, asSmallAsCanBe, asSmallAsCanBe);
            CloseHandle(self);
        };
        assertTakesNothingOut([&] { withoutTheRight(trim); });
        QVERIFY(trimmed);
    }

    void ourOwnProcessNeedsNoNewKernel()
    {
        BOOL trimmed = FALSE;
        bool isRefused = false;
        bool isOtherOpened = false;
        const auto trim = [&] {
            const HANDLE self = OpenProcess(trimmingAccess, FALSE, GetCurrentProcessId());
            trimmed = SetProcessWorkingSetSize(self, asSmallAsCanBe, asSmallAsCanBe);
            CloseHandle(self);
            const HANDLE other = OpenProcess(trimmingAccess, FALSE, DWORD(::getppid()));
            isOtherOpened = other && CloseHandle(other);
        };
        assertTakesNothingOut([&] {
            isRefused = whereTheKernelRefuses(trim);
            if (!isRefused)
                trim();
        });
        if (!isRefused)
            QSKIP("this kernel has no filters for system calls");
        QVERIFY(trimmed);
        QVERIFY(!isOtherOpened);
    }

    void anotherProcessNeedsTheRight()
    {
        const Toucher child(file);
        withoutTheRight([&] {
            QVERIFY(!OpenProcess(trimmingAccess, FALSE, child.pid()));
            QCOMPARE(GetLastError(), ERROR_ACCESS_DENIED);
            const HANDLE process =
                OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, child.pid());
            QVERIFY(process);
            CloseHandle(process);
        });
    }

    void aHandleThatWasNotOpenedForItDoesNotTrim()
    {
        const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, GetCurrentProcessId());
        QVERIFY(process);
        QVERIFY(!SetProcessWorkingSetSize(process, asSmallAsCanBe, asSmallAsCanBe));
        QCOMPARE(GetLastError(), ERROR_ACCESS_DENIED);
        CloseHandle(process);
        QVERIFY(!SetProcessWorkingSetSize(process, asSmallAsCanBe, asSmallAsCanBe));
        QCOMPARE(GetLastError(), ERROR_INVALID_HANDLE);
    }

    void bytesAreNotOrdered()
    {
        const HANDLE process = OpenProcess(trimmingAccess, FALSE, GetCurrentProcessId());
        QVERIFY(process);
        QVERIFY(!SetProcessWorkingSetSize(process, 1 << 20, asSmallAsCanBe));
        QCOMPARE(GetLastError(), ERROR_INVALID_PARAMETER);
        QVERIFY(!SetProcessWorkingSetSize(process, asSmallAsCanBe, 1 << 20));
        QCOMPARE(GetLastError(), ERROR_INVALID_PARAMETER);
        CloseHandle(process);
    }

    void aProcessThatHasEndedIsNotTrimmed()
    {
        Toucher child(file);
        const DWORD pid = child.pid();
        const HANDLE process = OpenProcess(trimmingAccess, FALSE, pid);
        if (!process)
            QSKIP(qPrintable(refusal("opening the child for trimming")));
        child.end();
        QVERIFY(!SetProcessWorkingSetSize(process, asSmallAsCanBe, asSmallAsCanBe));
        QCOMPARE(GetLastError(), ERROR_INVALID_PARAMETER);
        QVERIFY(CloseHandle(process));
        QVERIFY(!OpenProcess(trimmingAccess, FALSE, pid));
        QCOMPARE(GetLastError(), ERROR_INVALID_PARAMETER);
        QVERIFY(!OpenProcess(trimmingAccess, FALSE, 0));
        QCOMPARE(GetLastError(), ERROR_INVALID_PARAMETER);
    }

    void regionsAreReadToTheirEnds()
    {
        const auto regions = processfiles::memoryRegions(DWORD(::getpid()));
        const auto inside = [&](const void *address) {
            const auto place = reinterpret_cast<quintptr>(address);
            return std::count_if(regions.begin(), regions.end(), [&](const auto &region) {
                return region.first <= place && place < region.second;
            });
        };
        const int onTheStack = 0;
        QCOMPARE(inside(&onTheStack), 1);
        QCOMPARE(inside(&fileMiB), 1);
        QCOMPARE(inside(nullptr), 0);
        QVERIFY(std::is_sorted(regions.begin(), regions.end()));
        QVERIFY(processfiles::memoryRegions(0).isEmpty());
    }

    void handlesLeaveNoDescriptorBehind()
    {
        const auto descriptors = [] {
            return QDir("/proc/self/fd").entryList(QDir::Files | QDir::System).size();
        };
        const auto before = descriptors();
        for (int round = 0; round < 100; ++round)
            CloseHandle(OpenProcess(trimmingAccess, FALSE, GetCurrentProcessId()));
        QCOMPARE(descriptors(), before);
    }

private:
    /// Maps and touches the file, and looks at what a trim of ourselves leaves of it: audio threads
    /// must not wait for pages to come back.
    template <typename Function>
    void assertTakesNothingOut(Function trim)
    {
        void *const memory =
            ::mmap(nullptr, fileMiB << 20, PROT_READ, MAP_SHARED, file.handle(), 0);
        QVERIFY(memory != MAP_FAILED);
        for (qint64 offset = 0; offset < fileMiB << 20; offset += pageBytes)
            sum += static_cast<const volatile char *>(memory)[offset];
        const qint64 before = residentMiB(::getpid());
        trim();
        const qint64 after = residentMiB(::getpid());
        ::munmap(memory, fileMiB << 20);
        QVERIFY2(before - after < fileMiB / 10,
                 qPrintable(QStringLiteral("%1 MiB before, %2 after").arg(before).arg(after)));
    }

    static QString refusal(const char *what)
    {
        return QStringLiteral("the kernel or our rights refuse %1: error %2")
            .arg(QLatin1StringView(what))
            .arg(GetLastError());
    }

    QTemporaryFile file;
    int sum = 0;
};

QTEST_GUILESS_MAIN(tst_workingset)
#include "tst_workingset.moc"
