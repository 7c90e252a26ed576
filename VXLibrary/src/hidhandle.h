// An open HID device.
#pragma once

#include "VXLibrary/src/hidreports.h"
#include "platform/hid.h"

#include <QMutex>
#include <QString>

#include <memory>

/// Closes the device at its end.
///
/// The HID layer keeps one error text a device, which its next call frees, whoever makes that call.
/// So calls go one by one, each together with its text. A read waits too long for that: who reads
/// opens the device once more, and alone has that handle.
class OpenHidDevice
{
public:
    explicit OpenHidDevice(hid_device *opened) : device(opened) {}
    ~OpenHidDevice() { hid_close(device); }
    OpenHidDevice(const OpenHidDevice &) = delete;
    OpenHidDevice &operator=(const OpenHidDevice &) = delete;

    struct Answer
    {
        int result;
        /// Empty unless the result is negative.
        QString errorText;
    };

    /// A function of the HID layer with the device as its first argument. Any thread; waits for a
    /// call under way.
    template <typename Function, typename... Arguments>
    Answer call(Function function, Arguments... arguments)
    {
        const QMutexLocker locker(&mutex);
        const int result = function(device, arguments...);
        return {result, result < 0 ? hidErrorText(device) : QString()};
    }

    /// For the thread that reads, whose calls nobody waits for.
    [[nodiscard]] hid_device *unguarded() const { return device; }

private:
    hid_device *const device;
    QMutex mutex;
};

/// Shared by the device and its threads: whoever lets go last closes it, so that no read that is
/// still under way loses its device. Null means closed.
using HidHandle = std::shared_ptr<OpenHidDevice>;
