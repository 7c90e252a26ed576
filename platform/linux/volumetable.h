// Drive letters, for a system that has none.
#pragma once

#include "platform/devicenotification.h"

#include <QHash>
#include <QString>

#include <optional>

/// Gives each volume the first letter from D on that is free, for as long as it is there.
class VolumeTable
{
public:
    struct Event
    {
        bool arrived;
        DWORD unitMask; ///< one bit
        WORD flags;
    };

    /// Takes up what a device carries now, nothing if no volume; tells what came or went. A volume
    /// for which no letter is left is passed over.
    std::optional<Event> update(const QString &sysPath, std::optional<WORD> flags);

private:
    struct Volume
    {
        DWORD unitMask;
        WORD flags;
    };

    [[nodiscard]] DWORD freeUnit() const;

    QHash<QString, Volume> volumes;
};
