#include "streams/driverfile.h"

#include "streams/drivercommand.h"

#include <QDebug>

HANDLE openDriverFile(const wchar_t *path)
{
    const HANDLE file = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError(); // before anything else can change it
        qCritical() << QString("Failed to open device %1, err: %2\n")
                           .arg(QString::fromWCharArray(path), QString::number(error));
        return file;
    }
    qInfo() << QString("Open device %1 successfully\n").arg(QString::fromWCharArray(path));
    return file;
}

void closeDriverFile(HANDLE &file, tavoriDeviceType type)
{
    if (file == INVALID_HANDLE_VALUE)
        return;
    writeCommand(file, commandBlock(static_cast<uchar>(type), true));
    CloseHandle(file);
    file = INVALID_HANDLE_VALUE;
}
