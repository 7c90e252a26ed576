// Property keys, values and stores.
#pragma once

#include "platform/vocabulary/unknown.h"

struct PROPERTYKEY
{
    GUID fmtid;
    DWORD pid;
};

inline bool operator==(const PROPERTYKEY &left, const PROPERTYKEY &right)
{
    return left.fmtid == right.fmtid && left.pid == right.pid;
}

using REFPROPERTYKEY = const PROPERTYKEY &;
using VARTYPE = uint16_t;

inline constexpr VARTYPE VT_EMPTY = 0;
inline constexpr VARTYPE VT_LPWSTR = 31;

/// Holds nothing (VT_EMPTY) or a wide string from CoTaskMemAlloc (VT_LPWSTR).
struct PROPVARIANT
{
    VARTYPE vt;
    LPWSTR pwszVal;
};

inline void PropVariantInit(PROPVARIANT *value)
{
    *value = PROPVARIANT{};
}
HRESULT PropVariantClear(PROPVARIANT *value);

inline constexpr DWORD STGM_READ = 0;

inline constexpr IID IID_IPropertyStore{
    0x886D8EEB, 0x8CF2, 0x4446, {0x8D, 0x02, 0xCD, 0xBA, 0x1D, 0xBD, 0xCF, 0x99}};

struct IPropertyStore : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY key, PROPVARIANT *value) = 0;

protected:
    ~IPropertyStore() = default;
};

inline constexpr PROPERTYKEY PKEY_Device_FriendlyName{
    {0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 14};
