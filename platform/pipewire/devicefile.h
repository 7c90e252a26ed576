// The card's device files, as CreateFileW, ReadFile and WriteFile see them.
#pragma once

#include <QByteArray>
#include <QString>

namespace card
{
/// The newest bytes, 64 KiB at most, that were written to the device file with this suffix, oldest
/// first, over all its opens.
[[nodiscard]] QByteArray writtenBytes(const QString &fileSuffix);
} // namespace card
