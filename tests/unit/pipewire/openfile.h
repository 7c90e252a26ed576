// A device file that closes itself.
#pragma once

#include "common/channels.h"
#include "platform/coreaudio.h"
#include "platform/posix/handletable.h"

#include <QByteArray>

class OpenFile
{
public:
    explicit OpenFile(tavoriDeviceType type)
    {
        const auto path = deviceFilePath(0, channelOfType(type)->fileSuffix).toStdWString();
        handle = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
    }
    ~OpenFile() { close(); }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    void close()
    {
        if (isOpen())
            posix::closeHandle(handle);
        handle = INVALID_HANDLE_VALUE;
    }
    [[nodiscard]] bool isOpen() const { return handle != INVALID_HANDLE_VALUE; }
    [[nodiscard]] HANDLE get() const { return handle; }

    /// One read; null when it failed.
    QByteArray read(DWORD bytes = 19200) const
    {
        QByteArray buffer(qsizetype(bytes), '\0');
        DWORD count = 0;
        if (!ReadFile(handle, buffer.data(), bytes, &count, nullptr))
            return {};
        buffer.resize(qsizetype(count));
        return buffer.isNull() ? QByteArray("") : buffer;
    }

private:
    HANDLE handle;
};
