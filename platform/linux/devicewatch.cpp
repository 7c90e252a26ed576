#include "platform/linux/devicewatch.h"

#include "platform/posix/windowmessages.h"

#include <QSocketNotifier>
#include <QWidget>

#include <libudev.h>

#include <array>

namespace
{
struct Subsystem
{
    const char *name;
    const char *deviceType;
};
constexpr std::array<Subsystem, 4> watchedSubsystems{
    {{"usb", "usb_device"}, {"hid", nullptr}, {"block", nullptr}, {"tty", nullptr}}};
} // namespace

void DeviceWatch::Release::operator()(udev *context) const
{
    udev_unref(context);
}

void DeviceWatch::Release::operator()(udev_monitor *monitor) const
{
    udev_monitor_unref(monitor);
}

void DeviceWatch::Release::operator()(udev_device *device) const
{
    udev_device_unref(device);
}

DeviceWatch *DeviceWatch::of(QWidget *widget)
{
    if (auto *existing = widget->findChild<DeviceWatch *>(QString(), Qt::FindDirectChildrenOnly))
        return existing;
    std::unique_ptr<DeviceWatch> watch(new DeviceWatch(widget));
    if (!watch->listen())
        return nullptr;
    watch->findVolumes();
    return watch.release();
}

DeviceWatch::DeviceWatch(QWidget *widget) : QObject(widget), widget(widget), context(udev_new()) {}

bool DeviceWatch::listen()
{
    if (!context)
        return false;
    monitor.reset(udev_monitor_new_from_netlink(context.get(), "udev"));
    if (!monitor)
        return false;
    for (const auto &[name, deviceType] : watchedSubsystems) {
        if (udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), name, deviceType) < 0)
            return false;
    }
    if (udev_monitor_enable_receiving(monitor.get()) < 0)
        return false;
    auto *notifier =
        new QSocketNotifier(udev_monitor_get_fd(monitor.get()), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &DeviceWatch::readChanges);
    return true;
}

void DeviceWatch::findVolumes()
{
    const std::unique_ptr<udev_enumerate, decltype(&udev_enumerate_unref)> list(
        udev_enumerate_new(context.get()), &udev_enumerate_unref);
    if (!list || udev_enumerate_add_match_subsystem(list.get(), "block") < 0 ||
        udev_enumerate_scan_devices(list.get()) < 0)
        return;
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(list.get()))
    {
        const std::unique_ptr<udev_device, Release> device(
            udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
        if (!device)
            continue;
        const DeviceChange change = changeOf(device.get());
        volumes.update(change.sysPath, volumeOf(change));
    }
}

void DeviceWatch::readChanges()
{
    while (const std::unique_ptr<udev_device, Release> device{
        udev_monitor_receive_device(monitor.get())})
        tell(changeOf(device.get()));
}

DeviceChange DeviceWatch::changeOf(udev_device *device)
{
    DeviceChange change{QString::fromUtf8(udev_device_get_action(device)),
                        QString::fromUtf8(udev_device_get_subsystem(device)),
                        QString::fromUtf8(udev_device_get_syspath(device)),
                        QString::fromUtf8(udev_device_get_sysname(device)),
                        {}};
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_device_get_properties_list_entry(device))
    {
        change.properties.insert(QString::fromUtf8(udev_list_entry_get_name(entry)),
                                 QString::fromUtf8(udev_list_entry_get_value(entry)));
    }
    return change;
}

void DeviceWatch::tell(const DeviceChange &change)
{
    const bool isGone = change.action == QLatin1StringView("remove");
    const bool isNew = change.action == QLatin1StringView("add");
    const auto volume = volumes.update(change.sysPath, isGone ? std::nullopt : volumeOf(change));
    if (isNew || isGone) {
        const auto device = interfaceOf(change);
        if (device && classes.contains(device->interfaceClass))
            send(isNew, posix::interfaceBroadcast(device->interfaceClass, device->path));
        const QString port = serialPortOf(change);
        if (!port.isEmpty())
            send(isNew, posix::portBroadcast(port));
    }
    if (volume)
        send(volume->arrived, posix::volumeBroadcast(volume->unitMask, volume->flags));
}

void DeviceWatch::send(bool arrived, std::vector<BYTE> broadcast)
{
    posix::sendDeviceChange(reinterpret_cast<HWND>(widget->winId()),
                            arrived ? DBT_DEVICEARRIVAL : DBT_DEVICEREMOVECOMPLETE,
                            std::move(broadcast));
}
