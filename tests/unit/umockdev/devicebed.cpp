#include "devicebed.h"

#include <QtGlobal>

// GLib names members like Qt's keywords.
#undef signals
#include <umockdev.h>

void DeviceBed::Release::operator()(UMockdevTestbed *bed) const
{
    g_object_unref(bed);
}

DeviceBed::DeviceBed() : bed(umockdev_testbed_new()) {}

DeviceBed::~DeviceBed() = default;

void DeviceBed::add(const QByteArray &description)
{
    GError *error = nullptr;
    if (!umockdev_testbed_add_from_string(bed.get(), description.constData(), &error))
        qFatal("no emulated device: %s", error->message);
}

void DeviceBed::setProperty(const char *sysPath, const char *name, const char *value)
{
    umockdev_testbed_set_property(bed.get(), sysPath, name, value);
}

void DeviceBed::tell(const char *sysPath, const char *action)
{
    umockdev_testbed_uevent(bed.get(), sysPath, action);
}
