// Strings and classes of the Windows Runtime.
#include "platform/packagemanager.h"
#include "platform/posix/runtimestring.h"
#include "platform/simulated/applicationtable.h"
#include "platform/simulated/objects.h"
#include "platform/simulated/runtimeobject.h"

namespace simulated
{

namespace
{

class PackageObject final : public RuntimeObject<Package2>
{
public:
    explicit PackageObject(const QString &displayName)
        : RuntimeObject("Package2"), displayName(displayName)
    {
    }

    HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING *name) override
    {
        if (const auto fault = called("get_DisplayName"))
            return *fault;
        *name = posix::stringOfText(displayName);
        return S_OK;
    }

private:
    const QString displayName;
};

class PackageManagerObject final : public RuntimeObject<PackageManager>
{
public:
    PackageManagerObject() : RuntimeObject("PackageManager") {}

    HRESULT STDMETHODCALLTYPE FindPackageByUserSecurityIdPackageFullName(
        HSTRING user, HSTRING fullName, IInspectable **package) override
    {
        *package = nullptr;
        const QString name = posix::textOfString(fullName);
        if (const auto fault =
                called("FindPackageByUserSecurityIdPackageFullName",
                       QStringLiteral("'%1' %2").arg(posix::textOfString(user), name)))
            return *fault;
        if (const auto found = findPackage(name))
            *package = new PackageObject(found->displayName);
        return S_OK;
    }
};

class PackageManagerFactory final : public RuntimeObject<IActivationFactory>
{
public:
    PackageManagerFactory() : RuntimeObject("IActivationFactory") {}

    HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable **instance) override
    {
        *instance = nullptr;
        if (const auto fault = called("ActivateInstance"))
            return *fault;
        *instance = new PackageManagerObject;
        return S_OK;
    }
};

template <typename Object>
HRESULT giveOut(Object *made, REFIID id, void **factory)
{
    const HRESULT queried = made->QueryInterface(id, factory);
    made->Release();
    return queried;
}

} // namespace

} // namespace simulated

using simulated::faultOf;

HRESULT RoGetActivationFactory(HSTRING className, REFIID id, void **factory)
{
    *factory = nullptr;
    const QString name = posix::textOfString(className);
    if (const auto fault = faultOf(
            QStringLiteral("RoGetActivationFactory %1 %2").arg(name, simulated::nameOf(id))))
        return *fault;
    if (name == QString::fromWCharArray(audioPolicyConfigClass))
        return simulated::giveOut(simulated::makeAudioPolicyConfig(), id, factory);
    if (name == QString::fromWCharArray(packageManagerClass))
        return simulated::giveOut(new simulated::PackageManagerFactory, id, factory);
    return REGDB_E_CLASSNOTREG;
}

HRESULT WindowsCreateString(LPCWSTR text, UINT32 length, HSTRING *string)
{
    if (const auto fault =
            faultOf(QStringLiteral("WindowsCreateString ") + simulated::textOf(text)))
        return *fault;
    return posix::createString(text, length, string);
}

HRESULT WindowsCreateStringReference(LPCWSTR text, UINT32 length, HSTRING_HEADER *header,
                                     HSTRING *string)
{
    if (const auto fault =
            faultOf(QStringLiteral("WindowsCreateStringReference ") + simulated::textOf(text)))
        return *fault;
    return posix::createStringReference(text, length, header, string);
}

HRESULT WindowsDeleteString(HSTRING string)
{
    simulated::record(QStringLiteral("WindowsDeleteString"));
    posix::deleteString(string);
    return S_OK;
}

LPCWSTR WindowsGetStringRawBuffer(HSTRING string, UINT32 *length)
{
    return posix::stringText(string, length);
}
