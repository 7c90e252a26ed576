// Strings and activation of the Windows Runtime.
#pragma once

#include "platform/vocabulary/unknown.h"

using HSTRING = struct HSTRING__ *;

/// The caller's room for a string that is only borrowed.
struct HSTRING_HEADER
{
    const void *reserved[3];
};

inline constexpr IID IID_IInspectable{
    0xAF86E2E0, 0xB12D, 0x4C6A, {0x9C, 0x5A, 0xD7, 0xAA, 0x65, 0x10, 0x1E, 0x90}};

enum TrustLevel
{
    BaseTrust,
    PartialTrust,
    FullTrust,
};

struct IInspectable : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetIids(ULONG *count, IID **ids) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING *name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel *level) = 0;

protected:
    ~IInspectable() = default;
};

struct IActivationFactory : public IInspectable
{
    virtual HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable **instance) = 0;

protected:
    ~IActivationFactory() = default;
};

/// Length in characters. An empty text is a null string.
HRESULT WindowsCreateString(LPCWSTR text, UINT32 length, HSTRING *string);
/// The text must be terminated and outlive the string, as must the header.
HRESULT WindowsCreateStringReference(LPCWSTR text, UINT32 length, HSTRING_HEADER *header,
                                     HSTRING *string);
/// Null and references are legal.
HRESULT WindowsDeleteString(HSTRING string);
/// Never null; `length` may be.
LPCWSTR WindowsGetStringRawBuffer(HSTRING string, UINT32 *length);

/// REGDB_E_CLASSNOTREG for an unknown class, E_NOINTERFACE for an interface that it lacks.
HRESULT RoGetActivationFactory(HSTRING className, REFIID id, void **factory);
