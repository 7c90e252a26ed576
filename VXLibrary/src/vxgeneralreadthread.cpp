#include "VXLibrary/src/vxgeneralreadthread.h"

#include "VXLibrary/src/hidreports.h"

#include <QDebug>

namespace
{
constexpr int readTimeoutMs = 1500;
constexpr int stopTimeoutMs = 1500;
} // namespace

VXGeneralReadThread::VXGeneralReadThread(int length, uchar reportID, HidHandle handle,
                                         QObject *parent)
    : QThread(parent), length(length), reportID(reportID), handle(std::move(handle))
{
}

VXGeneralReadThread::~VXGeneralReadThread()
{
    stop();
    wait();
}

void VXGeneralReadThread::stop()
{
    const QMutexLocker locker(&mutex);
    life.stop();
    if (!isRunning())
        return;
    quit();
    wait(stopTimeoutMs);
}

void VXGeneralReadThread::run()
{
    if (!handle) {
        const QString text = QStringLiteral("Device not open!");
        qCritical() << "VXGeneralReadThread::run" << text;
        emit sigReadError(0, text);
        return;
    }
    if (life.begin()) {
        const int told = handle->call(hid_get_input_report_lenght).result;
        const bool usesReportIds = handle->call(hidUsesReportIds).result;
        QByteArray buffer(usableReportLength(told), '\0');
        qInfo() << "启动接收数据线程。";
        while (!life.isStopped() && receive(usesReportIds, buffer)) {
        }
    }
    // A device that was closed meanwhile is let go here, not where this object ends.
    handle.reset();
}

bool VXGeneralReadThread::receive(bool usesReportIds, QByteArray &buffer)
{
    buffer.fill('\0');
    buffer[0] = char(reportID);
    const std::span bytes(reinterpret_cast<unsigned char *>(buffer.data()),
                          std::size_t(buffer.size()));
    const int result = readReport(handle->unguarded(), usesReportIds, bytes, readTimeoutMs);
    if (result > 0) {
        emit sigReadData(buffer.first(result));
        return true;
    }
    if (result == 0)
        return true;

    const QString text =
        QStringLiteral("Hid read error: %1").arg(hidErrorText(handle->unguarded()));
    if (isPending(text))
        return true;
    qCritical() << "VXGeneralReadThread::run" << text;
    emit sigReadError(-1, text);
    return false;
}
