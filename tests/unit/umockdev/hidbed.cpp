#include "hidbed.h"

// GLib names members like Qt's keywords.
#undef signals
#include <fcntl.h>
#include <linux/hidraw.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <umockdev.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <set>
#include <vector>

struct HidBed::State
{
    mutable std::mutex mutex;
    std::vector<EmulatedHid> devices;
    std::set<QByteArray> unplugged;
    std::map<QByteArray, QList<QByteArray>> writes;
    QByteArray inputReport;
    DeviceBed bed;
    std::vector<UMockdevIoctlBase *> handlers;
};

namespace
{
constexpr unsigned hidrawMajor = 240;
/// How long a queue has to stay empty to count as read.
constexpr int drainMs = 200;

QByteArray nodeOf(std::size_t index)
{
    return "/dev/hidraw" + QByteArray::number(qulonglong(index));
}

std::size_t indexOf(const QByteArray &node)
{
    return std::size_t(node.back() - '0');
}

QByteArray portOf(std::size_t index)
{
    return "1-" + QByteArray::number(qulonglong(index + 1));
}

QByteArray answerTo(const HidBed::State &state, const QByteArray &node, gulong request)
{
    const int size = int(state.devices[indexOf(node)].descriptor.size());
    if (request == HIDIOCGRDESCSIZE)
        return {reinterpret_cast<const char *>(&size), sizeof size};
    return {};
}

gboolean onIoctl(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer data)
{
    const auto &state = *static_cast<HidBed::State *>(data);
    const gulong request = umockdev_ioctl_client_get_request(client);
    UMockdevIoctlData *argument = umockdev_ioctl_client_get_arg(client);
    const std::lock_guard lock(state.mutex);
    const QByteArray node = umockdev_ioctl_client_get_devnode(client);
    if (state.unplugged.contains(node)) {
        umockdev_ioctl_client_complete(client, -1, ENODEV);
        return TRUE;
    }
    QByteArray answer = answerTo(state, node, request);
    int result = 0;
    if (_IOC_TYPE(request) == 'H' && _IOC_NR(request) == _IOC_NR(HIDIOCGINPUT(0))) {
        answer = state.inputReport.left(qsizetype(_IOC_SIZE(request)));
        result = int(answer.size());
    }
    if (answer.isEmpty())
        return FALSE;
    UMockdevIoctlData *buffer =
        umockdev_ioctl_data_resolve(argument, 0, gsize(_IOC_SIZE(request)), nullptr);
    umockdev_ioctl_data_update(buffer, 0, reinterpret_cast<guint8 *>(answer.data()),
                               int(answer.size()));
    g_object_unref(buffer);
    umockdev_ioctl_client_complete(client, result, 0);
    return TRUE;
}

gboolean onWrite(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer data)
{
    auto &state = *static_cast<HidBed::State *>(data);
    const UMockdevIoctlData *argument = umockdev_ioctl_client_get_arg(client);
    const QByteArray node = umockdev_ioctl_client_get_devnode(client);
    const std::lock_guard lock(state.mutex);
    if (state.unplugged.contains(node)) {
        umockdev_ioctl_client_complete(client, -1, ENODEV);
        return TRUE;
    }
    if (state.devices[indexOf(node)].takesNoWrites)
        return FALSE;
    state.writes[node].append(
        QByteArray(reinterpret_cast<const char *>(argument->data), argument->data_len));
    umockdev_ioctl_client_complete(client, argument->data_len, 0);
    return TRUE;
}
} // namespace

HidBed::HidBed() : state(std::make_unique<State>()) {}

HidBed::~HidBed()
{
    for (std::size_t index = 0; index < state->devices.size(); ++index)
        umockdev_testbed_detach_ioctl(state->bed.testbed(), nodeOf(index).constData(), nullptr);
    for (UMockdevIoctlBase *handler : state->handlers)
        g_object_unref(handler);
}

DeviceBed &HidBed::devices() const
{
    return state->bed;
}

