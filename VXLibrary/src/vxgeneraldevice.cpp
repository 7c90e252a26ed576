#include "VXLibrary/src/vxgeneraldevice.h"

#include "VXLibrary/src/hidreports.h"
#include "VXLibrary/src/vxgeneralreadthread.h"
#include "VXLibrary/src/vxgeneralwritethread.h"
#include "platform/signalstack.h"
#include "platform/threads.h"

#include <QCoreApplication>
#include <QDebug>

#include <array>
#include <vector>

namespace
{
/// Wide characters of a device's string.
constexpr std::size_t MAX_STR = 256;
/// A read that began with the stop ends with the stop's own bound; what it may be late.
constexpr int lateReadMs = 500;

/// hidapi's list of devices and its general error text belong to all devices together, and
/// hidapi does not guard them: every call that touches them is made under this lock.
QMutex &libraryMutex()
{
    static QMutex mutex;
    return mutex;
}

QJsonObject identity(int vendorId, int productId, const QString &serialNumber, int usagePage,
                     int usage, int reportId)
{
    return {{QLatin1StringView("VID"), vendorId},
            {QLatin1StringView("PID"), productId},
            {QLatin1StringView("SerialNumber"), serialNumber},
            {QLatin1StringView("usagePage"), usagePage},
            {QLatin1StringView("usage"), usage},
            {QLatin1StringView("reportID"), reportId}};
}

/// Starts a thread of the device's. It gets the main thread's event loop, the only one that
/// outlives all others, for the case that its end cannot be waited for.
void startThread(QThread &thread)
{
    if (const QCoreApplication *application = QCoreApplication::instance())
        thread.moveToThread(application->thread());
    SignalStack::provideTo(thread);
    thread.start(QThread::InheritPriority);
}

template <typename Thread>
void endThread(std::unique_ptr<Thread> &thread)
{
    thread->stop();
    waitAndEnd(std::move(thread), lateReadMs);
}

const void *address(const HidHandle &handle)
{
    return handle ? handle->unguarded() : nullptr;
}
} // namespace

bool VXGeneralDevice::Wanted::matches(const hid_device_info &entry) const
{
    return entry.vendor_id == vendorId && entry.product_id == productId &&
           (usagePage == -1 || entry.usage_page == usagePage) &&
           (usage == -1 || entry.usage == usage) &&
           (serialNumber.isEmpty() ||
            (entry.serial_number && serialNumber == QString::fromWCharArray(entry.serial_number)));
}

QJsonObject VXGeneralDevice::Wanted::toJson() const
{
    return identity(vendorId, productId, serialNumber, usagePage, usage, reportId);
}

VXGeneralDevice::VXGeneralDevice(QObject *parent) : QObject(parent) {}

VXGeneralDevice::~VXGeneralDevice()
{
    closeDevice();
}

bool VXGeneralDevice::openDevice(bool enableReadThread, int vid, int pid,
                                 const QString &serialNumber, int usagePage, int usage,
                                 unsigned char reportID)
{
    const Wanted wanted{vid, pid, serialNumber, usagePage, usage, reportID};
    {
        const QMutexLocker locker(&mutex);
        qInfo() << "openDevice(): handle =" << address(handle);
        if (handle) {
            qInfo() << "当前USB设备已打开！";
            return true;
        }
        handle = findAndOpen(wanted);
        if (!handle) {
            qCritical() << errorString;
            emit sigUnableToOpenDevice(wanted.toJson(), errorString);
            return false;
        }
        takeIdentity(wanted);
    }
    if (enableReadThread)
        tryToStartReadThread();
    tryToStartWriteThread();
    emit sigDeviceOpened(deviceInfo());
    return true;
}

HidHandle VXGeneralDevice::findAndOpen(const Wanted &wanted)
{
    const QMutexLocker locker(&libraryMutex());
    hid_init();
    hid_device_info *const list = hid_enumerate(static_cast<unsigned short>(wanted.vendorId),
                                                static_cast<unsigned short>(wanted.productId));
    const hid_device_info *match = list;
    while (match && !wanted.matches(*match))
        match = match->next;
    hid_device *opened = nullptr;
    if (match) {
        qInfo("openDevice(): Find device, path = %s", match->path);
        path = match->path;
        opened = hid_open_path(match->path);
    }
    hid_free_enumeration(list);
    if (opened)
        return std::make_shared<OpenHidDevice>(opened);

    // The text is asked for when the library is closed already: what it says then is reported.
    hid_exit();
    errorString = QStringLiteral("Unable to open device: ") +
                  (match ? hidErrorText(nullptr) : QStringLiteral("device not found"));
    return {};
}

HidHandle VXGeneralDevice::openForReading() const
{
    if (!handle)
        return {};
    const QMutexLocker locker(&libraryMutex());
    hid_device *const opened = hid_open_path(path.constData());
    // A device that opens only once is read through the handle that is written to, and the error
    // text of either may be taken away by the other's next call.
    return opened ? std::make_shared<OpenHidDevice>(opened) : handle;
}

