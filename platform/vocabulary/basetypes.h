// Basic types and result codes of the Windows desktop, for systems without its SDK.
// Widths are those of 64-bit Windows; wchar_t keeps the system's own width.
#pragma once

#include <cstdint>
#include <cstring>

#define STDMETHODCALLTYPE
#define WINAPI

using BOOL = int32_t;
using BYTE = uint8_t;
using WORD = uint16_t;
using DWORD = uint32_t;
using UINT = uint32_t;
using UINT32 = uint32_t;
using UINT64 = uint64_t;
using ULONG = uint32_t;
using LONG = int32_t;
using SIZE_T = std::size_t;
using WCHAR = wchar_t;
using LPWSTR = wchar_t *;
using LPCWSTR = const wchar_t *;
using LPVOID = void *;
using HRESULT = int32_t;
using HANDLE = void *;
using HWND = struct HWND__ *;
using REFERENCE_TIME = int64_t; ///< 100 ns units

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;

struct GUID
{
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};

inline bool operator==(const GUID &left, const GUID &right)
{
    return std::memcmp(&left, &right, sizeof(GUID)) == 0;
}
inline bool operator!=(const GUID &left, const GUID &right)
{
    return !(left == right);
}

using IID = GUID;
using CLSID = GUID;
using REFIID = const IID &;
using REFCLSID = const CLSID &;
using REFGUID = const GUID &;
using LPCGUID = const GUID *;

inline constexpr GUID GUID_NULL{};

inline bool IsEqualGUID(REFGUID left, REFGUID right)
{
    return left == right;
}

constexpr bool FAILED(HRESULT result)
{
    return result < 0;
}
constexpr bool SUCCEEDED(HRESULT result)
{
    return result >= 0;
}

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr HRESULT E_NOTFOUND = static_cast<HRESULT>(0x80070490);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);
inline constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106);

// Win32 error codes that GetLastError gives.
inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_CALL_NOT_IMPLEMENTED = 120;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
