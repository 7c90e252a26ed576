// XML documents and the strings and variants that they speak.
#pragma once

#include "platform/vocabulary/propertystore.h"

using BSTR = wchar_t *;
using VARIANT_BOOL = int16_t;

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;
inline constexpr VARTYPE VT_BSTR = 8;

struct VARIANT
{
    VARTYPE vt;
    BSTR bstrVal;
};

inline void VariantInit(VARIANT *value)
{
    *value = VARIANT{};
}

/// A copy for SysFreeString; null when there is no memory.
BSTR SysAllocString(LPCWSTR text);
/// Null is legal.
void SysFreeString(BSTR text);

struct IXMLDOMNode : public IUnknown
{
    /// The text is the caller's, for SysFreeString.
    virtual HRESULT STDMETHODCALLTYPE get_text(BSTR *text) = 0;

protected:
    ~IXMLDOMNode() = default;
};

struct IXMLDOMDocument2 : public IUnknown
{
    /// S_FALSE with a null node when nothing is found.
    virtual HRESULT STDMETHODCALLTYPE selectSingleNode(BSTR query, IXMLDOMNode **node) = 0;
    virtual HRESULT STDMETHODCALLTYPE load(VARIANT source, VARIANT_BOOL *isSuccessful) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_async(VARIANT_BOOL isAsync) = 0;
    virtual HRESULT STDMETHODCALLTYPE setProperty(BSTR name, VARIANT value) = 0;

protected:
    ~IXMLDOMDocument2() = default;
};
