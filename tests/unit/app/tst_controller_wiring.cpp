// Which signals of the services reach the controller, and what its own type declares.
#include "endpoints/systemsoundmonitor.h"
#include "sessions/audiosessionmanager.h"
#include "tests/unit/app/controllersteps.h"

#include <QMetaMethod>
#include <QTest>

#include <atomic>
#include <cstddef>
#include <new>

namespace
{
/// The place of the next object of this size that can do without memory is kept.
std::atomic<std::size_t> awaitedSize{0};
std::atomic<void *> found{nullptr};
} // namespace

void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    void *const place = ::operator new(size);
    std::size_t awaited = size;
    if (awaitedSize.compare_exchange_strong(awaited, 0))
        found = place;
    return place;
}

namespace
{
/// Starts the controller; its service of this type, which lives as long as the controller.
template <typename Service>
Service *startAndFind(ControllerFixture &fixture)
{
    awaitedSize = sizeof(Service);
    fixture.start();
    return static_cast<Service *>(found.exchange(nullptr));
}

/// Whether anybody listens to the signal.
template <typename Signal>
bool isHeard(const QObject &sender, Signal signal)
{
    struct Access : QObject
    {
        using QObject::isSignalConnected;
    };
    return (sender.*&Access::isSignalConnected)(QMetaMethod::fromSignal(signal));
}
} // namespace

class ControllerWiringTest : public QObject
{
    Q_OBJECT

private slots:
    void sessionListsAndChangesAreTold()
    {
        ControllerFixture fixture;
        auto *const manager = startAndFind<AudioSessionManager>(fixture);
        QVERIFY(manager);
        const QJsonObject info{{"sessionDisplayName", "Player"}};
        emit manager->sigUpdateAudioSessionInfos({{"{an id}", QJsonArray{info}}});
        QCOMPARE(fixture.waitForEvent("didReceiveAudioSessionInfos"),
                 QJsonObject({{"audioSessionInfos", QJsonObject{{"{an id}", QJsonArray{info}}}}}));
        emit manager->sigAudioSessionInfoChanged("{an id}", info);
        QCOMPARE(fixture.waitForEvent("audioSessionInfoChanged"),
                 QJsonObject({{"deviceID", "{an id}"}, {"audioSessionInfo", info}}));
        const QStringList lines = fixture.log.lines();
        QVERIFY(lines.contains("Info: onUpdateAudioSessionInfos() :"));
        QVERIFY(lines.contains("Info: onUpdateAudioSessionInfos() : end"));
        QVERIFY(lines.contains("Info: onAudioSessionInfoChanged() : \"{an id}\""));
        QVERIFY(lines.contains("Info: onAudioSessionInfoChanged() : end"));
    }

    void ofTheTwoServicesOnlyTheSessionsAreHeardInTheLog()
    {
        {
            ControllerFixture fixture;
            auto *const manager = startAndFind<AudioSessionManager>(fixture);
            QVERIFY(manager);
            emit manager->sigPrintfLog("a word of the sessions");
            QVERIFY(fixture.log.lines().contains("Info: \"a word of the sessions\""));
        }
        ControllerFixture fixture;
        auto *const monitor = startAndFind<SystemSoundMonitor>(fixture);
        QVERIFY(monitor);
        QVERIFY(isHeard(*monitor, &SystemSoundMonitor::sigDeviceAdded));
        QVERIFY(!isHeard(*monitor, &SystemSoundMonitor::sigPrintfLog));
    }

    void nobodyTakesTheChannelsSound()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.send("addOutputDevice", {{"outputDeviceName", "Browser"}});
        (void)fixture.waitForEvent("finishAddOutputDevice");
        const auto channels = fixture.widget->findChildren<tavoriOutputDevice *>();
        QCOMPARE(channels.size(), qsizetype(5));
        for (const tavoriOutputDevice *channel : channels) {
            QVERIFY(isHeard(*channel, &tavoriOutputDevice::sigPrintfLog));
            QVERIFY(!isHeard(*channel, &tavoriOutputDevice::sigGetAudioData));
        }
    }

    void theControllerDeclaresItsSlotsInOrder()
    {
        const QMetaObject &type = QuorvaneWidget::staticMetaObject;
        QStringList declared;
        for (int index = type.methodOffset(); index < type.methodCount(); ++index) {
            const QMetaMethod method = type.method(index);
            QCOMPARE(method.methodType(), QMetaMethod::Slot);
            declared.append((method.access() == QMetaMethod::Public ? "public " : "private ") +
                            QString(method.methodSignature()));
        }
        QCOMPARE(declared,
                 QStringList({"public onAddDevice(tavoriDeviceType)",
                              "public onRemoveDevice(tavoriDeviceType)",
                              "public restoreWindow(QString)", "public printfInfo(QString)",
                              "private startRecord()", "private stopRecord()"}));
    }
};

QTEST_MAIN(ControllerWiringTest)
#include "tst_controller_wiring.moc"
