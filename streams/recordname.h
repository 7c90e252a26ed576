// The names of recordings.
#pragma once

#include "common/tavoritypes.h"

#include <QDateTime>
#include <QString>

/// The path of a recording of the channel, in the working directory. The day stands before the
/// month in it.
[[nodiscard]] QString recordFilePath(tavoriDeviceType type, const QDateTime &time);
