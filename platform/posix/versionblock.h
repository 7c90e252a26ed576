// A block of version information, as the two platforms fill and read it.
#pragma once

#include "platform/basetypes.h"

#include <QList>
#include <QPair>
#include <QString>

#include <cstddef>

namespace posix
{

/// One translation, then each key with its text.
class VersionBlock
{
public:
    using Texts = QList<QPair<QString, QString>>;

    explicit VersionBlock(const Texts &texts);

    [[nodiscard]] DWORD bytes() const { return static_cast<DWORD>(data.size()); }
    /// False, with nothing written, when the room is too small.
    bool copyTo(LPVOID room, DWORD bytes) const;

    /// What VerQueryValueW answers about such a block.
    static bool query(const void *block, LPCWSTR subBlock, LPVOID *value, UINT *length);

private:
    QByteArray data;
};

} // namespace posix
