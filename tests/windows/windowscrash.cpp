// Crashes in the way that it is told to, with the real crash handler installed; what it has to tell
// is left in files, since it has no console.
//
//   windowscrash DUMP_FOLDER REPORT_FOLDER ACTION main|thread|held
//
// REPORT_FOLDER/announcement.txt gets a line for each dump that is announced: whether it was
// written and its path without extension. With "held" the main thread crashes, and announcing needs
// a lock that it has.
#include "platform/crashhandler.h"
#include "platform/signalstack.h"

#include <QThread>

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

// Their names are what a dump is searched for.
#define TELLING extern "C" __attribute__((noinline))

namespace
{

volatile int *volatile nowhere = nullptr;
std::mutex announcementLock;
std::string reportFolder;

void append(const char *file, const std::string &line)
{
    std::FILE *const out = std::fopen((reportFolder + "\\" + file).c_str(), "a");
    std::fprintf(out, "%s\n", line.c_str());
    std::fclose(out);
}

std::string narrow(const std::wstring &text)
{
    return {text.begin(), text.end()}; // the test's paths are ASCII
}

bool announce(const wchar_t *dumpPath, const wchar_t *minidumpId, void *, const void *,
              const void *, bool succeeded)
{
    const std::lock_guard lock(announcementLock);
    append("announcement.txt",
           (succeeded ? "written " : "failed ") + narrow(dumpPath) + "/" + narrow(minidumpId));
    return succeeded;
}

struct Unfinished
{
    Unfinished() { callTooEarly(this); }
    virtual ~Unfinished() = default;
    virtual void missing() = 0;
    static __attribute__((noinline)) void callTooEarly(Unfinished *object) { object->missing(); }
};

struct Finished final : Unfinished
{
    void missing() override {}
};

} // namespace

TELLING void crash_by_null_write()
{
    *nowhere = 1;
}

TELLING void crash_holding_the_heap()
{
    HeapLock(GetProcessHeap());
    *nowhere = 2;
}

TELLING void crash_by_pure_call()
{
    const Finished object;
}

TELLING void crash_by_uncaught_exception()
{
    throw std::runtime_error("uncaught");
}

/// Through another runtime: Wine's msvcrt.dll, unlike Windows', tells no handler.
TELLING void crash_by_invalid_parameter()
{
    using SetHandler = _invalid_parameter_handler(__cdecl *)(_invalid_parameter_handler handler);
    using Close = int(__cdecl *)(int file);
    const HMODULE runtime = LoadLibraryW(L"ucrtbase.dll");
    const auto setHandler = reinterpret_cast<SetHandler>(
        reinterpret_cast<void *>(GetProcAddress(runtime, "_set_invalid_parameter_handler")));
    const auto close =
        reinterpret_cast<Close>(reinterpret_cast<void *>(GetProcAddress(runtime, "_close")));
    setHandler(_get_invalid_parameter_handler());
    close(-5);
}

TELLING int crash_by_large_frame()
{
    volatile char frame[65536];
    frame[0] = 1;
    return frame[0];
}

/// Wine keeps no room at a stack's end for what handles its overflow, whatever was asked for: so
/// the frame that is too large comes while there is room before the end.
TELLING int crash_by_stack_overflow()
{
    volatile char frame[1000];
    frame[0] = 1;
    ULONG_PTR low = 0;
    ULONG_PTR high = 0;
    GetCurrentThreadStackLimits(&low, &high);
    const ULONG_PTR left = reinterpret_cast<ULONG_PTR>(&frame[0]) - low;
    return (left > 50000 ? crash_by_stack_overflow() : crash_by_large_frame()) + frame[0];
}

namespace
{

ULONG guaranteedRoom()
{
    ULONG bytes = 0; // asks
    SetThreadStackGuarantee(&bytes);
    return bytes;
}

/// The room that the thread has for its own overflow, and where the system and the runtime turn to
/// with a fault.
void report_settings()
{
    append("settings.txt", std::to_string(guaranteedRoom()) + " " + std::to_string(GetErrorMode()) +
                               " " + std::to_string(_set_error_mode(_REPORT_ERRMODE)));
}

void fatal()
{
    qFatal("fatal");
}

void overflow()
{
    crash_by_stack_overflow();
}

struct Action
{
    const char *name;
    void (*crash)();
};

constexpr std::array actions{
    Action{"crash_by_null_write", &crash_by_null_write},
    Action{"crash_holding_the_heap", &crash_holding_the_heap},
    Action{"crash_by_pure_call", &crash_by_pure_call},
    Action{"crash_by_uncaught_exception", &crash_by_uncaught_exception},
    Action{"crash_by_invalid_parameter", &crash_by_invalid_parameter},
    Action{"crash_by_stack_overflow", &overflow},
    Action{"abort", &std::abort},
    Action{"fatal", &fatal},
    Action{"report_settings", &report_settings},
};

void (*find(const char *name))()
{
    const auto *const found =
        std::find_if(actions.begin(), actions.end(),
                     [name](const Action &action) { return std::strcmp(action.name, name) == 0; });
    return found == actions.end() ? nullptr : found->crash;
}

void runOnAThread(void (*crash)())
{
    const std::unique_ptr<QThread> thread(QThread::create(crash));
    SignalStack::provideTo(*thread);
    thread->start();
    thread->wait();
}

} // namespace

int main(int argc, char *argv[])
{
    void (*const crash)() = argc > 4 ? find(argv[3]) : nullptr;
    if (!crash)
        return 1;
    const std::string dumpFolder = argv[1];
    reportFolder = argv[2];
    const std::string place = argv[4];
    installCrashHandler({dumpFolder.begin(), dumpFolder.end()}, &announce, nullptr, HANDLER_ALL);
    if (place == "held")
        announcementLock.lock();
    if (place == "thread")
        runOnAThread(crash);
    else
        crash();
    return 0;
}
