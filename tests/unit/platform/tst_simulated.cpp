// The simulated platform itself: what the other tests rely on.
#include "platform/comptr.h"
#include "platform/endpointtext.h"
#include "platform/policyconfig.h"
#include "platform/simulated/simulated.h"

#include <QTest>

namespace
{

ComPtr<IMMDeviceEnumerator> createEnumerator()
{
    ComPtr<IMMDeviceEnumerator> enumerator;
    CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL, IID_IMMDeviceEnumerator,
                     enumerator.receiveVoid());
    return enumerator;
}

ComPtr<IMMDevice> findDevice(const QString &id)
{
    ComPtr<IMMDevice> device;
    if (const auto enumerator = createEnumerator())
        enumerator->GetDevice(id.toStdWString().c_str(), device.receive());
    return device;
}

} // namespace

class TestSimulated : public QObject
{
    Q_OBJECT

private slots:
    void init() { simulated::reset(); }
    void cleanup() { QCOMPARE(simulated::leakReport(), QString()); }

    void callsAreRecordedInOrder();
    void faultsHitTheNamedCallOnly();
    void endpointsAreEnumerated();
};

void TestSimulated::callsAreRecordedInOrder()
{
    const QString id = simulated::addEndpoint({.name = "Headset"});
    {
        const auto device = findDevice(id);
        QVERIFY(device);
        QCOMPARE(endpointID(device.get()), id);
    }
    QCOMPARE(simulated::calls(),
             QStringList({"CoCreateInstance MMDeviceEnumerator IMMDeviceEnumerator 23",
                          "IMMDeviceEnumerator::GetDevice " + id, "release IMMDeviceEnumerator",
                          "IMMDevice::GetId", "CoTaskMemFree", "release IMMDevice"}));
}

void TestSimulated::faultsHitTheNamedCallOnly()
{
    simulated::failAlways("CoCreateInstance PolicyConfig", 0x80040154);
    ComPtr<IPolicyConfig> first;
    QCOMPARE(CoCreateInstance(CLSID_PolicyConfig, nullptr, CLSCTX_INPROC_SERVER, IID_IPolicyConfig,
                              first.receiveVoid()),
             REGDB_E_CLASSNOTREG);
    QVERIFY(!first);
    ComPtr<IPolicyConfigVista> second;
    QCOMPARE(CoCreateInstance(CLSID_PolicyConfigVista, nullptr, CLSCTX_INPROC_SERVER,
                              IID_IPolicyConfigVista, second.receiveVoid()),
             S_OK);

    simulated::failNext("CreateEventW", ERROR_NOT_ENOUGH_MEMORY, 2);
    for (int attempt = 0; attempt < 2; ++attempt) {
        QVERIFY(!CreateEventW(nullptr, FALSE, FALSE, nullptr));
        QCOMPARE(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    }
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    QVERIFY(event);
    QVERIFY(CloseHandle(event));
}

void TestSimulated::endpointsAreEnumerated()
{
    const QString speakers = simulated::addEndpoint({.name = "Speakers"});
    simulated::addEndpoint({.name = "Unplugged", .state = DEVICE_STATE_UNPLUGGED});
    const QString microphone = simulated::addEndpoint({.name = "Microphone", .flow = eCapture});
    const auto enumerator = createEnumerator();
    ComPtr<IMMDeviceCollection> collection;
    QCOMPARE(enumerator->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, collection.receive()), S_OK);
    UINT count = 0;
    QCOMPARE(collection->GetCount(&count), S_OK);
    QCOMPARE(count, 2u);
    ComPtr<IMMDevice> device;
    QCOMPARE(collection->Item(1, device.receive()), S_OK);
    QCOMPARE(endpointID(device.get()), microphone);
    QCOMPARE(friendlyName(device.get()), QString("Microphone"));
    QCOMPARE(collection->Item(2, device.receive()), E_INVALIDARG);
    QVERIFY(!device);
}

QTEST_GUILESS_MAIN(TestSimulated)
#include "tst_simulated.moc"
