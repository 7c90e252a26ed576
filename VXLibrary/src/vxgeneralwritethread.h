// Cuts outgoing data into reports and sends them.
#pragma once

#include "VXLibrary/src/hidhandle.h"
#include "VXLibrary/src/onerun.h"
#include "VXLibrary/src/vxgeneralhidreport.h"

#include <QByteArray>
#include <QJsonArray>
#include <QList>
#include <QMutex>
#include <QString>
#include <QThread>
#include <QWaitCondition>

#include <vector>

/// Sends on the thread that calls `writeData`, and raises its signals there. The thread itself
/// serves the queue, which only a class derived from this one can fill. Runs once, until `stop`.
class VXGeneralWriteThread : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VXGeneralWriteThread)

public:
    /// Lengths are payload bytes, the report ID not counted; one below 1 is asked of the device.
    VXGeneralWriteThread(int featureReportLength, int outputReportLength, uchar reportID,
                         HidHandle handle, QObject *parent = nullptr);
    ~VXGeneralWriteThread() override;

    /// Asks the thread to end and waits for it, 1500 ms at most; first for a send under way.
    void stop();
    [[nodiscard]] bool isStopped() const { return life.isStopped(); }
    /// Drops what waits in the queue.
    void clearQueue();

public slots:
    /// Sends the data as full reports, the last one padded with zeros. The bytes of data sent
    /// before the first failure, or -1 if there is no device; nothing is raised for empty data.
    /// Writes of several callers take turns. With `getReportAfterSendReport` a feature report is
    /// read back after a feature write.
    int writeData(QByteArray data, VXGeneralHidReport hidReport, bool getReportAfterSendReport);
    int writeData(QByteArray data, VXGeneralHidReport hidReport);
    int writeData(QByteArray data);

signals:
    /// The bytes of data sent, or -1 after a failure.
    void sigWriteResult(int writeResult, QString errorString);
    void sigGetFeatureReport(int getFeatureReportResult, QString errorString,
                             QJsonArray featureReportData);

protected:
    struct WriteRequest
    {
        QByteArray data;
        bool getReportAfterSendReport;
        VXGeneralHidReport hidReport;
    };

    void run() override;
    /// For the thread to send, as `writeData` does, after those that wait already.
    void enqueue(const WriteRequest &request);

private:
    using Buffer = std::vector<unsigned char>;

    // The write lock must be held by callers of these.
    void queryLengths();
    /// Sends the whole buffer; false if that really failed. `text` tells either way.
    bool sendReport(const Buffer &buffer, VXGeneralHidReport hidReport, QString &text);
    /// Sends the last bytes, fewer than a report.
    bool sendTail(Buffer &buffer, const QByteArray &tail, VXGeneralHidReport hidReport,
                  QString &text);
    void readBack(int length);

    /// Sleeps until the queue holds something; false once the thread is to end.
    bool waitForRequest();
    void serveQueue();

    QMutex writeMutex;
    QMutex waitMutex;
    QWaitCondition wakeCondition;
    OneRun life;
    int featureReportLength;
    int outputReportLength;
    const uchar reportID;
    const HidHandle handle;
    QList<WriteRequest> writeQueue;
};
