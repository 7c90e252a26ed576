#include "client/windows/handler/exception_handler.h"
#include "platform/windows/runtimefaults.h"

#include <cxxabi.h>

#include <cstdint>
#include <cstdlib>
#include <exception>

namespace
{

/// The exception reaches the system's last filter: this compiler's frames catch only their own.
[[noreturn]] void raise(DWORD code)
{
    while (true)
        RaiseException(code, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

void onInvalidParameter(const wchar_t *, const wchar_t *, const wchar_t *, unsigned, std::uintptr_t)
{
    raise(DWORD(STATUS_INVALID_CRUNTIME_PARAMETER));
}

/// Also the end of a pure call within a library, which has a runtime's own answer to it.
void onTerminate()
{
    raise(DWORD(STATUS_NONCONTINUABLE_EXCEPTION));
}

} // namespace

/// Called in place of a method that is not there yet, or no more. The compiler's tables name this
/// weakly: they would have nothing here without a definition of our own.
extern "C" [[noreturn]] void
__cxxabiv1::__cxa_pure_virtual() // NOLINT(bugprone-reserved-identifier)
{
    raise(DWORD(STATUS_NONCONTINUABLE_EXCEPTION));
}

void raiseRuntimeFaults(int handlerTypes)
{
    using google_breakpad::ExceptionHandler;
    if (handlerTypes & ExceptionHandler::HANDLER_INVALID_PARAMETER)
        _set_invalid_parameter_handler(&onInvalidParameter);
    if (handlerTypes & ExceptionHandler::HANDLER_PURECALL)
        std::set_terminate(&onTerminate);
}
