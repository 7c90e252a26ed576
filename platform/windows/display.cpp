#include "platform/display.h"

void preparePlatformDisplay()
{
    // A Windows session always has a desktop.
}
