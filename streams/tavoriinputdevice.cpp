#include "streams/tavoriinputdevice.h"

#include "platform/signalstack.h"
#include "platform/threads.h"
#include "streams/drivercommand.h"
#include "streams/driverfile.h"

#include <QDebug>
#include <QThread>

tavoriInputDevice::tavoriInputDevice() : m_thread(new QThread)
{
    moveToThread(m_thread);
    SignalStack::provideTo(*m_thread);
    m_thread->start(QThread::InheritPriority);
}

tavoriInputDevice::~tavoriInputDevice()
{
    closeDevice();
    m_thread->quit();
    m_thread->wait(100);
    retire(m_thread);
}

bool tavoriInputDevice::openDevice(const wchar_t *devicePath, tavoriDeviceType deviceType)
{
    qInfo() << "Try to open device:" << deviceType;
    closeDevice();

    m_deviceHandle = openDriverFile(devicePath);
    if (m_deviceHandle == INVALID_HANDLE_VALUE) {
        m_deviceType = tavoriNoDevice;
        return false;
    }
    m_deviceType = deviceType;
    writeCommand(m_deviceHandle, commandBlock(static_cast<uchar>(deviceType), false));
    return true;
}

void tavoriInputDevice::closeDevice()
{
    qInfo() << "Try to close device:" << m_deviceType;
    // The type stays, so that a later close still names the channel that was open.
    closeDriverFile(m_deviceHandle, m_deviceType);
}
