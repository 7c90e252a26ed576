#include "platform/windows/runtimefaults.h"

void raiseRuntimeFaults(int)
{
    // Breakpad is told of all of them.
}
