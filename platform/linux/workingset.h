// The resident pages of a process, and how they are given back.
#pragma once

#include <QtGlobal>

#include <memory>
#include <system_error>
#include <variant>

/// One process's working set. Holds on to the process itself and not to its number, so that a
/// process that has taken the number over is never touched. Callable from any thread.
class WorkingSet
{
public:
    using Opened = std::variant<std::unique_ptr<WorkingSet>, std::errc>;
    /// Fails where the kernel does not offer it or the rights do not allow it, so that who may
    /// open a working set may trim it too: for any process but our own that takes CAP_SYS_NICE.
    [[nodiscard]] static Opened open(quint32 pid);

    ~WorkingSet();
    WorkingSet(const WorkingSet &) = delete;
    WorkingSet &operator=(const WorkingSet &) = delete;

    /// Asks the kernel to take out all pages that it can spare: those of files go back to their
    /// files, others to the swap if there is some. Of our own process they are only the first to go
    /// when memory is short. Zero for success, also where nothing could go.
    [[nodiscard]] std::errc trim() const;

private:
    WorkingSet(quint32 pid, int descriptor);
    /// Zero, or the error number.
    [[nodiscard]] int giveBack(quintptr begin, quintptr end) const;

    const quint32 pid;
    const int descriptor; ///< a pidfd
    const int advice;     ///< what the kernel is told of the pages
    bool mayActForOthers = true;
};
