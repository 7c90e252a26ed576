// How a result code is written in the log.
#pragma once

#include "platform/coreaudio.h"

#include <QString>

/// The code in base 16, signed as it is: a failure reads like "-7ff8fb70".
inline QString resultText(HRESULT code)
{
    return QString::number(code, 16);
}
