#include "endpoints/audioendpointvolumecallback.h"
#include "platform/comptr.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <thread>

namespace
{

constexpr GUID ownContext{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};
constexpr GUID otherContext{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 17}};
const QString endpoint = "{0.0.0.00000000}.{6b5a2a1c-0000-4000-8000-000000000001}";

AUDIO_VOLUME_NOTIFICATION_DATA notification(const GUID &context, BOOL muted, float scalar)
{
    AUDIO_VOLUME_NOTIFICATION_DATA data{};
    data.guidEventContext = context;
    data.bMuted = muted;
    data.fMasterVolume = scalar;
    return data;
}

ComPtr<AudioEndpointVolumeCallback> makeCallback()
{
    return ComPtr<AudioEndpointVolumeCallback>::adopt(
        new AudioEndpointVolumeCallback(ownContext, endpoint));
}

} // namespace

class TestAudioEndpointVolumeCallback : public QObject
{
    Q_OBJECT

private slots:
    void isDeletedByTheLastRelease();
    void answersForItsInterfaces_data();
    void answersForItsInterfaces();
    void refusesNull();
    void tellsOwnChangesFromOthers_data();
    void tellsOwnChangesFromOthers();
    void percentageCarriesOneHalf_data();
    void percentageCarriesOneHalf();
    void crossesThreadsWithItsContext();
    void signalsAreDeclaredInOrder();
};

void TestAudioEndpointVolumeCallback::isDeletedByTheLastRelease()
{
    const QPointer callback = new AudioEndpointVolumeCallback(ownContext, endpoint);
    QCOMPARE(callback->parent(), nullptr);
    QCOMPARE(callback->AddRef(), 2u);
    QCOMPARE(callback->Release(), 1u);
    QVERIFY(callback);
    QCOMPARE(callback->Release(), 0u);
    QVERIFY(!callback);
}

void TestAudioEndpointVolumeCallback::answersForItsInterfaces_data()
{
    QTest::addColumn<GUID>("iid");
    QTest::addColumn<bool>("answered");
    QTest::newRow("IUnknown") << IID_IUnknown << true;
    QTest::newRow("its own") << IID_IAudioEndpointVolumeCallback << true;
    QTest::newRow("the other sink's") << IID_IMMNotificationClient << false;
    QTest::newRow("null") << GUID_NULL << false;
}

void TestAudioEndpointVolumeCallback::answersForItsInterfaces()
{
    QFETCH(GUID, iid);
    QFETCH(bool, answered);
    const auto callback = makeCallback();
    int somewhere = 0;
    void *result = &somewhere;
    QCOMPARE(callback->QueryInterface(iid, &result), answered ? S_OK : E_NOINTERFACE);
    void *expected =
        answered ? static_cast<IAudioEndpointVolumeCallback *>(callback.get()) : nullptr;
    QCOMPARE(result, expected);
    const ULONG references = callback->AddRef();
    QCOMPARE(references, answered ? 3u : 2u);
    for (ULONG extra = references; extra > 1; --extra)
        callback->Release();
}

void TestAudioEndpointVolumeCallback::refusesNull()
{
    const auto callback = makeCallback();
    QSignalSpy control(callback.get(), &AudioEndpointVolumeCallback::sigDeviceControlChanged);
    QSignalSpy state(callback.get(), &AudioEndpointVolumeCallback::sigDeviceStateChanged);
    QCOMPARE(callback->OnNotify(nullptr), E_INVALIDARG);
    QCOMPARE(control.count(), 0);
    QCOMPARE(state.count(), 0);
}

void TestAudioEndpointVolumeCallback::tellsOwnChangesFromOthers_data()
{
    QTest::addColumn<GUID>("context");
    QTest::addColumn<bool>("own");
    QTest::newRow("own") << ownContext << true;
    QTest::newRow("another in the last byte") << otherContext << false;
    QTest::newRow("none") << GUID_NULL << false;
}

