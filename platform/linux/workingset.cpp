#include "platform/linux/workingset.h"

#include "platform/linux/processfiles.h"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace
{
/// The kernel takes less than 2 GiB in one call.
constexpr quintptr longestCall = quintptr(1) << 30;

int openProcessDescriptor(quint32 pid)
{
    return static_cast<int>(::syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0));
}

// By number: the C library has had a wrapper only since of late.
long advise(int descriptor, const iovec *regions, std::size_t count, int advice)
{
    return ::syscall(SYS_process_madvise, descriptor, regions, count, advice, 0);
}

bool isOurOwn(quint32 pid)
{
    return pid == static_cast<quint32>(::getpid());
}

/// Errors that every further region would meet too.
bool isFinal(int error)
{
    return error == EPERM || error == ESRCH || error == ENOSYS;
}
} // namespace

WorkingSet::Opened WorkingSet::open(quint32 pid)
{
    const int descriptor = openProcessDescriptor(pid);
    if (descriptor < 0)
        return static_cast<std::errc>(errno);
    std::unique_ptr<WorkingSet> result(new WorkingSet(pid, descriptor));
    // No region at all: this only asks whether we may.
    if (advise(descriptor, nullptr, 0, result->advice) == 0)
        return result;
    const int error = errno;
    result->mayActForOthers = false;
    if (error == ESRCH || !isOurOwn(pid))
        return static_cast<std::errc>(error);
    return result;
}

// What is taken out of our own process is missed by its audio threads in the next cycle, and a page
// that comes back from a file or from the swap takes them longer than a cycle lasts: measured, each
// such trim was heard. Pages that are only marked cold stay until somebody needs the memory.
WorkingSet::WorkingSet(quint32 pid, int descriptor)
    : pid(pid), descriptor(descriptor), advice(isOurOwn(pid) ? MADV_COLD : MADV_PAGEOUT)
{
}

WorkingSet::~WorkingSet()
{
    ::close(descriptor);
}

int WorkingSet::giveBack(quintptr begin, quintptr end) const
{
    for (; begin < end; begin += std::min(end - begin, longestCall)) {
        void *const start = reinterpret_cast<void *>(begin); // NOLINT(performance-no-int-to-ptr)
        const std::size_t bytes = std::min(end - begin, longestCall);
        const iovec range{start, bytes};
        const bool taken = mayActForOthers ? advise(descriptor, &range, 1, advice) >= 0
                                           : ::madvise(start, bytes, advice) == 0;
        if (!taken)
            return errno;
    }
    return 0;
}

std::errc WorkingSet::trim() const
{
    int lastError = ESRCH; // a process that has ended has no regions
    bool anyTaken = false;
    for (const auto &[begin, end] : processfiles::memoryRegions(pid)) {
        const int error = giveBack(begin, end);
        if (error == 0)
            anyTaken = true;
        else
            lastError = error; // locked pages and the kernel's own are refused: on to the next
        if (isFinal(error))
            break;
    }
    return anyTaken ? std::errc() : static_cast<std::errc>(lastError);
}
