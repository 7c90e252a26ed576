#include "platform/linux/volumetable.h"

namespace
{
constexpr int firstUnit = 'D' - 'A';
constexpr int lastUnit = 'Z' - 'A';
} // namespace

std::optional<VolumeTable::Event> VolumeTable::update(const QString &sysPath,
                                                      std::optional<WORD> flags)
{
    const auto known = volumes.constFind(sysPath);
    if ((known != volumes.constEnd()) == flags.has_value())
        return std::nullopt;
    if (!flags) {
        const Volume gone = volumes.take(sysPath);
        return Event{false, gone.unitMask, gone.flags};
    }
    const DWORD unit = freeUnit();
    if (unit == 0)
        return std::nullopt;
    volumes.insert(sysPath, {unit, *flags});
    return Event{true, unit, *flags};
}

DWORD VolumeTable::freeUnit() const
{
    DWORD taken = 0;
    for (const Volume &volume : volumes)
        taken |= volume.unitMask;
    for (int unit = firstUnit; unit <= lastUnit; ++unit) {
        if (!(taken >> unit & 1))
            return DWORD(1) << unit;
    }
    return 0;
}
