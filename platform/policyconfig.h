// The undocumented policy interfaces, declared by slot: no public header has them. Slots count
// from 0 with the three of IUnknown first; only the two named methods are ever called, and nobody
// implements the others.
#pragma once

#include "platform/coreaudio.h"

inline constexpr CLSID CLSID_PolicyConfig{
    0x870AF99C, 0x171D, 0x4F9E, {0xAF, 0x0D, 0xE6, 0x3D, 0xF4, 0x0C, 0x2B, 0xC9}};
inline constexpr IID IID_IPolicyConfig{
    0xF8679F50, 0x850A, 0x41CF, {0x9C, 0x72, 0x43, 0x0F, 0x29, 0x02, 0x90, 0xC8}};
inline constexpr CLSID CLSID_PolicyConfigVista{
    0x294935CE, 0xF637, 0x4E7C, {0xA4, 0x1B, 0xAB, 0x25, 0x54, 0x60, 0xB8, 0x62}};
inline constexpr IID IID_IPolicyConfigVista{
    0x568B9108, 0x44BF, 0x40B4, {0x90, 0x06, 0x86, 0xAF, 0xE5, 0xB5, 0xA6, 0x20}};

/// SetDefaultEndpoint in slot 13, SetEndpointVisibility in slot 14.
struct IPolicyConfig : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE slot3() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot4() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot5() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot6() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot7() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot8() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot9() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot10() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot11() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot12() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE SetDefaultEndpoint(LPCWSTR deviceID, ERole role) = 0;
    /// Returns when the endpoint is listed or gone.
    virtual HRESULT STDMETHODCALLTYPE SetEndpointVisibility(LPCWSTR deviceID, int visible) = 0;

protected:
    ~IPolicyConfig() = default;
};

/// SetDefaultEndpoint in slot 12, SetEndpointVisibility in slot 13.
struct IPolicyConfigVista : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE slot3() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot4() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot5() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot6() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot7() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot8() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot9() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot10() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE slot11() { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE SetDefaultEndpoint(LPCWSTR deviceID, ERole role) = 0;
    /// Returns when the endpoint is listed or gone.
    virtual HRESULT STDMETHODCALLTYPE SetEndpointVisibility(LPCWSTR deviceID, int visible) = 0;

protected:
    ~IPolicyConfigVista() = default;
};