void TestAudioEndpointVolumeCallback::tellsOwnChangesFromOthers()
{
    QFETCH(GUID, context);
    QFETCH(bool, own);
    const auto callback = makeCallback();
    QSignalSpy control(callback.get(), &AudioEndpointVolumeCallback::sigDeviceControlChanged);
    QSignalSpy state(callback.get(), &AudioEndpointVolumeCallback::sigDeviceStateChanged);
    auto data = notification(context, TRUE, 0.5f);
    QCOMPARE(callback->OnNotify(&data), S_OK);
    QCOMPARE(state.count(), own ? 1 : 0);
    QCOMPARE(control.count(), own ? 0 : 1);
    const QVariantList arguments = own ? state[0] : control[0];
    QCOMPARE(arguments[0].toString(), endpoint);
    QCOMPARE(arguments[1].toInt(), TRUE);
    QCOMPARE(arguments[2].toFloat(), 50.5f);
    QVERIFY(arguments[3].value<GUID>() == context);
}

void TestAudioEndpointVolumeCallback::percentageCarriesOneHalf_data()
{
    QTest::addColumn<float>("scalar");
    QTest::addColumn<float>("percentage");
    QTest::newRow("silent") << 0.0f << 0.5f;
    QTest::newRow("a tie goes upward") << 0.125f << 13.0f;
    QTest::newRow("half") << 0.5f << 50.5f;
    QTest::newRow("just below a tie") << 0.1249f << 12.99f;
    QTest::newRow("full") << 1.0f << 100.5f;
}

void TestAudioEndpointVolumeCallback::percentageCarriesOneHalf()
{
    QFETCH(float, scalar);
    QFETCH(float, percentage);
    const auto callback = makeCallback();
    QSignalSpy state(callback.get(), &AudioEndpointVolumeCallback::sigDeviceStateChanged);
    auto data = notification(ownContext, FALSE, scalar);
    callback->OnNotify(&data);
    QCOMPARE(state[0][2].toFloat(), percentage);
    QCOMPARE(state[0][1].toInt(), FALSE);
}

void TestAudioEndpointVolumeCallback::crossesThreadsWithItsContext()
{
    const auto callback = makeCallback();
    QVERIFY(QMetaType::fromName("GUID").isValid());

    QObject receiver;
    QThread *arrivedOn = nullptr;
    GUID arrivedContext{};
    connect(callback.get(), &AudioEndpointVolumeCallback::sigDeviceControlChanged, &receiver,
            [&](const QString &, BOOL, float, GUID context) {
                arrivedOn = QThread::currentThread();
                arrivedContext = context;
            });
    std::thread platformThread([&callback] {
        auto data = notification(otherContext, FALSE, 1.0f);
        callback->OnNotify(&data);
    });
    platformThread.join();
    QVERIFY2(!arrivedOn, "the signal must be queued, not delivered on the platform's thread");
    QTRY_VERIFY(arrivedOn);
    QCOMPARE(arrivedOn, QThread::currentThread());
    QVERIFY(arrivedContext == otherContext);
}

void TestAudioEndpointVolumeCallback::signalsAreDeclaredInOrder()
{
    const QMetaObject &meta = AudioEndpointVolumeCallback::staticMetaObject;
    const int first = meta.methodOffset();
    QCOMPARE(meta.methodCount() - first, 2);
    QCOMPARE(meta.method(first).name(), "sigDeviceControlChanged");
    QCOMPARE(meta.method(first + 1).name(), "sigDeviceStateChanged");
    // The types themselves: BOOL has another name in some headers.
    const QList<QMetaType> types{QMetaType::fromType<QString>(), QMetaType::fromType<BOOL>(),
                                 QMetaType::fromType<float>(), QMetaType::fromType<GUID>()};
    for (int index = first; index < meta.methodCount(); ++index) {
        const QMetaMethod method = meta.method(index);
        QCOMPARE(method.parameterCount(), types.size());
        for (int parameter = 0; parameter < method.parameterCount(); ++parameter)
            QCOMPARE(method.parameterMetaType(parameter), types[parameter]);
    }
}

QTEST_GUILESS_MAIN(TestAudioEndpointVolumeCallback)
#include "tst_audioendpointvolumecallback.moc"
