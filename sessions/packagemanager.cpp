#include "sessions/packagemanager.h"

#include "platform/comptr.h"
#include "platform/packagemanager.h"

#include <QDebug>

#include <atomic>

namespace
{
/// A call of the Windows Runtime failed.
struct RuntimeError
{
    HRESULT code;
};

void check(HRESULT result)
{
    if (FAILED(result))
        throw RuntimeError{result};
}

/// A string that is freed.
class RuntimeString
{
public:
    RuntimeString() = default;
    explicit RuntimeString(const std::wstring &text)
    {
        check(WindowsCreateString(text.c_str(), static_cast<UINT32>(text.size()), &string));
    }
    ~RuntimeString() { WindowsDeleteString(string); }
    RuntimeString(const RuntimeString &) = delete;
    RuntimeString &operator=(const RuntimeString &) = delete;

    [[nodiscard]] HSTRING get() const { return string; }
    [[nodiscard]] HSTRING *receive() { return &string; }
    [[nodiscard]] QString text() const
    {
        return QString::fromWCharArray(WindowsGetStringRawBuffer(string, nullptr));
    }

private:
    HSTRING string = nullptr;
};

/// The package manager's factory, fetched once for all calls.
class FactoryCache
{
public:
    /// Counted while a call uses the factory.
    class User
    {
    public:
        explicit User(FactoryCache &cache) : cache(cache)
        {
            cache.users.fetch_add(1, std::memory_order_relaxed);
        }
        ~User() { cache.users.fetch_sub(1, std::memory_order_release); }
        User(const User &) = delete;
        User &operator=(const User &) = delete;

        [[nodiscard]] IActivationFactory *factory() const { return cache.fetch(); }

    private:
        FactoryCache &cache;
    };

private:
    IActivationFactory *fetch()
    {
        if (IActivationFactory *known = cached.load(std::memory_order_acquire))
            return known;
        ComPtr<IActivationFactory> fresh;
        const RuntimeString name{packageManagerClass};
        check(
            RoGetActivationFactory(name.get(), IID_RuntimeActivationFactory, fresh.receiveVoid()));
        IActivationFactory *none = nullptr;
        if (!cached.compare_exchange_strong(none, fresh.get(), std::memory_order_acq_rel))
            return none; // another call was faster
        return fresh.detach();
    }

    std::atomic<IActivationFactory *> cached{nullptr};
    std::atomic<int> users{0};
};

FactoryCache factoryCache;

template <typename Interface>
ComPtr<Interface> queried(IUnknown *object, REFIID id)
{
    if (!object)
        throw RuntimeError{E_POINTER};
    ComPtr<Interface> result;
    check(object->QueryInterface(id, result.receiveVoid()));
    return result;
}

QString displayName(const std::wstring &fullName)
{
    check(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    const FactoryCache::User user(factoryCache);
    ComPtr<IInspectable> instance;
    check(user.factory()->ActivateInstance(instance.receive()));
    const auto manager = queried<PackageManager>(instance.get(), IID_PackageManager);
    ComPtr<IInspectable> package;
    const RuntimeString name{fullName};
    check(manager->FindPackageByUserSecurityIdPackageFullName(nullptr, name.get(),
                                                              package.receive()));
    RuntimeString result;
    check(queried<Package2>(package.get(), IID_Package2)->get_DisplayName(result.receive()));
    return result.text();
}
} // namespace

QString nameFromPackageManager(const std::wstring &fullName)
{
    try {
        return displayName(fullName);
    } catch (const RuntimeError &error) {
        qCritical() << "WinRT error:" << qt_error_string(error.code);
        return {};
    }
}
