// The slots of the runtime classes that are declared by slot, hit through a table made by hand.
#include "platform/audiopolicyconfig.h"
#include "platform/packagemanager.h"

#include <QTest>

#include <array>

namespace
{

struct Hit
{
    int slot = -1;
    void *object = nullptr;
    std::uintptr_t arguments[4] = {};
};

Hit lastHit;

template <int Slot>
HRESULT hitSlot(void *object, std::uintptr_t first, std::uintptr_t second, std::uintptr_t third,
                std::uintptr_t fourth)
{
    lastHit = {Slot, object, {first, second, third, fourth}};
    return static_cast<HRESULT>(0x100 + Slot);
}

using SlotFunction = HRESULT (*)(void *, std::uintptr_t, std::uintptr_t, std::uintptr_t,
                                 std::uintptr_t);

template <int... Slots>
constexpr std::array<SlotFunction, sizeof...(Slots)> slotTable(std::integer_sequence<int, Slots...>)
{
    return {hitSlot<Slots>...};
}

/// An object that is nothing but a pointer to its table, as the system's own are to a caller.
struct RawObject
{
    const SlotFunction *table;
};

constexpr std::array table = slotTable(std::make_integer_sequence<int, 30>());
RawObject rawObject{table.data()};

template <typename Interface>
Interface *raw()
{
    return reinterpret_cast<Interface *>(&rawObject);
}

// The sanitizer would look for type information beside the table, where there is none.
template <typename Call>
__attribute__((no_sanitize("undefined"), noinline)) HRESULT hit(Call call)
{
    lastHit = {};
    return call();
}

HSTRING someString()
{
    return reinterpret_cast<HSTRING>(std::uintptr_t{0x1234});
}

} // namespace

class TestAudioPolicyConfig : public QObject
{
    Q_OBJECT

private slots:
    void setPersistedEndpointIsSlot25()
    {
        const HRESULT result = hit([]() __attribute__((no_sanitize("undefined"))) {
            return raw<IAudioPolicyConfig>()->SetPersistedDefaultAudioEndpoint(
                77, eCapture, eCommunications, someString());
        });
        QCOMPARE(result, 0x100 + 25);
        QCOMPARE(lastHit.slot, 25);
        QCOMPARE(lastHit.object, &rawObject);
        QCOMPARE(UINT32(lastHit.arguments[0]), 77u);
        QCOMPARE(UINT32(lastHit.arguments[1]), UINT32(eCapture));
        QCOMPARE(UINT32(lastHit.arguments[2]), UINT32(eCommunications));
        QCOMPARE(lastHit.arguments[3], std::uintptr_t{0x1234});
    }

    void getPersistedEndpointIsSlot26()
    {
        HSTRING string = nullptr;
        const HRESULT result = hit([&string]() __attribute__((no_sanitize("undefined"))) {
            return raw<IAudioPolicyConfig>()->GetPersistedDefaultAudioEndpoint(
                78, eRender, eMultimedia, &string);
        });
        QCOMPARE(result, 0x100 + 26);
        QCOMPARE(UINT32(lastHit.arguments[0]), 78u);
        QCOMPARE(UINT32(lastHit.arguments[1]), UINT32(eRender));
        QCOMPARE(UINT32(lastHit.arguments[2]), UINT32(eMultimedia));
        QCOMPARE(lastHit.arguments[3], reinterpret_cast<std::uintptr_t>(&string));
    }

    void activateInstanceIsSlot6()
    {
        IInspectable *instance = nullptr;
        const HRESULT result = hit([&instance]() __attribute__((no_sanitize("undefined"))) {
            return raw<IActivationFactory>()->ActivateInstance(&instance);
        });
        QCOMPARE(result, 0x100 + 6);
    }

    void findPackageIsSlot21()
    {
        IInspectable *package = nullptr;
        const HRESULT result = hit([&package]() __attribute__((no_sanitize("undefined"))) {
            return raw<PackageManager>()->FindPackageByUserSecurityIdPackageFullName(
                nullptr, someString(), &package);
        });
        QCOMPARE(result, 0x100 + 21);
        QCOMPARE(lastHit.arguments[0], std::uintptr_t{0});
        QCOMPARE(lastHit.arguments[1], std::uintptr_t{0x1234});
        QCOMPARE(lastHit.arguments[2], reinterpret_cast<std::uintptr_t>(&package));
    }

    void displayNameIsSlot6()
    {
        HSTRING name = nullptr;
        const HRESULT result = hit([&name]() __attribute__((no_sanitize("undefined"))) {
            return raw<Package2>()->get_DisplayName(&name);
        });
        QCOMPARE(result, 0x100 + 6);
    }
};

QTEST_GUILESS_MAIN(TestAudioPolicyConfig)
#include "tst_audiopolicyconfig.moc"
