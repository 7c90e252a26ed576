// Tells a window what udev tells of devices that come and go.
#pragma once

#include "platform/linux/devicechange.h"
#include "platform/linux/volumetable.h"

#include <QList>
#include <QObject>

#include <memory>
#include <vector>

struct udev;
struct udev_device;
struct udev_monitor;
class QWidget;

/// A child of the widget that it tells; one for each. Main thread.
class DeviceWatch : public QObject
{
    Q_OBJECT

public:
    /// The widget's own, made when it has none; null where udev can't be listened to.
    static DeviceWatch *of(QWidget *widget);

    /// Interfaces of this class are told from now on. Volumes and ports always are.
    void addClass(const GUID &interfaceClass) { classes.append(interfaceClass); }

private:
    explicit DeviceWatch(QWidget *widget);

    struct Release
    {
        void operator()(udev *context) const;
        void operator()(udev_monitor *monitor) const;
        void operator()(udev_device *device) const;
    };

    [[nodiscard]] bool listen();
    /// Takes up the volumes that are there already, so that their letters are taken and their
    /// removal is told.
    void findVolumes();
    void readChanges();
    void tell(const DeviceChange &change);
    void send(bool arrived, std::vector<BYTE> broadcast);
    [[nodiscard]] static DeviceChange changeOf(udev_device *device);

    QWidget *widget;
    QList<GUID> classes;
    VolumeTable volumes;
    std::unique_ptr<udev, Release> context;
    std::unique_ptr<udev_monitor, Release> monitor;
};
