// The display name of a packaged application, from its manifest.
#include "platform/comptr.h"
#include "platform/resulttext.h"
#include "sessions/applicationidentity.h"
#include "sessions/openedprocess.h"
#include "sessions/packagemanager.h"

#include <QDebug>

#include <array>
#include <memory>
#include <vector>

namespace
{
constexpr QLatin1StringView resourceScheme{"ms-resource:"};
constexpr UINT resourceCapacity = 256; // characters
constexpr wchar_t foundationNamespace[] =
    L"xmlns:app='http://schemas.microsoft.com/appx/manifest/foundation/windows10'";
constexpr wchar_t displayNamePath[] = L"/app:Package/app:Properties/app:DisplayName";

/// Owns a BSTR.
class ComText
{
public:
    explicit ComText(LPCWSTR text) : text(SysAllocString(text)) {}
    ~ComText() { SysFreeString(text); }
    ComText(const ComText &) = delete;
    ComText &operator=(const ComText &) = delete;

    [[nodiscard]] BSTR get() const { return text; }
    /// The text as an argument; it stays this object's own.
    [[nodiscard]] VARIANT asVariant() const
    {
        VARIANT value;
        VariantInit(&value);
        value.vt = VT_BSTR;
        value.bstrVal = text;
        return value;
    }

private:
    BSTR text;
};

/// Empty for a process without a package.
std::wstring packageFullName(HANDLE process)
{
    UINT32 length = 0;
    const LONG asked = GetPackageFullName(process, &length, nullptr);
    if (asked != LONG{ERROR_SUCCESS} && asked != LONG{ERROR_INSUFFICIENT_BUFFER})
        return {};
    std::wstring name(length, L'\0');
    if (length == 0 || GetPackageFullName(process, &length, name.data()) != LONG{ERROR_SUCCESS})
        return {};
    name.resize(length > 0 ? length - 1 : 0); // without the terminator
    return name;
}

QString nodeText(IXMLDOMDocument2 *document)
{
    ComPtr<IXMLDOMNode> node;
    document->selectSingleNode(ComText(displayNamePath).get(), node.receive());
    BSTR text = nullptr;
    if (!node || FAILED(node->get_text(&text)) || !text)
        return {};
    QString name = QString::fromWCharArray(text);
    SysFreeString(text);
    return name;
}

QString manifestDisplayName(const std::wstring &file)
{
    ComPtr<IXMLDOMDocument2> document;
    if (FAILED(CoCreateInstance(CLSID_ManifestDocument, nullptr, CLSCTX_INPROC_SERVER,
                                IID_ManifestDocument, document.receiveVoid())))
        return {};
    document->put_async(VARIANT_FALSE);
    const ComText namespaces(foundationNamespace);
    document->setProperty(ComText(L"SelectionNamespaces").get(), namespaces.asVariant());
    VARIANT_BOOL isLoaded = VARIANT_FALSE;
    const ComText fileText(file.c_str());
    document->load(fileText.asVariant(), &isLoaded);
    return isLoaded == VARIANT_TRUE ? nodeText(document.get()) : QString();
}

/// The text itself if its resource can't be loaded.
QString resolvedResource(const QString &text, const std::wstring &installPath)
{
    QString key = text.mid(resourceScheme.size());
    if (!key.startsWith(QLatin1Char('/')))
        key.prepend(QLatin1StringView("/resources/"));
    const QString source = QStringLiteral("@{%1\\resources.pri?ms-resource:%2}")
                               .arg(QString::fromStdWString(installPath), key);
    std::array<wchar_t, resourceCapacity> loaded{};
    const HRESULT status = SHLoadIndirectString(source.toStdWString().c_str(), loaded.data(),
                                                resourceCapacity, nullptr);
    if (SUCCEEDED(status))
        return QString::fromWCharArray(loaded.data());
    qCritical() << "SHLoadIndirectString failed:" << resultText(status);
    return text;
}

QString nameFromManifest(const std::wstring &fullName)
{
    std::wstring installPath;
    if (!getPackageInstallPath(fullName, installPath))
        return {};
    const QString name = manifestDisplayName(installPath + L"\\AppxManifest.xml");
    return name.startsWith(resourceScheme) ? resolvedResource(name, installPath) : name;
}
} // namespace

QString GetAppDisplayNameByPid(unsigned long pid, bool useWinRT)
{
    std::wstring fullName;
    if (const OpenedProcess process{static_cast<DWORD>(pid)}; process)
        fullName = packageFullName(process.get());
    if (fullName.empty())
        return {};
    return useWinRT ? nameFromPackageManager(fullName) : nameFromManifest(fullName);
}

bool getPackageInstallPath(std::wstring fullName, std::wstring &path)
{
    PACKAGE_INFO_REFERENCE info = nullptr;
    if (OpenPackageInfoByFullName(fullName.c_str(), 0, &info) != LONG{ERROR_SUCCESS})
        return false;
    const std::unique_ptr<std::remove_pointer_t<PACKAGE_INFO_REFERENCE>,
                          decltype(&ClosePackageInfo)>
        owner(info, &ClosePackageInfo);

    UINT32 length = 0;
    UINT32 count = 0;
    if (GetPackageInfo(info, PACKAGE_FILTER_HEAD, &length, nullptr, &count) !=
        LONG{ERROR_INSUFFICIENT_BUFFER})
        return false;
    std::vector<BYTE> buffer(length);
    if (GetPackageInfo(info, PACKAGE_FILTER_HEAD, &length, buffer.data(), &count) !=
        LONG{ERROR_SUCCESS})
        return false;
    path = reinterpret_cast<const PACKAGE_INFO *>(buffer.data())->path;
    return true;
}
