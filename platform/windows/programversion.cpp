#include "platform/programversion.h"

void provideProgramVersion(const QString &)
{
    // The resource has it.
}
