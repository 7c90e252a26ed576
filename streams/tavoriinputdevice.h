// The channel of a virtual capture line.
#pragma once

#include "common/tavoritypes.h"
#include "platform/coreaudio.h"

#include <QObject>
#include <QString>

class QThread;

/// Holds the device file of a virtual capture line open, which tells the driver that the line is
/// in use; its sound takes another way. Used on the controller's thread alone.
class tavoriInputDevice : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(tavoriInputDevice)

public:
    /// The object moves to a thread of its own, so it cannot have a parent.
    tavoriInputDevice();
    ~tavoriInputDevice() override;

    /// True when the file is open. A device that is already open is closed first.
    bool openDevice(const wchar_t *devicePath, tavoriDeviceType deviceType);
    /// Legal on a closed object.
    void closeDevice();

    void setDeviceName(const QString &deviceName) { m_deviceName = deviceName; }
    void setDeviceID(const QString &deviceID) { m_deviceID = deviceID; }
    /// The ID of the render endpoint that belongs to the line.
    void setEndpointID(const QString &endpointID) { m_endpointID = endpointID; }

    [[nodiscard]] tavoriDeviceType deviceType() const { return m_deviceType; }
    [[nodiscard]] QString deviceName() const { return m_deviceName; }
    [[nodiscard]] QString deviceID() const { return m_deviceID; }
    [[nodiscard]] QString endpointID() const { return m_endpointID; }

private:
    QThread *m_thread; ///< owned; ended with `retire`
    HANDLE m_deviceHandle = INVALID_HANDLE_VALUE;
    tavoriDeviceType m_deviceType = tavoriNoDevice;
    QString m_deviceName;
    QString m_deviceID;
    QString m_endpointID;
};
