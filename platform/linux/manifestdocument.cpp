#include "platform/linux/manifestdocument.h"

#include "platform/linux/desktopentries.h"
#include "platform/posix/taskmemory.h"

namespace
{
constexpr QLatin1StringView manifestName{"\\AppxManifest.xml"};
constexpr QLatin1StringView displayNamePath{"/app:Package/app:Properties/app:DisplayName"};

class TextNode final : public posix::ComObject<IXMLDOMNode>
{
public:
    explicit TextNode(QString text) : text(std::move(text)) {}

    HRESULT STDMETHODCALLTYPE get_text(BSTR *result) override
    {
        *result = posix::taskMemoryString(text);
        return *result ? S_OK : E_OUTOFMEMORY;
    }

private:
    const QString text;
};
} // namespace

HRESULT ManifestDocument::selectSingleNode(BSTR query, IXMLDOMNode **node)
{
    const bool isFound =
        !displayName.isEmpty() && QString::fromWCharArray(query) == displayNamePath;
    *node = isFound ? new TextNode(displayName) : nullptr;
    return isFound ? S_OK : S_FALSE;
}

HRESULT ManifestDocument::load(VARIANT source, VARIANT_BOOL *isSuccessful)
{
    *isSuccessful = VARIANT_FALSE;
    const QString path = QString::fromWCharArray(source.vt == VT_BSTR ? source.bstrVal : L"");
    if (!path.endsWith(manifestName))
        return S_FALSE;
    const auto entry = desktopentries::byFile(path.chopped(manifestName.size()));
    if (!entry)
        return S_FALSE;
    displayName = entry->name;
    *isSuccessful = VARIANT_TRUE;
    return S_OK;
}

BSTR SysAllocString(LPCWSTR text)
{
    return text ? posix::taskMemoryString(QString::fromWCharArray(text)) : nullptr;
}

void SysFreeString(BSTR text)
{
    posix::taskMemoryFree(text);
}
