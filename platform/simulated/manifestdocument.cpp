// The manifests of packages as XML documents.
#include "platform/applications.h"
#include "platform/posix/taskmemory.h"
#include "platform/simulated/applicationtable.h"
#include "platform/simulated/objects.h"
#include "platform/simulated/recordedobject.h"

namespace simulated
{

namespace
{

constexpr QLatin1StringView manifestName{"\\AppxManifest.xml"};
constexpr QLatin1StringView displayNamePath{"/app:Package/app:Properties/app:DisplayName"};
constexpr QLatin1StringView foundationNamespace{
    "xmlns:app='http://schemas.microsoft.com/appx/manifest/foundation/windows10'"};

class ManifestNode final : public RecordedObject<IXMLDOMNode>
{
public:
    explicit ManifestNode(const QString &text) : RecordedObject("IXMLDOMNode"), text(text) {}

    HRESULT STDMETHODCALLTYPE get_text(BSTR *result) override
    {
        if (const auto fault = called("get_text"))
            return *fault;
        *result = SysAllocString(text.toStdWString().c_str());
        return S_OK;
    }

private:
    const QString text;
};

/// Finds the display name once its package's manifest is loaded and the prefix is bound.
class ManifestDocument final : public RecordedObject<IXMLDOMDocument2>
{
public:
    ManifestDocument() : RecordedObject("IXMLDOMDocument2") {}

    HRESULT STDMETHODCALLTYPE selectSingleNode(BSTR query, IXMLDOMNode **node) override
    {
        *node = nullptr;
        if (const auto fault = called("selectSingleNode", textOf(query)))
            return *fault;
        if (!isBound || textOf(query) != displayNamePath || displayName.isNull())
            return S_FALSE;
        *node = new ManifestNode(displayName);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE load(VARIANT source, VARIANT_BOOL *isSuccessful) override
    {
        *isSuccessful = VARIANT_FALSE;
        const QString file = source.vt == VT_BSTR ? textOf(source.bstrVal) : QString();
        if (const auto fault = called("load", file))
            return *fault;
        const auto package = file.endsWith(manifestName)
                                 ? findPackageByPath(file.chopped(manifestName.size()))
                                 : std::nullopt;
        if (!package || !package->hasManifest)
            return S_FALSE;
        displayName = package->displayName;
        *isSuccessful = VARIANT_TRUE;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE put_async(VARIANT_BOOL isAsync) override
    {
        const auto fault = called("put_async", QString::number(isAsync));
        return fault ? *fault : S_OK;
    }

    HRESULT STDMETHODCALLTYPE setProperty(BSTR name, VARIANT value) override
    {
        const QString text = value.vt == VT_BSTR ? textOf(value.bstrVal) : QString();
        if (const auto fault = called("setProperty", textOf(name) + u' ' + text))
            return *fault;
        isBound =
            textOf(name) == QLatin1StringView("SelectionNamespaces") && text == foundationNamespace;
        return S_OK;
    }

private:
    QString displayName;
    bool isBound = false;
};

} // namespace

IXMLDOMDocument2 *makeManifestDocument()
{
    return new ManifestDocument;
}

} // namespace simulated
