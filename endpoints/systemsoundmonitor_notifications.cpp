// SystemSoundMonitor: what endpoint notifications lead to, on the monitor's own thread.
#include "endpoints/systemsoundmonitor.h"

#include <QTimer>

void SystemSoundMonitor::onDefaultCaptureDeviceChanged(const QString &deviceID)
{
    QTimer::singleShot(0, this, [this, deviceID] {
        if (rememberDefault(defaultCaptureID, deviceID, eCapture))
            emit sigDefaultCaptureDeviceChanged(defaultCaptureID);
    });
}

void SystemSoundMonitor::onDefaultRenderDeviceChanged(const QString &deviceID)
{
    QTimer::singleShot(0, this, [this, deviceID] {
        if (rememberDefault(defaultRenderID, deviceID, eRender))
            emit sigDefaultRenderDeviceChanged(defaultRenderID);
    });
}

// The platform tells of each role; the comparison makes one signal of the three.
bool SystemSoundMonitor::rememberDefault(QString &remembered, const QString &id, EDataFlow flow)
{
    QString current = id;
    if (current.isEmpty()) {
        const auto source = heldEnumerator();
        current = defaultDeviceInfo(source.get(), flow)["deviceID"].toString();
    }
    if (current == remembered)
        return false;
    remembered = current;
    return true;
}

void SystemSoundMonitor::onDeviceAdded(const QString &deviceID)
{
    QTimer::singleShot(0, this, [this, deviceID] {
        addAudioEndpointVolumeCallbackMonitor(deviceID);
        emit sigDeviceAdded(deviceID);
    });
}

void SystemSoundMonitor::onDeviceRemoved(const QString &deviceID)
{
    QTimer::singleShot(0, this, [this, deviceID] {
        removeAudioEndpointVolumeCallbackMonitor(deviceID);
        emit sigDeviceRemoved(deviceID);
    });
}

void SystemSoundMonitor::onDeviceActive(const QString &deviceID)
{
    QTimer::singleShot(0, this, [this, deviceID] {
        addAudioEndpointVolumeCallbackMonitor(deviceID);
        emit sigDeviceActive(deviceID);
    });
}

void SystemSoundMonitor::onDeviceDisabled(const QString &deviceID)
{
    QTimer::singleShot(0, this, [this, deviceID] {
        removeAudioEndpointVolumeCallbackMonitor(deviceID);
        emit sigDeviceDisabled(deviceID);
    });
}

void SystemSoundMonitor::onDeviceNotPresent(const QString &deviceID)
{
    QTimer::singleShot(0, this, [this, deviceID] {
        removeAudioEndpointVolumeCallbackMonitor(deviceID);
        emit sigDeviceNotPresent(deviceID);
    });
}

void SystemSoundMonitor::onDeviceUnplugged(const QString &deviceID)
{
    QTimer::singleShot(0, this, [this, deviceID] {
        removeAudioEndpointVolumeCallbackMonitor(deviceID);
        emit sigDeviceUnplugged(deviceID);
    });
}

// Deliberately unconnected: a property change is passed straight on and the entry stays.
void SystemSoundMonitor::onPropertyValueChanged(const QString &deviceID)
{
    QTimer::singleShot(0, this, [this, deviceID] {
        removeAudioEndpointVolumeCallbackMonitor(deviceID);
        addAudioEndpointVolumeCallbackMonitor(deviceID);
        emit sigPropertyValueChanged(deviceID);
    });
}
