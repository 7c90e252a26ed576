// Events, waits and files of the Windows kernel, as far as the system calls them.
#pragma once

#include "platform/vocabulary/basetypes.h"

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))

struct SECURITY_ATTRIBUTES;
struct OVERLAPPED;

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

/// Makes an event; null on failure. A manual-reset event stays set until ResetEvent, an
/// auto-reset one releases a single wait.
HANDLE CreateEventW(SECURITY_ATTRIBUTES *attributes, BOOL manualReset, BOOL initialState,
                    LPCWSTR name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);

/// Waits for any of the events (waitAll must be FALSE) for at most `milliseconds`.
/// WAIT_OBJECT_0 plus the lowest index that is set, WAIT_TIMEOUT, or WAIT_FAILED.
DWORD WaitForMultipleObjects(DWORD count, const HANDLE *handles, BOOL waitAll, DWORD milliseconds);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;

/// Opens a device file of the virtual sound card; INVALID_HANDLE_VALUE on failure, with the
/// reason in GetLastError.
HANDLE CreateFileW(LPCWSTR fileName, DWORD desiredAccess, DWORD shareMode,
                   SECURITY_ATTRIBUTES *attributes, DWORD creationDisposition,
                   DWORD flagsAndAttributes, HANDLE templateFile);

/// Reads what is there, at most `bytesToRead`, waiting for it a bounded time.
/// TRUE with 0 bytes when nothing came; FALSE when the handle is closed or the read failed.
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytesToRead, DWORD *bytesRead,
              OVERLAPPED *overlapped);
BOOL WriteFile(HANDLE file, const void *buffer, DWORD bytesToWrite, DWORD *bytesWritten,
               OVERLAPPED *overlapped);

/// Closes an event or a file. A call that still waits on it ends with a failure.
BOOL CloseHandle(HANDLE object);

/// The last error of the calling thread.
DWORD GetLastError();
void SetLastError(DWORD error);

DWORD GetCurrentProcessId();

/// The system's alert sound.
BOOL MessageBeep(UINT type);
