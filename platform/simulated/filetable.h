// The scripted device files, shared by their handles and the tests.
#pragma once

#include "platform/simulated/devicefiles.h"

#include <QMap>

#include <condition_variable>
#include <deque>
#include <mutex>

namespace simulated
{

struct DeviceFile
{
    bool absent = false;
    int openHandles = 0;
    std::deque<QByteArray> audio;
    QList<QByteArray> writes;
    std::deque<ReadRequest> requests;
};

struct FileTable
{
    std::mutex mutex;
    /// Notified when audio comes, is read, or a handle is closed.
    std::condition_variable changed;
    int driverIndex = -1; ///< negative: no driver
    QMap<QString, DeviceFile> files;
};

FileTable &fileTable();

/// The suffix of a path that opens now; empty for any other. Call with the lock held.
[[nodiscard]] QString publishedSuffix(const FileTable &table, const QString &path);

void resetFiles();

} // namespace simulated
