// A desktop entry read as the manifest of a package.
#pragma once

#include "platform/posix/comobject.h"

/// Loads "ENTRY\AppxManifest.xml", where ENTRY is the file of an installed desktop entry, and finds
/// one node in it, the display name.
class ManifestDocument final : public posix::ComObject<IXMLDOMDocument2>
{
public:
    HRESULT STDMETHODCALLTYPE selectSingleNode(BSTR query, IXMLDOMNode **node) override;
    HRESULT STDMETHODCALLTYPE load(VARIANT source, VARIANT_BOOL *isSuccessful) override;
    HRESULT STDMETHODCALLTYPE put_async(VARIANT_BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE setProperty(BSTR, VARIANT) override { return S_OK; }

private:
    QString displayName;
};
