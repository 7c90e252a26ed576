// The level commands and lists, over the wire.
#include "platform/simulated/calls.h"
#include "platform/simulated/endpoints.h"
#include "tests/unit/app/controllerfixture.h"

#include <QTest>

namespace
{
const QString unknownId = QStringLiteral("{0.0.0.00000000}.{99999999-0000-0000-0000-000000000000}");
} // namespace

class ControllerLevelsTest : public QObject
{
    Q_OBJECT

private slots:
    void families_data()
    {
        QTest::addColumn<QString>("deviceType");
        QTest::addColumn<QString>("word");
        QTest::newRow("output") << "outputDevice"
                                << "Output";
        QTest::newRow("input") << "inputDevice"
                               << "Input";
        QTest::newRow("plain") << ""
                               << "";
    }

    void families()
    {
        QFETCH(const QString, deviceType);
        QFETCH(const QString, word);
        ControllerFixture fixture;
        fixture.start();
        const QString id = fixture.headset;
        const QJsonObject device{
            {"deviceType", deviceType}, {"deviceName", "Headset"}, {"deviceID", id}};
        const auto with = [&](const QString &key, const QJsonValue &value) {
            QJsonObject payload = device;
            payload.insert(key, value);
            return payload;
        };

        fixture.send("setDeviceVolume", with("deviceVolume", 42));
        fixture.send("setDeviceMute", with("deviceMute", true));
        fixture.settle();
        // What was ordered raises no event.
        QCOMPARE(fixture.pendingEvents(), QStringList());
        QCOMPARE(qRound(simulated::endpoint(id).volume * 100), 42);
        QVERIFY(simulated::endpoint(id).muted);

        fixture.send("getDeviceVolume", device);
        QCOMPARE(fixture.waitForEvent("didReceiveDeviceVolume"),
                 QJsonObject({{"deviceName", "Headset"}, {"deviceID", id}, {"deviceVolume", 42}}));
        fixture.send("getDeviceMute", device);
        QCOMPARE(fixture.waitForEvent("didReceiveDeviceMute"),
                 QJsonObject({{"deviceName", "Headset"}, {"deviceID", id}, {"deviceMute", true}}));

        for (const QString name : {"on%1DeviceMute", "on%1DeviceVolume"}) {
            for (const QString verb : {"Get", "Set"}) {
                const QString handler = name.arg(verb + word);
                QVERIFY2(
                    !fixture.log.lines().filter("Info: " + handler + "() : \"Headset\" ").isEmpty(),
                    qPrintable(handler));
                QVERIFY2(fixture.log.lines().contains("Info: " + handler + "() : end"),
                         qPrintable(handler));
            }
        }
    }

