#include "platform/simulated/filetable.h"

#include "common/channels.h"
#include "platform/simulated/immortal.h"

#include <chrono>

namespace simulated
{

FileTable &fileTable()
{
    return immortal<FileTable>();
}

QString publishedSuffix(const FileTable &table, const QString &path)
{
    if (table.driverIndex < 0)
        return {};
    for (const Channel &channel : channels) {
        if (path == deviceFilePath(table.driverIndex, channel.fileSuffix))
            return table.files.value(channel.fileSuffix).absent ? QString()
                                                                : QString(channel.fileSuffix);
    }
    return {};
}

void publishDriver(int driverIndex)
{
    FileTable &table = fileTable();
    const std::lock_guard lock(table.mutex);
    table.driverIndex = driverIndex;
}

void withdrawDriver()
{
    publishDriver(-1);
}

void setDeviceFilePresent(const QString &suffix, bool present)
{
    FileTable &table = fileTable();
    const std::lock_guard lock(table.mutex);
    table.files[suffix].absent = !present;
}

int openDeviceFiles(const QString &suffix)
{
    FileTable &table = fileTable();
    const std::lock_guard lock(table.mutex);
    return table.files.value(suffix).openHandles;
}

void queueAudio(const QString &suffix, const QByteArray &block)
{
    FileTable &table = fileTable();
    {
        const std::lock_guard lock(table.mutex);
        // A copy of its own: nothing is shared between the test's thread and the reader's.
        table.files[suffix].audio.emplace_back(block.constData(), block.size());
    }
    table.changed.notify_all();
}

bool waitUntilRead(const QString &suffix, int timeoutMs)
{
    FileTable &table = fileTable();
    std::unique_lock lock(table.mutex);
    return table.changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                  [&] { return table.files[suffix].audio.empty(); });
}

QList<QByteArray> writesTo(const QString &suffix)
{
    FileTable &table = fileTable();
    const std::lock_guard lock(table.mutex);
    return table.files.value(suffix).writes;
}

QList<ReadRequest> readRequests(const QString &suffix)
{
    FileTable &table = fileTable();
    const std::lock_guard lock(table.mutex);
    const auto &requests = table.files[suffix].requests;
    return {requests.begin(), requests.end()};
}

void resetFiles()
{
    FileTable &table = fileTable();
    {
        const std::lock_guard lock(table.mutex);
        table.driverIndex = -1;
        table.files.clear();
    }
    table.changed.notify_all();
}

} // namespace simulated