void VXGeneralDevice::takeIdentity(const Wanted &wanted)
{
    vendorId = wanted.vendorId;
    productId = wanted.productId;
    usagePage = wanted.usagePage;
    usage = wanted.usage;
    if (writeThread)
        writeThread->clearQueue();
    readStrings();
    featureReportLength = handle->call(hid_get_feature_report_lenght).result;
    inputReportLength = handle->call(hid_get_input_report_lenght).result;
    outputReportLength = handle->call(hid_get_output_report_lenght).result;
    reportId = wanted.reportId;
}

void VXGeneralDevice::readStrings()
{
    std::array<wchar_t, MAX_STR> wstr{};
    const auto log = [&](const char *words, int result) {
        QString text = QString::fromWCharArray(wstr.data());
        qInfo() << QString::fromLatin1(words).arg(QString::number(result), text);
        wstr.fill(L'\0');
        return text;
    };

    log("hid_get_manufacturer_string(handle, wstr, MAX_STR) return %1; Manufacturer String: %2;",
        handle->call(hid_get_manufacturer_string, wstr.data(), MAX_STR).result);
    log("hid_get_product_string(handle, wstr, MAX_STR) return %1; Product String: %2;",
        handle->call(hid_get_product_string, wstr.data(), MAX_STR).result);
    const int result = handle->call(hid_get_serial_number_string, wstr.data(), MAX_STR).result;
    serialNumber = QString::fromWCharArray(wstr.data());
    qInfo() << QStringLiteral("hid_get_serial_number_string(handle, wstr, MAX_STR) return %1; "
                              "Serial Number String: (%2) %3;")
                   .arg(QString::number(result), QString::number(int(wstr[0])), serialNumber);
    wstr.fill(L'\0');
    log("hid_get_indexed_string(handle, wstr, MAX_STR) return %1; Indexed String: %2;",
        handle->call(hid_get_indexed_string, 1, wstr.data(), MAX_STR).result);
}

void VXGeneralDevice::closeDevice()
{
    const QMutexLocker locker(&mutex);
    if (writeThread) {
        qInfo() << "Try to stop write thread.";
        endThread(writeThread);
    }
    if (readThread) {
        qInfo() << "Try to stop read thread.";
        endThread(readThread);
    }
    if (!handle)
        return;
    handle.reset();
    qInfo() << "hid_close(): handle =" << address(handle);
    const int result = [] {
        const QMutexLocker library(&libraryMutex());
        return hid_exit();
    }();
    qInfo() << "hid_exit(): result =" << result;
    emit sigDeviceClosed(deviceInfo());
}

void VXGeneralDevice::writeData(QByteArray data, VXGeneralHidReport hidReport,
                                bool getReportAfterSendReport)
{
    if (writeThread)
        writeThread->writeData(std::move(data), hidReport, getReportAfterSendReport);
}

int VXGeneralDevice::getInputReport(QJsonArray &reportData)
{
    const QMutexLocker locker(&mutex);
    if (!handle)
        return -1;
    if (inputReportLength < 1)
        inputReportLength = handle->call(hid_get_input_report_lenght).result;
    inputReportLength = usableReportLength(inputReportLength);

    std::vector<unsigned char> buffer(std::size_t(inputReportLength) + 1);
    buffer[0] = reportId;
    const auto [result, error] = handle->call(hid_get_input_report, buffer.data(), buffer.size());
    if (result == -1) {
        qCritical("Get hid input report return an error: %ls", qUtf16Printable(error));
        return -1;
    }
    for (const auto &byte : payloadAsHex(buffer, result))
        reportData.append(byte);
    return result;
}

QJsonObject VXGeneralDevice::deviceInfo() const
{
    return identity(vendorId, productId, serialNumber, usagePage, usage, reportId);
}

void VXGeneralDevice::tryToStartReadThread()
{
    if (readThread && !readThread->isStopped())
        return;
    qInfo() << "Try to start read thread.";
    readThread =
        std::make_unique<VXGeneralReadThread>(inputReportLength, reportId, openForReading());
    connect(readThread.get(), &VXGeneralReadThread::sigReadData, this,
            [this](const QByteArray &data) { emit sigReadData(deviceInfo(), data); });
    connect(
        readThread.get(), &VXGeneralReadThread::sigReadError, this,
        [this](int result, const QString &text) { emit sigReadError(deviceInfo(), result, text); });
    startThread(*readThread);
}

void VXGeneralDevice::tryToStartWriteThread()
{
    if (writeThread && !writeThread->isStopped())
        return;
    qInfo() << "Try to start write thread.";
    writeThread = std::make_unique<VXGeneralWriteThread>(featureReportLength, outputReportLength,
                                                         reportId, handle);
    connect(writeThread.get(), &VXGeneralWriteThread::sigWriteResult, this,
            [this](int result, const QString &text) {
                emit sigWriteResult(deviceInfo(), result, text);
            });
    connect(writeThread.get(), &VXGeneralWriteThread::sigGetFeatureReport, this,
            [this](int result, const QString &text, const QJsonArray &data) {
                emit sigGetFeatureReport(deviceInfo(), result, text, data);
            });
    startThread(*writeThread);
}
