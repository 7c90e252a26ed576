// The thread that pulls input reports from an open HID device.
#pragma once

#include "VXLibrary/src/hidhandle.h"
#include "VXLibrary/src/onerun.h"

#include <QByteArray>
#include <QMutex>
#include <QString>
#include <QThread>

/// Runs once, until `stop` or a read error. Its signals are raised on its own thread.
class VXGeneralReadThread : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VXGeneralReadThread)

public:
    /// The length is the device's; the thread asks the device itself. `reportID` decides whether
    /// reports come with their ID, see `readReport`.
    VXGeneralReadThread(int length, uchar reportID, HidHandle handle, QObject *parent = nullptr);
    /// Stops, and waits for a read that still holds on.
    ~VXGeneralReadThread() override;

    /// Asks the thread to end and waits for it, 1500 ms at most, the longest that a read takes.
    void stop();
    /// True before it has begun and after `stop`; an end by a read error does not count.
    [[nodiscard]] bool isStopped() const { return life.isStopped(); }

signals:
    void sigReadData(QByteArray data);
    void sigReadError(int readResult, QString errorString);

protected:
    void run() override;

private:
    /// One read; false after an error that ends the thread.
    bool receive(bool usesReportIds, QByteArray &buffer);

    QMutex mutex;
    OneRun life;
    [[maybe_unused]] const int length;
    const uchar reportID;
    HidHandle handle;
};
