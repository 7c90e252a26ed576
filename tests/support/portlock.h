// A turn on the control port, which is one for the whole machine.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <stdexcept>

/// Holds the machine-wide lock of port 24925 for its lifetime; the constructor waits for it.
/// CTest's RESOURCE_LOCK orders the tests of one run, this one also those of several. Other
/// languages take the same lock with flock(2) on `path`.
class PortLock
{
public:
    static constexpr unsigned short port = 24925;
    static constexpr const char *path = "/tmp/quorvane-port24925.lock";

    PortLock() : descriptor(open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666))
    {
        if (descriptor < 0 || flock(descriptor, LOCK_EX) != 0)
            throw std::runtime_error("cannot lock the control port");
    }
    ~PortLock() { close(descriptor); }
    PortLock(const PortLock &) = delete;
    PortLock &operator=(const PortLock &) = delete;

private:
    int descriptor;
};
