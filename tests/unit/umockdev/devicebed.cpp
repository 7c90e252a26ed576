#include "devicebed.h"

#include <QtGlobal>

// GLib names members like Qt's keywords.
#undef signals
#include <umockdev.h>

struct DeviceBed::State
{
    UMockdevTestbed *bed = umockdev_testbed_new();
    ~State() { g_object_unref(bed); }
};

DeviceBed::DeviceBed() : state(std::make_unique<State>()) {}

DeviceBed::~DeviceBed() = default;

void DeviceBed::add(const QByteArray &description)
{
    GError *error = nullptr;
    if (!umockdev_testbed_add_from_string(state->bed, description.constData(), &error))
        qFatal("no emulated device: %s", error->message);
}

void DeviceBed::setProperty(const char *sysPath, const char *name, const char *value)
{
    umockdev_testbed_set_property(state->bed, sysPath, name, value);
}

void DeviceBed::tell(const char *sysPath, const char *action)
{
    umockdev_testbed_uevent(state->bed, sysPath, action);
}
