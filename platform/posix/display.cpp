#include "platform/display.h"

#include <QByteArray>

void preparePlatformDisplay()
{
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        return;
    if (!qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return;
    qputenv("QT_QPA_PLATFORM", "offscreen");
}
