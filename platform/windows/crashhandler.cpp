#include "platform/crashhandler.h"

#include "client/windows/handler/exception_handler.h"
#include "platform/crashannouncer.h"
#include "platform/windows/crashbound.h"
#include "platform/windows/runtimefaults.h"

#include <cstdlib>

namespace
{

/// A dump takes a second at most, but much longer under Wine.
constexpr std::chrono::seconds longestWriting{60};

/// What Breakpad tells of a dump. All of it lies in the handler and on the crashed thread's stack.
struct WrittenDump
{
    const wchar_t *directory = nullptr;
    const wchar_t *id = nullptr;
    const EXCEPTION_POINTERS *exception = nullptr;
    const MDRawAssertionInfo *assertion = nullptr;
};

/// Neither the system nor the runtime asks the user anything when the process ends by a fault.
void endWithoutDialogs()
{
    SetErrorMode(GetErrorMode() | SEM_NOGPFAULTERRORBOX);
    _set_error_mode(_OUT_TO_STDERR);
}

} // namespace

/// Breakpad's handler, and the way from its callback to ours.
class CrashHandler
{
public:
    CrashHandler(const std::wstring &dumpPath, MinidumpCallback callback, void *context,
                 int handlerTypes)
        : callback(callback), context(context),
          // NOLINTBEGIN(cppcoreguidelines-owning-memory): both live as long as their threads.
          announcer(*new CrashAnnouncer<WrittenDump>(
              [this](const WrittenDump &dump, bool succeeded) { return tell(dump, succeeded); })),
          bound(*new CrashBound(longestWriting)),
          // NOLINTEND(cppcoreguidelines-owning-memory)
          handler(dumpPath, &CrashHandler::beginWriting, &CrashHandler::announce, this,
                  handlerTypes)
    {
        awaitWriter();
    }

private:
    /// Breakpad's thread stands ready when it has refused a dump. One that was still beginning
    /// could not go on while a crashed thread has the heap's lock, and nothing would bound that.
    /// This wait has no bound either, for Breakpad has none; and the dump of another thread that
    /// crashes just then may get another name than the one announced.
    void awaitWriter() { handler.WriteMinidumpForException(nullptr); }

    /// On a thread of Breakpad's, as is the next. Whether the dump is to be written: not without an
    /// exception, which every crash has.
    static bool beginWriting(void *self, EXCEPTION_POINTERS *exception, MDRawAssertionInfo *)
    {
        if (!exception)
            return false;
        static_cast<CrashHandler *>(self)->bound.begin();
        return true;
    }

    /// The crashed thread waits for it without a bound of its own.
    static bool announce(const wchar_t *directory, const wchar_t *id, void *self,
                         EXCEPTION_POINTERS *exception, MDRawAssertionInfo *assertion,
                         bool succeeded)
    {
        auto *handler = static_cast<CrashHandler *>(self);
        handler->bound.end();
        return handler->announcer.announce({directory, id, exception, assertion}, succeeded);
    }

    /// On the announcer's thread.
    [[nodiscard]] bool tell(const WrittenDump &dump, bool succeeded) const
    {
        return callback(dump.directory, dump.id, context, dump.exception, dump.assertion,
                        succeeded);
    }

    const MinidumpCallback callback;
    void *const context;
    CrashAnnouncer<WrittenDump> &announcer;
    CrashBound &bound;
    google_breakpad::ExceptionHandler handler;
};

CrashHandler *installCrashHandler(const std::wstring &dumpPath, MinidumpCallback callback,
                                  void *context, int handlerTypes)
{
    SignalStack::provide();
    endWithoutDialogs();
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): stays until the process ends.
    auto *handler = new CrashHandler(dumpPath, callback, context, handlerTypes);
    raiseRuntimeFaults(handlerTypes);
    return handler;
}
