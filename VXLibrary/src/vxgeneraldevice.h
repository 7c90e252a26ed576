// One USB HID device.
#pragma once

#include "VXLibrary/src/hidhandle.h"
#include "VXLibrary/src/vxgeneralhidreport.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QMutex>
#include <QObject>
#include <QString>

#include <memory>

class QThread;
class VXGeneralReadThread;
class VXGeneralWriteThread;

/// Finds and opens a device through hidapi, keeps its identity, and owns its read and its write
/// thread. Operations may run on any thread, one at a time; what the threads raise arrives on the
/// object's own thread, which therefore needs an event loop.
class VXGeneralDevice : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VXGeneralDevice)

public:
    explicit VXGeneralDevice(QObject *parent = nullptr);
    ~VXGeneralDevice() override;

    /// Opens the first device that matches: an empty serial number, and -1 for usage page or usage,
    /// match any. Without the read thread no data comes in unasked. True if a device is open then,
    /// also if one was open before.
    bool openDevice(bool enableReadThread, int vid, int pid, const QString &serialNumber,
                    int usagePage, int usage, unsigned char reportID);
    /// Ends the threads and closes the device; may take as long as a read, 1500 ms and a little.
    void closeDevice();

    /// Sends on the calling thread; the outcome comes by signal. Nothing happens without a device.
    void writeData(QByteArray data, VXGeneralHidReport hidReport, bool getReportAfterSendReport);
    /// Asks the device for an input report and appends its bytes, the ID left out, as hexadecimal
    /// text. The bytes got, the ID counted, or -1.
    int getInputReport(QJsonArray &reportData);

    /// "VID", "PID", "SerialNumber", "usagePage", "usage" and "reportID" of the device that was
    /// opened last.
    [[nodiscard]] QJsonObject deviceInfo() const;
    [[nodiscard]] int vendorID() const { return vendorId; }
    [[nodiscard]] int productID() const { return productId; }

    /// Start a thread unless there is one that has not been stopped. Used by `openDevice`.
    void tryToStartReadThread();
    void tryToStartWriteThread();

signals:
    void sigUnableToOpenDevice(QJsonObject deviceInfo, QString errorString);
    void sigDeviceOpened(QJsonObject deviceInfo);
    void sigDeviceClosed(QJsonObject deviceInfo);
    void sigReadData(QJsonObject deviceInfo, QByteArray data);
    void sigReadError(QJsonObject deviceInfo, int readResult, QString errorString);
    void sigWriteResult(QJsonObject deviceInfo, int writeResult, QString errorString);
    void sigGetFeatureReport(QJsonObject deviceInfo, int writeResult, QString errorString,
                             QJsonArray featureReportData);

private:
    /// What `openDevice` was asked for.
    struct Wanted
    {
        int vendorId;
        int productId;
        QString serialNumber;
        int usagePage;
        int usage;
        uchar reportId;

        [[nodiscard]] bool matches(const hid_device_info &entry) const;
        [[nodiscard]] QJsonObject toJson() const;
    };

    /// The device's handle, or null with the reason in `errorString`.
    [[nodiscard]] HidHandle findAndOpen(const Wanted &wanted);
    /// A handle for the read thread, of its own where the device opens twice.
    [[nodiscard]] HidHandle openForReading() const;
    void takeIdentity(const Wanted &wanted);
    /// Logs the device's strings and keeps its serial number.
    void readStrings();

    std::unique_ptr<VXGeneralReadThread> readThread;
    std::unique_ptr<VXGeneralWriteThread> writeThread;
    QString errorString;
    int featureReportLength = 64;
    int inputReportLength = 64;
    int outputReportLength = 64;
    int vendorId = 0;
    int productId = 0;
    QString serialNumber;
    int usagePage = -1;
    int usage = -1;
    uchar reportId = 0;
    HidHandle handle;
    /// Where `handle` was opened.
    QByteArray path;
    /// Guards open, close and `getInputReport`.
    QMutex mutex;
};
