// Preloaded into a program under test: makes a thread of it crash, each way in a function of a
// telling name, when the thread gets the real-time signal for it. The program itself has no way in.
#include <dlfcn.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

// Their names are what a dump is searched for.
#define TELLING extern "C" __attribute__((noinline, visibility("default")))

namespace
{

volatile int *volatile nowhere = nullptr;
/// The thread whose next conversion to local time crashes, as the log's lines ask for one.
volatile pid_t threadToCrashInLog = 0;

} // namespace

TELLING void crash_by_null_write()
{
    *nowhere = 1;
}

TELLING void crash_by_abort()
{
    std::abort();
}

TELLING int crash_by_stack_overflow(int depth)
{
    volatile char frame[4000];
    frame[0] = char(depth);
    const int below = crash_by_stack_overflow(depth + 1);
    return below + frame[0];
}

TELLING void crash_holding_the_log()
{
    *nowhere = 2;
}

TELLING void crash_at_exit()
{
    *nowhere = 3;
}

TELLING void crash_in_early_start()
{
    *nowhere = 4;
}

TELLING void crash_in_second_instance()
{
    *nowhere = 5;
}

/// Called by the code that forms a line of the log, for the first one in each second.
TELLING struct tm *localtime_r(const time_t *time, struct tm *result)
{
    if (threadToCrashInLog != 0 && threadToCrashInLog == gettid())
        crash_holding_the_log();
    using LocalTime = struct tm *(*)(const time_t *, struct tm *);
    static const auto real = reinterpret_cast<LocalTime>(dlsym(RTLD_NEXT, "localtime_r"));
    return real(time, result);
}

namespace
{

void crashInLogSoon()
{
    threadToCrashInLog = gettid();
}

/// Writes "thread ID, size of its signal stack" to the file that CRASHES_REPORT names.
void reportSignalStack()
{
    stack_t stack{};
    sigaltstack(nullptr, &stack);
    const bool isThere = (stack.ss_flags & SS_DISABLE) == 0;
    std::array<char, 64> line{};
    const int length = std::snprintf(line.data(), line.size(), "%d %zu\n", int(gettid()),
                                     isThere ? std::size_t(stack.ss_size) : std::size_t(0));
    std::FILE *file = std::fopen(std::getenv("CRASHES_REPORT"), "a");
    std::fwrite(line.data(), 1, std::size_t(length), file);
    std::fclose(file);
}

void overflow()
{
    crash_by_stack_overflow(0);
}

/// In the order of the signals, from SIGRTMIN + 10 on; crashes.py has the same.
constexpr std::array actions{&crash_by_null_write, &crash_by_abort, &overflow, &crashInLogSoon,
                             &reportSignalStack};
constexpr int firstSignal = 10;

void onSignal(int signal)
{
    actions[std::size_t(signal - SIGRTMIN - firstSignal)]();
}

bool isMoment(const char *name)
{
    const char *moment = std::getenv("CRASHES_MOMENT");
    return moment && std::strcmp(moment, name) == 0;
}

struct Beginning
{
    void *(*function)(void *);
    void *argument;
};

/// The calling thread has begun late, and has not told anybody yet.
thread_local bool isYoung = false;

/// Lets the others go on for a while.
void nap()
{
    constexpr timespec aWhile{0, 50'000'000};
    nanosleep(&aWhile, nullptr);
}

void *beginLate(void *data)
{
    const Beginning beginning = *static_cast<Beginning *>(data);
    delete static_cast<Beginning *>(data);
    isYoung = true;
    nap();
    return beginning.function(beginning.argument);
}

/// Waits in the kernel for a child that does nothing: no signal but SIGKILL reaches the thread.
void *waitForAChild(void *)
{
    if (vfork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // gone with the thread
        while (true)
            pause();
    }
    return nullptr;
}

[[gnu::constructor]] void listen()
{
    struct sigaction action
    {
    };
    action.sa_handler = &onSignal;
    action.sa_flags = SA_RESTART; // on the thread's own stack
    for (std::size_t i = 0; i < actions.size(); ++i)
        sigaction(SIGRTMIN + firstSignal + int(i), &action, nullptr);
    // Runs after the ends of all static objects of the program, which are registered later.
    if (isMoment("exit"))
        std::atexit(&crash_at_exit);
    if (isMoment("unstoppable thread")) {
        pthread_t thread{};
        pthread_create(&thread, nullptr, &waitForAChild, nullptr);
    }
}

} // namespace

/// A thread that is waited for until it says that it runs is late after that, too.
TELLING int pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    using Unlock = decltype(&pthread_mutex_unlock);
    static const auto real = reinterpret_cast<Unlock>(dlsym(RTLD_NEXT, "pthread_mutex_unlock"));
    const int result = real(mutex);
    if (isYoung) {
        isYoung = false;
        nap();
    }
    return result;
}

TELLING int pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                           void *(*function)(void *), void *argument)
{
    using Create = decltype(&pthread_create);
    static const auto real = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    if (!isMoment("late threads"))
        return real(thread, attributes, function, argument);
    auto *beginning = new Beginning{function, argument};
    const int result = real(thread, attributes, &beginLate, beginning);
    if (result != 0)
        delete beginning;
    return result;
}

/// The application object looks for its platform's plug-in before anything else of it stands.
TELLING void *dlopen(const char *path, int flags)
{
    if (path && std::strstr(path, "/platforms/") && isMoment("early start"))
        crash_in_early_start();
    using Open = void *(*)(const char *, int);
    static const auto real = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "dlopen"));
    return real(path, flags);
}

/// A second instance looks for the first.
TELLING int connect(int socket, const sockaddr *address, socklen_t length)
{
    if (address->sa_family == AF_UNIX && isMoment("second instance") &&
        std::strstr(reinterpret_cast<const sockaddr_un *>(address)->sun_path, "LocalServer"))
        crash_in_second_instance();
    using Connect = int (*)(int, const sockaddr *, socklen_t);
    static const auto real = reinterpret_cast<Connect>(dlsym(RTLD_NEXT, "connect"));
    return real(socket, address, length);
}
