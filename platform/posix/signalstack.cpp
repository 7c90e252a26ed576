#include "platform/signalstack.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>

namespace
{

/// What the dump's writing and the signal's own frame, which grows with the processor's registers,
/// need between them.
std::size_t stackSize()
{
    constexpr std::size_t forWriting = 32768;
    constexpr std::size_t leastFrame = 16384;
    return forWriting + std::max(leastFrame, std::size_t(std::max(sysconf(_SC_MINSIGSTKSZ), 0L)));
}

/// A library may have made the thread with all signals blocked. A crash there would end the process
/// without its handler.
void letCrashesThrough()
{
    sigset_t crashes;
    sigemptyset(&crashes);
    for (const int signal : {SIGSEGV, SIGABRT, SIGFPE, SIGILL, SIGBUS, SIGTRAP})
        sigaddset(&crashes, signal);
    pthread_sigmask(SIG_UNBLOCK, &crashes, nullptr);
}

/// The calling thread's, from its construction to the thread's end.
class ThreadSignalStack
{
public:
    ThreadSignalStack()
    {
        letCrashesThrough();
        stack_t present{};
        const bool isPresent =
            sigaltstack(nullptr, &present) == 0 && (present.ss_flags & SS_DISABLE) == 0;
        if (isPresent)
            return; // somebody else's, a sanitizer's say, who ends it too
        page = std::size_t(sysconf(_SC_PAGESIZE));
        size = (stackSize() + page - 1) / page * page;
        void *mapped = mmap(nullptr, page + size, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
        if (mapped == MAP_FAILED)
            return;
        memory = static_cast<std::byte *>(mapped);
        mprotect(memory, page, PROT_NONE); // an overflow of this stack, too, is noticed
        stack_t own{};
        own.ss_sp = memory + page;
        own.ss_size = size;
        sigaltstack(&own, nullptr);
    }
    ~ThreadSignalStack()
    {
        if (!memory)
            return;
        stack_t none{};
        none.ss_flags = SS_DISABLE;
        sigaltstack(&none, nullptr);
        munmap(memory, page + size);
    }
    ThreadSignalStack(const ThreadSignalStack &) = delete;
    ThreadSignalStack &operator=(const ThreadSignalStack &) = delete;

private:
    std::byte *memory = nullptr; ///< a guard page, and the stack above it
    std::size_t page = 0;
    std::size_t size = 0;
};

} // namespace

void SignalStack::provide()
{
    thread_local const ThreadSignalStack stack;
}
