#include "streams/gainrules.h"

#include <QtGlobal>

double mixFactor(bool enabled, int proportion)
{
    if (!enabled)
        return 1.0;
    // Single precision throughout; the wide sum keeps any proportion of a client defined.
    return static_cast<float>(qint64{proportion} + 100) / 100.0f;
}
