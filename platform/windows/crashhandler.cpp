#include "platform/crashhandler.h"

#include "client/windows/handler/exception_handler.h"

/// Breakpad's handler, and the way from its callback to ours.
class CrashHandler
{
public:
    CrashHandler(const std::wstring &dumpPath, MinidumpCallback callback, void *context,
                 int handlerTypes)
        : callback(callback), context(context),
          handler(dumpPath, nullptr, &CrashHandler::announce, this, handlerTypes)
    {
    }

private:
    static bool announce(const wchar_t *dumpPath, const wchar_t *minidumpId, void *self,
                         EXCEPTION_POINTERS *exception, MDRawAssertionInfo *assertion,
                         bool succeeded)
    {
        const auto *target = static_cast<const CrashHandler *>(self);
        return target->callback(dumpPath, minidumpId, target->context, exception, assertion,
                                succeeded);
    }

    const MinidumpCallback callback;
    void *const context;
    google_breakpad::ExceptionHandler handler;
};

CrashHandler *installCrashHandler(const std::wstring &dumpPath, MinidumpCallback callback,
                                  void *context, int handlerTypes)
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): stays until the process ends.
    return new CrashHandler(dumpPath, callback, context, handlerTypes);
}
