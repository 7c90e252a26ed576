#include "platform/posix/comruntime.h"

#include <QRandomGenerator>

#include <array>
#include <cstring>

namespace posix
{

namespace
{
thread_local unsigned comDepth = 0;
}

HRESULT initializeCom()
{
    return comDepth++ == 0 ? S_OK : S_FALSE;
}

void uninitializeCom()
{
    if (comDepth > 0)
        --comDepth;
}

HRESULT createGuid(GUID *guid)
{
    if (!guid)
        return E_POINTER;
    std::array<quint32, sizeof(GUID) / sizeof(quint32)> noise{};
    QRandomGenerator::system()->fillRange(noise.data(), noise.size());
    GUID fresh;
    std::memcpy(&fresh, noise.data(), sizeof(fresh));
    fresh.Data3 = (fresh.Data3 & 0x0FFF) | 0x4000;   // version 4
    fresh.Data4[0] = (fresh.Data4[0] & 0x3F) | 0x80; // the common variant
    *guid = fresh;
    return S_OK;
}

} // namespace posix
