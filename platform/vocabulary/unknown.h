// IUnknown and the COM functions that the system calls.
#pragma once

#include "platform/vocabulary/basetypes.h"

inline constexpr IID IID_IUnknown{0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

struct IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppvObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

protected:
    ~IUnknown() = default;
};

inline constexpr DWORD CLSCTX_INPROC_SERVER = 1;
inline constexpr DWORD CLSCTX_ALL = 23;

inline constexpr DWORD COINIT_MULTITHREADED = 0;
inline constexpr DWORD COINIT_APARTMENTTHREADED = 2;

/// Starts COM on the calling thread. Unbalanced calls are harmless.
HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit);
HRESULT CoInitialize(LPVOID pvReserved);
void CoUninitialize();

/// Makes an object of a class of the platform library. REGDB_E_CLASSNOTREG for an unknown
/// class, E_NOINTERFACE for an interface that it lacks; *ppv is null on failure.
HRESULT CoCreateInstance(REFCLSID rclsid, IUnknown *pUnkOuter, DWORD dwClsContext, REFIID riid,
                         LPVOID *ppv);

/// Fills in a random GUID.
HRESULT CoCreateGuid(GUID *pguid);

/// Memory that crosses an interface: allocated by one side, freed by the other. Null is legal.
LPVOID CoTaskMemAlloc(SIZE_T cb);
void CoTaskMemFree(LPVOID pv);