    void failuresAreTold_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("deviceType");
        QTest::addColumn<QString>("handler");
        QTest::addColumn<QString>("order");
        const QList<QPair<QString, QString>> families{
            {"outputDevice", "Output"}, {"inputDevice", "Input"}, {"", ""}};
        for (const auto &[type, word] : families) {
            QTest::addRow("setDeviceVolume %s", qPrintable(word))
                << "setDeviceVolume" << type << "onSet" + word + "DeviceVolume"
                << "set device volume";
            QTest::addRow("setDeviceMute %s", qPrintable(word))
                << "setDeviceMute" << type << "onSet" + word + "DeviceMute"
                << "set device mute";
        }
        QTest::newRow("increase") << "increaseDeviceVolume"
                                  << ""
                                  << "onIncreaseDeviceVolume"
                                  << "increase device volume";
        QTest::newRow("decrease") << "decreaseDeviceVolume"
                                  << ""
                                  << "onDecreaseDeviceVolume"
                                  << "decrease device volume";
    }

    void failuresAreTold()
    {
        QFETCH(const QString, command);
        QFETCH(const QString, deviceType);
        QFETCH(const QString, handler);
        QFETCH(const QString, order);
        ControllerFixture fixture;
        fixture.start();
        const bool isMute = command == "setDeviceMute";
        fixture.send(command, {{"deviceType", deviceType},
                               {"deviceName", "Nobody"},
                               {"deviceID", unknownId},
                               {"deviceVolume", 40},
                               {"singleStep", 5},
                               {"deviceMute", true}});
        QJsonObject expected{{"deviceName", "Nobody"}, {"deviceID", unknownId}};
        if (isMute)
            expected.insert("deviceMute", false);
        else
            expected.insert("deviceVolume", 0);
        QCOMPARE(fixture.waitForEvent(isMute ? "failedToSetDeviceMute" : "failedToSetDeviceVolume"),
                 expected);
        const QString line = "Warning: \"" + handler + "() : Failed to " + order +
                             ", device Name(Nobody), device ID(" + unknownId + ")" +
                             (isMute ? ", device Mute(false)\"" : ", device Volume(0)\"");
        QVERIFY2(fixture.log.lines().contains(line), qPrintable(line));
    }

    void theReadBackValueIsReported()
    {
        ControllerFixture fixture;
        fixture.start();
        simulated::failNext("IAudioEndpointVolume::SetMute", static_cast<DWORD>(E_FAIL));
        fixture.send("setDeviceMute", {{"deviceType", "outputDevice"},
                                       {"deviceName", "Headset"},
                                       {"deviceID", fixture.headset},
                                       {"deviceMute", true}});
        QCOMPARE(fixture.waitForEvent("failedToSetDeviceMute").value("deviceMute").toBool(true),
                 false);
    }

    void steps()
    {
        ControllerFixture fixture;
        fixture.start();
        simulated::setVolume(fixture.headset, 0.5f);
        const auto step = [&](const QString &command, int value) {
            fixture.send(
                command,
                {{"deviceName", "Headset"}, {"deviceID", fixture.headset}, {"singleStep", value}});
            fixture.settle();
            return qRound(simulated::endpoint(fixture.headset).volume * 100);
        };
        QCOMPARE(step("increaseDeviceVolume", 7), 57);
        QCOMPARE(step("decreaseDeviceVolume", 50), 7);
        QCOMPARE(step("decreaseDeviceVolume", 50), 0);
        QCOMPARE(step("increaseDeviceVolume", 400), 100);
    }

    void lists()
    {
        ControllerFixture fixture;
        fixture.start();
        fixture.send("getOutputDeviceInfos");
        const QJsonObject outputs = fixture.waitForEvent("didReceiveOutputDeviceInfos");
        QStringList names;
        for (const QJsonValue &info : outputs.value("outputDevice").toArray())
            names.append(info["deviceName"].toString());
        QVERIFY(names.contains("Headset"));
        QVERIFY(names.contains("tavori - Gaming (tavori Virtual Audio Device)"));
        QVERIFY(!names.contains("Microphone"));
        QVERIFY(!outputs.value("defaultDevice").toObject().isEmpty());
        fixture.send("getInputDeviceInfos");
        const QJsonObject inputs = fixture.waitForEvent("didReceiveInputDeviceInfos");
        QCOMPARE(inputs.value("inputDevice").toArray().size(), 2);
        QCOMPARE(inputs.value("defaultDevice")["deviceName"].toString(), "Microphone");
    }

    void withoutAPlatformQueriesAnswerTheirNothing()
    {
        ControllerFixture fixture;
        simulated::failAlways("CoCreateInstance MMDeviceEnumerator", REGDB_E_CLASSNOTREG);
        fixture.start();
        const QJsonObject device{{"deviceName", "Headset"}, {"deviceID", fixture.headset}};
        fixture.send("getDeviceVolume", device);
        QCOMPARE(fixture.waitForEvent("didReceiveDeviceVolume").value("deviceVolume").toInt(), -1);
        fixture.send("getDeviceMute", device);
        QCOMPARE(fixture.waitForEvent("didReceiveDeviceMute").value("deviceMute").toBool(true),
                 false);
    }
};

QTEST_MAIN(ControllerLevelsTest)
#include "tst_controller_levels.moc"
