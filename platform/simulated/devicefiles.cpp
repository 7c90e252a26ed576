// CreateFileW, ReadFile and WriteFile on the scripted device files.
#include "platform/coreaudio.h"
#include "platform/devicereads.h"
#include "platform/posix/handletable.h"
#include "platform/posix/lasterror.h"
#include "platform/simulated/census.h"
#include "platform/simulated/filetable.h"
#include "platform/simulated/record.h"

#include <algorithm>
#include <chrono>

using simulated::failsWithError;
using simulated::fileTable;
using simulated::FileTable;
using simulated::handleName;

namespace
{

constexpr auto readWait = std::chrono::milliseconds(50);
constexpr qsizetype headBytes = 16;
constexpr std::size_t requestsKept = 1000;
constexpr qsizetype writeBytesShown = 16;

simulated::ReadRequest requestIn(const char *buffer, DWORD length)
{
    const auto head = std::min<qsizetype>(length, headBytes);
    const bool restIsZero =
        std::all_of(buffer + head, buffer + length, [](char byte) { return byte == 0; });
    return {length, QByteArray(buffer, head), restIsZero};
}

/// One open handle on a device file.
class OpenDeviceFile final : public posix::Object
{
public:
    explicit OpenDeviceFile(const QString &suffix) : suffix(suffix) {}

    void close() override
    {
        FileTable &table = fileTable();
        {
            const std::lock_guard lock(table.mutex);
            closed = true;
            --table.files[suffix].openHandles;
        }
        table.changed.notify_all();
    }

    void endWaits()
    {
        FileTable &table = fileTable();
        {
            const std::lock_guard lock(table.mutex);
            waitsEnded = true;
        }
        table.changed.notify_all();
    }

    bool read(char *buffer, DWORD length, DWORD *bytesRead)
    {
        FileTable &table = fileTable();
        std::unique_lock lock(table.mutex);
        auto &requests = table.files[suffix].requests;
        requests.push_back(requestIn(buffer, length));
        if (requests.size() > requestsKept)
            requests.pop_front();
        // Looked up anew each time: a reset may clear the table during the wait.
        table.changed.wait_for(lock, readWait, [&] {
            return closed || waitsEnded || !table.files[suffix].audio.empty();
        });
        if (closed)
            return false;
        *bytesRead = take(table.files[suffix].audio, buffer, length);
        lock.unlock();
        table.changed.notify_all();
        return true;
    }

    void write(const QByteArray &bytes)
    {
        const std::lock_guard lock(fileTable().mutex);
        fileTable().files[suffix].writes.append(bytes);
    }

    const QString suffix;

private:
    static DWORD take(std::deque<QByteArray> &audio, char *buffer, DWORD length)
    {
        if (audio.empty())
            return 0;
        QByteArray &block = audio.front();
        const auto bytes = std::min<qsizetype>(length, block.size());
        std::copy_n(block.constData(), bytes, buffer);
        block.remove(0, bytes);
        if (block.isEmpty())
            audio.pop_front();
        return static_cast<DWORD>(bytes);
    }

    bool closed = false;     ///< guarded by the table's lock
    bool waitsEnded = false; ///< likewise
};

QString openPublished(const QString &path)
{
    FileTable &table = fileTable();
    const std::lock_guard lock(table.mutex);
    QString suffix = simulated::publishedSuffix(table, path);
    if (!suffix.isEmpty())
        ++table.files[suffix].openHandles;
    return suffix;
}

} // namespace

HANDLE CreateFileW(LPCWSTR fileName, DWORD desiredAccess, DWORD shareMode, SECURITY_ATTRIBUTES *,
                   DWORD creationDisposition, DWORD flagsAndAttributes, HANDLE)
{
    const QString path = QString::fromWCharArray(fileName ? fileName : L"");
    if (failsWithError(QStringLiteral("CreateFileW %1 %2 %3 %4 %5")
                           .arg(path)
                           .arg(desiredAccess, 0, 16)
                           .arg(shareMode)
                           .arg(creationDisposition)
                           .arg(flagsAndAttributes, 0, 16)))
        return INVALID_HANDLE_VALUE;
    const QString suffix = openPublished(path);
    if (suffix.isEmpty()) {
        posix::setLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    const HANDLE handle = posix::createHandle(std::make_unique<OpenDeviceFile>(suffix));
    if (!handle)
        return INVALID_HANDLE_VALUE;
    simulated::enterCensus(handle, suffix);
    return handle;
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytesToRead, DWORD *bytesRead, OVERLAPPED *)
{
    if (bytesRead)
        *bytesRead = 0;
    if (failsWithError(QStringLiteral("ReadFile ") + handleName(file)))
        return FALSE;
    const posix::ReferenceTo<OpenDeviceFile> open(file);
    DWORD count = 0;
    if (!open || !open->read(static_cast<char *>(buffer), bytesToRead, &count)) {
        posix::setLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (bytesRead)
        *bytesRead = count;
    return TRUE;
}

BOOL WriteFile(HANDLE file, const void *buffer, DWORD bytesToWrite, DWORD *bytesWritten,
               OVERLAPPED *)
{
    if (bytesWritten)
        *bytesWritten = 0;
    const QByteArray bytes(static_cast<const char *>(buffer), static_cast<qsizetype>(bytesToWrite));
    QString call = QStringLiteral("WriteFile ") + handleName(file);
    if (!bytes.isEmpty())
        call += u' ' + QString::fromLatin1(
                           bytes.first(std::min(bytes.size(), writeBytesShown)).toHex(' '));
    if (failsWithError(call))
        return FALSE;
    const posix::ReferenceTo<OpenDeviceFile> open(file);
    if (!open) {
        posix::setLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    open->write(bytes);
    if (bytesWritten)
        *bytesWritten = bytesToWrite;
    return TRUE;
}

void endReadWaits(HANDLE file)
{
    simulated::record(QStringLiteral("endReadWaits ") + handleName(file));
    if (const posix::ReferenceTo<OpenDeviceFile> open(file); open)
        open->endWaits();
}
