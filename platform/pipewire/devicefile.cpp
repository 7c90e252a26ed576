#include "platform/pipewire/devicefile.h"

#include "common/channels.h"
#include "platform/coreaudio.h"
#include "platform/devicereads.h"
#include "platform/pipewire/speakerrings.h"
#include "platform/posix/handletable.h"
#include "platform/posix/lasterror.h"

#include <QHash>
#include <QMutex>

namespace
{
// The card publishes its files under one index of the driver.
constexpr int publishedIndex = 0;
// So long may a read of a silent speaker wait. Readers that are to end are told so (endReadWaits).
constexpr std::chrono::seconds longestRead(5);
constexpr qsizetype keptBytes = qsizetype{64} * 1024;

/// What was written to the files, by suffix.
class WriteRecord
{
public:
    void append(const QString &suffix, const char *bytes, qsizetype size)
    {
        const QMutexLocker locker(&mutex);
        QByteArray &record = records[suffix];
        record.append(bytes, size);
        if (record.size() > keptBytes)
            record.remove(0, record.size() - keptBytes);
    }
    QByteArray of(const QString &suffix)
    {
        const QMutexLocker locker(&mutex);
        return records.value(suffix);
    }

private:
    QMutex mutex;
    QHash<QString, QByteArray> records;
};

WriteRecord &writeRecord()
{
    static WriteRecord record;
    return record;
}

/// A ring that never gets a frame, for the files of capture lines: a read of them only waits.
FrameRing &silentRing()
{
    static FrameRing ring;
    return ring;
}

/// One open of a file. Every open hears the speaker from that moment on, whoever else reads.
class DeviceFile final : public posix::Object
{
public:
    explicit DeviceFile(const QString &suffix)
        : suffix(suffix), ring(speakerRing(suffix) ? *speakerRing(suffix) : silentRing()),
          position(ring.end())
    {
    }

    void close() override
    {
        closed.store(true);
        endWaits();
    }

    void endWaits()
    {
        waitsEnded.store(true);
        ring.wake();
    }

    /// False when the file was closed meanwhile. Whole frames only.
    bool read(void *buffer, DWORD bytes, DWORD &bytesRead)
    {
        uint64_t from = position.load(std::memory_order_relaxed);
        ring.wait(from, waitsEnded, longestRead);
        if (closed.load())
            return false;
        bytesRead = ring.read(from, buffer, bytes / FrameRing::frameBytes) * FrameRing::frameBytes;
        position.store(from, std::memory_order_relaxed);
        return true;
    }

    void write(const void *bytes, DWORD size)
    {
        writeRecord().append(suffix, static_cast<const char *>(bytes), size);
    }

private:
    const QString suffix;
    FrameRing &ring;
    std::atomic<uint64_t> position;
    std::atomic<bool> waitsEnded{false};
    std::atomic<bool> closed{false};
};

const Channel *channelOfPath(const QString &path)
{
    for (const Channel &channel : channels)
        if (path.compare(deviceFilePath(publishedIndex, channel.fileSuffix), Qt::CaseInsensitive) ==
            0)
            return &channel;
    return nullptr;
}

BOOL fail(DWORD error)
{
    posix::setLastError(error);
    return FALSE;
}
} // namespace

QByteArray card::writtenBytes(const QString &fileSuffix)
{
    return writeRecord().of(fileSuffix);
}

HANDLE CreateFileW(LPCWSTR fileName, DWORD, DWORD, SECURITY_ATTRIBUTES *, DWORD creationDisposition,
                   DWORD, HANDLE)
{
    if (!fileName || creationDisposition != OPEN_EXISTING) {
        posix::setLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    const Channel *channel = channelOfPath(QString::fromWCharArray(fileName));
    if (!channel) {
        posix::setLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    HANDLE handle = posix::createHandle(std::make_unique<DeviceFile>(channel->fileSuffix));
    return handle ? handle : INVALID_HANDLE_VALUE;
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytesToRead, DWORD *bytesRead, OVERLAPPED *)
{
    if (bytesRead)
        *bytesRead = 0;
    if (!buffer || !bytesRead)
        return fail(ERROR_INVALID_PARAMETER);
    const posix::ReferenceTo<DeviceFile> reference(file);
    if (!reference || !reference->read(buffer, bytesToRead, *bytesRead))
        return fail(ERROR_INVALID_HANDLE);
    return TRUE;
}

BOOL WriteFile(HANDLE file, const void *buffer, DWORD bytesToWrite, DWORD *bytesWritten,
               OVERLAPPED *)
{
    if (bytesWritten)
        *bytesWritten = 0;
    const posix::ReferenceTo<DeviceFile> reference(file);
    if (!reference)
        return fail(ERROR_INVALID_HANDLE);
    if (!buffer && bytesToWrite != 0)
        return fail(ERROR_INVALID_PARAMETER);
    reference->write(buffer, bytesToWrite);
    if (bytesWritten)
        *bytesWritten = bytesToWrite;
    return TRUE;
}

void endReadWaits(HANDLE file)
{
    if (const posix::ReferenceTo<DeviceFile> reference(file); reference)
        reference->endWaits();
}
