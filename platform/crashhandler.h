// The crossing to the library that writes minidumps. Installing is the platform's business; what
// is done with a dump is not.
#pragma once

#include <string>

/// Told of each dump, on a thread that the crash has left intact: the directory, the dump's name
/// without its extension, the context that was given, what the system says of the exception and
/// of a failed assertion (opaque; null where it says nothing), and whether the dump was written.
/// The result goes back to the library: false lets an earlier handler of the process have a try.
using MinidumpCallback = bool (*)(const wchar_t *dumpPath, const wchar_t *minidumpId, void *context,
                                  const void *exceptionInformation,
                                  const void *assertionInformation, bool succeeded);

/// Exceptions, invalid parameters and pure calls; the library's own value.
constexpr int HANDLER_ALL = 7;

class CrashHandler;

/// Captures crashes of the process from now to its end: what comes back is never deleted. Another
/// call puts one more handler before those that stand. `handlerTypes` matters on Windows only.
CrashHandler *installCrashHandler(const std::wstring &dumpPath, MinidumpCallback callback,
                                  void *context, int handlerTypes);
