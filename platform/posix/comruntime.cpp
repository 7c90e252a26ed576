#include "platform/posix/comruntime.h"

#include <sys/random.h>

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
    GUID fresh;
    if (::getrandom(&fresh, sizeof(fresh), 0) != static_cast<ssize_t>(sizeof(fresh)))
        return E_FAIL;
    fresh.Data3 = (fresh.Data3 & 0x0FFF) | 0x4000;   // version 4
    fresh.Data4[0] = (fresh.Data4[0] & 0x3F) | 0x80; // the common variant
    *guid = fresh;
    return S_OK;
}

} // namespace posix
