// Emulated hidraw devices: the kernel's side of a USB HID device, as far as umockdev carries it.
#pragma once

#include "devicebed.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <memory>

struct EmulatedHid
{
    /// Four hexadecimal digits each.
    QByteArray vendorId;
    QByteArray productId;
    QByteArray serialNumber;
    QByteArray descriptor;
    /// What is written stays in the device's own queue until it is full; then writes wait.
    bool takesNoWrites = false;
};

/// The test bed of this process and its children. Devices are /dev/hidraw0 and so on, in order.
class HidBed
{
public:
    HidBed();
    ~HidBed();
    HidBed(const HidBed &) = delete;
    HidBed &operator=(const HidBed &) = delete;

    void add(const EmulatedHid &device);
    /// Lets the device send an input report.
    void sendReport(int index, const QByteArray &report);
    /// What has been written to the device, one entry a write.
    [[nodiscard]] QList<QByteArray> writes(int index) const;
    void setInputReport(const QByteArray &report);
    /// Whether a write to a device that takes none has begun.
    [[nodiscard]] bool isWrittenTo(int index) const;
    /// Reads what stands in the queue of a device that takes no writes, and lets writes go on.
    void drain(int index);
    /// Takes the device away: reads end with a hang-up, and writes fail.
    void unplug(int index);

    /// Where these devices stand, for others beside them.
    [[nodiscard]] DeviceBed &devices() const;

    struct State;

private:
    /// The descriptor of a device's own end.
    [[nodiscard]] int farSideOf(int index) const;

    std::unique_ptr<State> state;
};
