// Emulated devices that come and go, as udev tells of them.
#pragma once

#include <QByteArray>

#include <memory>

using UMockdevTestbed = struct _UMockdevTestbed;

/// The test bed of this process and its children.
class DeviceBed
{
public:
    DeviceBed();
    ~DeviceBed();
    DeviceBed(const DeviceBed &) = delete;
    DeviceBed &operator=(const DeviceBed &) = delete;

    /// A device in the words of umockdev-record: "P: path", "E: KEY=value" and "A: attribute=value"
    /// lines. Nothing is told yet.
    void add(const QByteArray &description);
    void setProperty(const char *sysPath, const char *name, const char *value);
    /// Lets udev tell "add", "change" or "remove".
    void tell(const char *sysPath, const char *action);

    [[nodiscard]] UMockdevTestbed *testbed() const { return bed.get(); }

private:
    struct Release
    {
        void operator()(UMockdevTestbed *bed) const;
    };

    std::unique_ptr<UMockdevTestbed, Release> bed;
};
