// A controller without its services: a slot that could not be filled is skipped by everybody.
#include "endpoints/systemsoundmonitor.h"
#include "link/websocketserver.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/devicefiles.h"
#include "platform/simulated/endpoints.h"
#include "platform/simulated/notifications.h"
#include "sessions/audiosessionmanager.h"
#include "streams/tavorioutputdevice.h"
#include "tests/unit/app/controllerfixture.h"

#include <QComboBox>
#include <QTest>

#include <atomic>
#include <cstddef>
#include <new>

namespace
{
/// The next object of this size that can do without memory gets none.
std::atomic<std::size_t> refusedSize{0};
} // namespace

void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    std::size_t refused = size;
    return refusedSize.compare_exchange_strong(refused, 0) ? nullptr : ::operator new(size);
}

class ControllerSlotsTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { refusedSize = 0; }

    void withoutAMonitorOnlyTheHeadersAreListed()
    {
        ControllerFixture fixture;
        startWithoutMonitor(fixture);
        const QStringList lines = fixture.log.lines();
        const auto begin =
            lines.indexOf("Info: \"QuorvaneWidget::printEndpointDeviceNames : begin\"");
        QVERIFY(begin >= 0);
        QCOMPARE(lines.mid(begin + 1, 4),
                 QStringList({"Info: \"OutputDevice :\"", "Info: \"\"", "Info: \"InputDevice :\"",
                              "Info: \"QuorvaneWidget::printEndpointDeviceNames : end\""}));
        QCOMPARE(fixture.widget->findChild<QComboBox *>()->count(), 0);
        QCOMPARE(simulated::countCalls("IPolicyConfig::SetEndpointVisibility"), 0);
        QVERIFY(lines.contains("Info: End of init!!!"));
    }

    void withoutAMonitorQuestionsAnswerNothing()
    {
        ControllerFixture fixture;
        startWithoutMonitor(fixture);
        const QJsonObject device{{"deviceName", "Headset"}, {"deviceID", fixture.headset}};
        fixture.send("getDeviceVolume", device);
        QJsonObject answer = device;
        answer.insert("deviceVolume", 0);
        QCOMPARE(fixture.waitForEvent("didReceiveDeviceVolume"), answer);
        fixture.send("getDeviceMute", device);
        answer = device;
        answer.insert("deviceMute", false);
        QCOMPARE(fixture.waitForEvent("didReceiveDeviceMute"), answer);
        fixture.send("getOutputDeviceInfos");
        QCOMPARE(fixture.waitForEvent("didReceiveOutputDeviceInfos"),
                 QJsonObject({{"defaultDevice", QJsonObject()}, {"outputDevice", QJsonArray()}}));
        fixture.send("getInputDeviceInfos");
        QCOMPARE(fixture.waitForEvent("didReceiveInputDeviceInfos"),
                 QJsonObject({{"defaultDevice", QJsonObject()}, {"inputDevice", QJsonArray()}}));
    }

    void withoutAMonitorOrdersFail_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("words");
        QTest::newRow("volume") << "setDeviceVolume"
                                << "onSetDeviceVolume() : Failed to set device volume";
        QTest::newRow("more") << "increaseDeviceVolume"
                              << "onIncreaseDeviceVolume() : Failed to increase device volume";
        QTest::newRow("less") << "decreaseDeviceVolume"
                              << "onDecreaseDeviceVolume() : Failed to decrease device volume";
        QTest::newRow("mute") << "setDeviceMute"
                              << "onSetDeviceMute() : Failed to set device mute";
    }

    void withoutAMonitorOrdersFail()
    {
        QFETCH(const QString, command);
        QFETCH(const QString, words);
        ControllerFixture fixture;
        startWithoutMonitor(fixture);
        fixture.send(command, {{"deviceName", "Headset"},
                               {"deviceID", fixture.headset},
                               {"deviceVolume", 40},
                               {"singleStep", 40},
                               {"deviceMute", true}});
        const bool isMute = command == "setDeviceMute";
        QJsonObject expected{{"deviceName", "Headset"}, {"deviceID", fixture.headset}};
        if (isMute)
            expected.insert("deviceMute", false);
        else
            expected.insert("deviceVolume", 0);
        QCOMPARE(fixture.waitForEvent(isMute ? "failedToSetDeviceMute" : "failedToSetDeviceVolume"),
                 expected);
        QVERIFY(fixture.log.lines().contains(
            "Warning: \"" + words + ", device Name(Headset), device ID(" + fixture.headset +
            (isMute ? "), device Mute(false)\"" : "), device Volume(0)\"")));
    }

    void withoutAMonitorRoutesAndModesGoOn()
    {
        ControllerFixture fixture;
        startWithoutMonitor(fixture);
        for (const char *type : {"outputDevice", "inputDevice"})
            fixture.send("setCurrentDevice", {{"deviceType", type}, {"deviceID", "x"}});
        fixture.send("setControlMode", {{"mode", "StreamerMode"}});
        fixture.send("finishSetControlMode", {{"mode", "StreamerMode"}});
        fixture.send("switchStreamingSynthesizerDevice",
                     {{"deviceName", "tavori - Stream (tavori Virtual Audio Device)"},
                      {"deviceID", fixture.headset}});
        fixture.send("setControlMode", {{"mode", "NormalMode"}});
        fixture.send("addOutputDevice", {{"outputDeviceName", "Aux2"}});
        QCOMPARE(fixture.waitForEvent("finishAddOutputDevice"),
                 QJsonObject({{"outputDeviceName", "Aux2"}}));
        fixture.settle();
        fixture.quit();
        QVERIFY(fixture.log.lines().contains("Info: About to quit - end"));
    }

    void withoutASessionManagerNoSessionsAreListed()
    {
        ControllerFixture fixture;
        refusedSize = sizeof(AudioSessionManager);
        fixture.start();
        QVERIFY(refusedSize == 0);
        fixture.send("getAudioSessionInfos");
        QCOMPARE(fixture.waitForEvent("didReceiveAudioSessionInfos"),
                 QJsonObject({{"audioSessionInfos", QJsonObject()}}));
        fixture.send("getDeviceAudioSessionInfos", {{"deviceID", fixture.headset}});
        QCOMPARE(fixture.waitForEvent("didReceiveDeviceAudioSessionInfos"),
                 QJsonObject(
                     {{"deviceID", fixture.headset}, {"deviceAudioSessionInfos", QJsonArray()}}));
        fixture.send("setAppDefaultAudioEndpoint", {{"appName", "player"}});

        // The defaults are the monitor's then, and endpoints come and go as ever.
        simulated::clearCalls();
        fixture.send("setControlMode", {{"mode", "StreamerMode"}});
        fixture.settle();
        QVERIFY(simulated::countCalls("IMMDeviceEnumerator::GetDefaultAudioEndpoint") > 0);
        simulated::notifyDeviceAdded(fixture.headset);
        (void)fixture.waitForEvent("deviceAdded");
        simulated::notifyDefaultChanged(eRender, eConsole, fixture.headset);
        (void)fixture.waitForEvent("defaultDeviceChanged");
        simulated::notifyDeviceRemoved(fixture.headset);
        (void)fixture.waitForEvent("deviceRemoved");
        QVERIFY(fixture.log.lines().contains("Info: onSetAppDefaultDevice() : end"));
    }

    void withoutRoomAChannelIsNotAdded()
    {
        ControllerFixture fixture;
        fixture.start();
        const QString aux2 = ControllerFixture::renderId(tavoriAux2);
        simulated::clearCalls();
        refusedSize = sizeof(tavoriOutputDevice);
        fixture.send("addOutputDevice", {{"outputDeviceName", "Aux2"}});
        QCOMPARE(fixture.waitForEvent("cannotAddOutputDevice"),
                 QJsonObject({{"outputDeviceName", "Aux2"}}));
        QVERIFY(refusedSize == 0);
        QCOMPARE(simulated::openDeviceFiles(channelOfType(tavoriAux2)->fileSuffix), 0);
        QCOMPARE(simulated::endpoint(aux2).state, DEVICE_STATE_ACTIVE);

        // There is room again.
        fixture.send("addOutputDevice", {{"outputDeviceName", "Aux2"}});
        (void)fixture.waitForEvent("finishAddOutputDevice");
    }

    void withoutALinkEverythingElseStands()
    {
        ControllerFixture fixture;
        refusedSize = sizeof(WebSocketServer);
        fixture.widget = std::make_unique<QuorvaneWidget>();
        QVERIFY(refusedSize == 0);
        // The microphone's player writes lines of its own in between.
        const QStringList wanted = {"Info: try to start websocket server : begin",
                                    "Critical: Can't create WebSocketServer!!!",
                                    "Info: try to start websocket server : end",
                                    "Info: End of init!!!"};
        QStringList lines = fixture.log.lines();
        lines.removeIf([&](const QString &line) { return !wanted.contains(line); });
        QCOMPARE(lines, wanted);

        // Whatever happens is still taken up, though nobody is told.
        simulated::notifyDeviceAdded(fixture.headset);
        QVERIFY(fixture.waitForLog("onDeviceAdded() : end"));
        simulated::changeVolumeFromOutside(fixture.headset, 0.5f);
        QVERIFY(fixture.waitForLog("onDeviceControlChanged() : end"));
        simulated::notifyDefaultChanged(eRender, eConsole, fixture.headset);
        QVERIFY(fixture.waitForLog("onDefaultRenderDeviceChanged() : end"));
        simulated::notifyDeviceRemoved(fixture.headset);
        QVERIFY(fixture.waitForLog("onDeviceRemoved() : end"));
        fixture.quit();
        QVERIFY(fixture.log.lines().contains("Info: About to quit - end"));
    }

private:
    static void startWithoutMonitor(ControllerFixture &fixture)
    {
        refusedSize = sizeof(SystemSoundMonitor);
        fixture.start();
        QVERIFY(refusedSize == 0);
    }
};

QTEST_MAIN(ControllerSlotsTest)
#include "tst_controller_slots.moc"
