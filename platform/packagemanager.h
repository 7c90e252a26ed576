// The runtime class of installed packages, declared by slot. Slots count from 0 with the three of
// IUnknown and the three of IInspectable first; only the named methods are ever called.
#pragma once

#include "platform/unusedslots.h"
#include "platform/winrt.h"

inline constexpr wchar_t packageManagerClass[] = L"Windows.Management.Deployment.PackageManager";
inline constexpr IID IID_PackageManager{
    0x9A7D4B65, 0x5E8F, 0x4FC7, {0xA2, 0xE5, 0x7F, 0x69, 0x25, 0xCB, 0x8B, 0x53}};
inline constexpr IID IID_Package2{
    0xA6612FB6, 0x7688, 0x4ACE, {0x95, 0xFB, 0x35, 0x95, 0x38, 0xE7, 0xAA, 0x01}};

/// FindPackageByUserSecurityIdPackageFullName in slot 21.
struct PackageManager : public UnusedSlots<IInspectable, 15>
{
    /// An empty user is the caller's own. Null with S_OK for a package that is not there.
    virtual HRESULT STDMETHODCALLTYPE FindPackageByUserSecurityIdPackageFullName(
        HSTRING user, HSTRING fullName, IInspectable **package) = 0;

protected:
    ~PackageManager() = default;
};

/// get_DisplayName in slot 6.
struct Package2 : public IInspectable
{
    /// The name is the caller's, for WindowsDeleteString.
    virtual HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING *name) = 0;

protected:
    ~Package2() = default;
};
