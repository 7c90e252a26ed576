// The slots of the undocumented policy interfaces, hit through a virtual table made by hand.
#include "platform/policyconfig.h"

#include <QTest>

#include <array>

namespace
{

struct Hit
{
    int slot = -1;
    void *object = nullptr;
    LPCWSTR id = nullptr;
    int argument = 0;
};

Hit lastHit;

template <int Slot>
HRESULT hitSlot(void *object, LPCWSTR id, int argument)
{
    lastHit = {Slot, object, id, argument};
    return static_cast<HRESULT>(0x100 + Slot);
}

using SlotFunction = HRESULT (*)(void *, LPCWSTR, int);

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

constexpr std::array table = slotTable(std::make_integer_sequence<int, 16>());
RawObject rawObject{table.data()};

// The sanitizer would look for type information beside the table, where there is none.
template <typename Interface>
__attribute__((no_sanitize("undefined"), noinline)) HRESULT setDefault(Interface *policy,
                                                                       LPCWSTR id, ERole role)
{
    return policy->SetDefaultEndpoint(id, role);
}

template <typename Interface>
__attribute__((no_sanitize("undefined"), noinline)) HRESULT setVisible(Interface *policy,
                                                                       LPCWSTR id, int visible)
{
    return policy->SetEndpointVisibility(id, visible);
}

constexpr LPCWSTR id = L"{0.0.0.00000000}.{1}";

template <typename Interface>
void verifySlots(int defaultSlot, int visibilitySlot)
{
    auto *policy = reinterpret_cast<Interface *>(&rawObject);
    QCOMPARE(setDefault(policy, id, eCommunications), 0x100 + defaultSlot);
    QCOMPARE(lastHit.slot, defaultSlot);
    QCOMPARE(lastHit.object, &rawObject);
    QCOMPARE(lastHit.id, id);
    QCOMPARE(lastHit.argument, int(eCommunications));

    QCOMPARE(setVisible(policy, id, 1), 0x100 + visibilitySlot);
    QCOMPARE(lastHit.slot, visibilitySlot);
    QCOMPARE(lastHit.id, id);
    QCOMPARE(lastHit.argument, 1);
}

} // namespace

class TestPolicyConfig : public QObject
{
    Q_OBJECT

private slots:
    void slotsOfTheFirstGeneration() { verifySlots<IPolicyConfig>(13, 14); }
    void slotsOfTheSecondGeneration() { verifySlots<IPolicyConfigVista>(12, 13); }
};

QTEST_GUILESS_MAIN(TestPolicyConfig)
#include "tst_policyconfig.moc"
