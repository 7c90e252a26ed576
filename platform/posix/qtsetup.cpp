#include "platform/qtsetup.h"

#include <QByteArray>

namespace
{
void chooseDisplay()
{
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        return;
    if (!qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return;
    qputenv("QT_QPA_PLATFORM", "offscreen");
}

/// Nothing here needs GLib's main loop, and every block of sound crosses an event loop: Qt's own is
/// lighter.
void chooseEventLoops()
{
    if (!qEnvironmentVariableIsSet("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
}
} // namespace

void prepareQt()
{
    chooseDisplay();
    chooseEventLoops();
}