void HidBed::add(const EmulatedHid &device)
{
    const std::size_t index = state->devices.size();
    {
        const std::lock_guard lock(state->mutex);
        state->devices.push_back(device);
    }
    const QByteArray number = QByteArray::number(qulonglong(index));
    const QByteArray usb = "/devices/pci0000:00/usb1/" + portOf(index);
    const QByteArray interface = usb + '/' + portOf(index) + ":1.0";
    const QByteArray name = "0003:" + device.vendorId + ':' + device.productId + ".000" + number;
    const QByteArray hid = interface + '/' + name;
    state->bed.add(
        "P: " + usb + "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nA: idVendor=" + device.vendorId +
        "\nA: idProduct=" + device.productId +
        "\nA: manufacturer=Maker\nA: product=Emulated\nA: serial=" + device.serialNumber +
        "\nA: bcdDevice=0100\n\n");
    state->bed.add("P: " + interface +
                   "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_interface\n"
                   "A: bInterfaceNumber=00\n\n");
    state->bed.add("P: " + hid + "\nE: SUBSYSTEM=hid\nE: HID_ID=0003:0000" + device.vendorId +
                   ":0000" + device.productId +
                   "\nE: HID_NAME=Maker Emulated\nE: HID_UNIQ=" + device.serialNumber + "\n\n");
    state->bed.add("P: " + hid + "/hidraw/hidraw" + number + "\nN: hidraw" + number +
                   "\nE: SUBSYSTEM=hidraw\nE: DEVNAME=/dev/hidraw" + number +
                   "\nE: MAJOR=" + QByteArray::number(hidrawMajor) + "\nE: MINOR=" + number +
                   "\nA: dev=" + QByteArray::number(hidrawMajor) + ':' + number +
                   "\nL: device=../../../" + name + "\n\n");
    QByteArray descriptor = device.descriptor;
    umockdev_testbed_set_attribute_binary(
        state->bed.testbed(), ("/sys" + hid).constData(), "report_descriptor",
        reinterpret_cast<guint8 *>(descriptor.data()), int(descriptor.size()));

    UMockdevIoctlBase *handler = umockdev_ioctl_base_new();
    g_signal_connect(handler, "handle-ioctl", G_CALLBACK(onIoctl), state.get());
    g_signal_connect(handler, "handle-write", G_CALLBACK(onWrite), state.get());
    GError *error = nullptr;
    if (!umockdev_testbed_attach_ioctl(state->bed.testbed(), nodeOf(index).constData(), handler,
                                       &error))
        qFatal("no handler for an emulated device: %s", error->message);
    state->handlers.push_back(handler);
}

int HidBed::farSideOf(int index) const
{
    return umockdev_testbed_get_dev_fd(state->bed.testbed(),
                                       nodeOf(std::size_t(index)).constData());
}

void HidBed::sendReport(int index, const QByteArray &report)
{
    const int fd = farSideOf(index);
    if (::write(fd, report.constData(), std::size_t(report.size())) != report.size())
        qFatal("an emulated device cannot send");
}

QList<QByteArray> HidBed::writes(int index) const
{
    const std::lock_guard lock(state->mutex);
    const auto found = state->writes.find(nodeOf(std::size_t(index)));
    return found == state->writes.end() ? QList<QByteArray>() : found->second;
}

void HidBed::setInputReport(const QByteArray &report)
{
    const std::lock_guard lock(state->mutex);
    state->inputReport = report;
}

bool HidBed::isWrittenTo(int index) const
{
    pollfd queue{farSideOf(index), POLLIN, 0};
    return ::poll(&queue, 1, 0) > 0;
}

void HidBed::drain(int index)
{
    pollfd queue{farSideOf(index), POLLIN, 0};
    char bytes[4096];
    while (::poll(&queue, 1, drainMs) > 0 && ::read(queue.fd, bytes, sizeof bytes) > 0) {
    }
}

void HidBed::unplug(int index)
{
    const QByteArray node = nodeOf(std::size_t(index));
    {
        const std::lock_guard lock(state->mutex);
        state->unplugged.insert(node);
    }
    // The other side of the device hangs up, and its descriptor stays taken for the bed to close.
    const int fd = farSideOf(index);
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (::dup2(nothing, fd) != fd)
        qFatal("an emulated device cannot be unplugged");
    ::close(nothing);
    umockdev_testbed_remove_device(
        state->bed.testbed(),
        ("/sys/devices/pci0000:00/usb1/" + portOf(std::size_t(index))).constData());
}
