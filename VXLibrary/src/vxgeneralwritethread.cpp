#include "VXLibrary/src/vxgeneralwritethread.h"

#include "VXLibrary/src/hidreports.h"

#include <QDebug>

#include <algorithm>

namespace
{
constexpr int stopTimeoutMs = 1500;

QString success()
{
    return QStringLiteral("Success");
}
} // namespace

VXGeneralWriteThread::VXGeneralWriteThread(int featureReportLength, int outputReportLength,
                                           uchar reportID, HidHandle handle, QObject *parent)
    : QThread(parent), featureReportLength(featureReportLength),
      outputReportLength(outputReportLength), reportID(reportID), handle(std::move(handle))
{
}

VXGeneralWriteThread::~VXGeneralWriteThread()
{
    stop();
    wait();
}

void VXGeneralWriteThread::stop()
{
    {
        const QMutexLocker locker(&writeMutex);
        life.stop();
    }
    {
        // The thread looks and falls asleep under this lock: none of the two can miss the other.
        const QMutexLocker locker(&waitMutex);
        wakeCondition.wakeAll();
    }
    if (!isRunning())
        return;
    quit();
    wait(stopTimeoutMs);
}

void VXGeneralWriteThread::clearQueue()
{
    const QMutexLocker locker(&writeMutex);
    writeQueue.clear();
}

void VXGeneralWriteThread::enqueue(const WriteRequest &request)
{
    const QMutexLocker locker(&waitMutex);
    const QMutexLocker queueLocker(&writeMutex);
    writeQueue.append(request);
    wakeCondition.wakeAll();
}

int VXGeneralWriteThread::writeData(QByteArray data)
{
    return writeData(std::move(data), VXHidOutput);
}

int VXGeneralWriteThread::writeData(QByteArray data, VXGeneralHidReport hidReport)
{
    return writeData(std::move(data), hidReport, false);
}

int VXGeneralWriteThread::writeData(QByteArray data, VXGeneralHidReport hidReport,
                                    bool getReportAfterSendReport)
{
    const QMutexLocker locker(&writeMutex);
    if (!handle)
        return -1;
    queryLengths();
    const bool isFeature = hidReport == VXHidFeature;
    const int length = usableReportLength(isFeature ? featureReportLength : outputReportLength);
    if (data.isEmpty())
        return 0;

    Buffer buffer(std::size_t(length) + 1);
    buffer[0] = reportID;
    QString text;
    bool failed = false;
    int sent = 0;
    while (data.size() - sent >= length && !failed) {
        std::copy_n(data.begin() + sent, length, buffer.begin() + 1);
        failed = !sendReport(buffer, hidReport, text);
        if (!failed)
            sent += length;
    }
    if (!failed && sent < data.size()) {
        failed = !sendTail(buffer, data.sliced(sent), hidReport, text);
        if (!failed)
            sent = int(data.size());
    }
    emit sigWriteResult(failed ? -1 : sent, text);
    if (isFeature && getReportAfterSendReport)
        readBack(length);
    return sent;
}

void VXGeneralWriteThread::queryLengths()
{
    if (featureReportLength < 1)
        featureReportLength = handle->call(hid_get_feature_report_lenght).result;
    if (outputReportLength < 1)
        outputReportLength = handle->call(hid_get_output_report_lenght).result;
}

bool VXGeneralWriteThread::sendReport(const Buffer &buffer, VXGeneralHidReport hidReport,
                                      QString &text)
{
    const bool isFeature = hidReport == VXHidFeature;
    const auto send = isFeature ? hid_send_feature_report : hid_write;
    text = success();
    const auto [result, error] = handle->call(send, buffer.data(), buffer.size());
    if (result != -1 || isPending(error))
        return true;
    text = (isFeature ? QStringLiteral("Send hid feature report return an error:: %1")
                      : QStringLiteral("Hid write error: %1"))
               .arg(error);
    return false;
}

bool VXGeneralWriteThread::sendTail(Buffer &buffer, const QByteArray &tail,
                                    VXGeneralHidReport hidReport, QString &text)
{
    std::fill(std::copy(tail.begin(), tail.end(), buffer.begin() + 1), buffer.end(), uchar(0));
    const bool sent = sendReport(buffer, hidReport, text);
    if (!sent)
        qCritical() << "VXGeneralWriteThread::writeData" << text;
    return sent;
}

void VXGeneralWriteThread::readBack(int length)
{
    Buffer buffer(std::size_t(length) + 1);
    buffer[0] = reportID;
    const auto [result, error] = handle->call(hid_get_feature_report, buffer.data(), buffer.size());
    const QString text =
        result >= 0 ? success()
                    : QStringLiteral("Get hid feature report return an error:: %1").arg(error);
    emit sigGetFeatureReport(result, text, payloadAsHex(buffer, result));
}

void VXGeneralWriteThread::run()
{
    if (!handle) {
        const QString text = QStringLiteral("Device not open!");
        qCritical() << "VXGeneralWriteThread::run" << text;
        emit sigWriteResult(0, text);
        return;
    }
    {
        const QMutexLocker locker(&writeMutex);
        queryLengths();
    }
    if (!life.begin())
        return;
    while (waitForRequest())
        serveQueue();
}

bool VXGeneralWriteThread::waitForRequest()
{
    const QMutexLocker locker(&waitMutex);
    while (!life.isStopped()) {
        {
            const QMutexLocker queueLocker(&writeMutex);
            if (!writeQueue.isEmpty())
                return true;
        }
        wakeCondition.wait(&waitMutex);
    }
    return false;
}

void VXGeneralWriteThread::serveQueue()
{
    QMutexLocker locker(&writeMutex);
    if (writeQueue.isEmpty())
        return;
    const WriteRequest request = writeQueue.takeFirst();
    locker.unlock();
    writeData(request.data, request.hidReport, request.getReportAfterSendReport);
}
