// Steps that tests of the controller have in common.
#pragma once

#include "platform/simulated/endpoints.h"
#include "platform/simulated/notifications.h"
#include "platform/simulated/streams.h"
#include "streams/tavorioutputdevice.h"
#include "tests/unit/app/channelfeed.h"
#include "tests/unit/app/controllerfixture.h"

#include <QTest>

#include <algorithm>
#include <functional>

inline QString fullName(tavoriDeviceType type)
{
    return channelOfType(type)->fullName();
}

inline QJsonObject device(const QString &name, const QString &id)
{
    return {{"deviceName", name}, {"deviceID", id}};
}

inline void setMode(ControllerFixture &fixture, const QString &mode)
{
    fixture.send("setControlMode", {{"mode", mode}});
    fixture.send("finishSetControlMode", {{"mode", mode}});
    fixture.settle();
    fixture.settle(); // and what showing or hiding Stream has raised
    fixture.clearEvents();
}

/// Starts the capture of the real microphone.
inline simulated::CaptureStream listen(ControllerFixture &fixture)
{
    fixture.send("switchMicrophoneInputDevice", device("Microphone", fixture.microphone));
    fixture.settle();
    return simulated::waitForCaptureStream(fixture.microphone);
}

inline std::function<void()> speech(simulated::CaptureStream capture, qint16 sample = 12000)
{
    return [capture, sample]() mutable { capture.pushPacket(blockOf(sample, 480)); };
}

inline void announceState(const QString &id, DWORD state)
{
    simulated::setState(id, state);
    simulated::notifyDeviceState(id, state);
}

/// Changes a property that matters, outside the window in which the sink swallows a second one.
inline void changeProperty(ControllerFixture &fixture, const QString &id)
{
    const QString done = QStringLiteral("Info: onPropertyValueChanged() : handle end");
    const auto count = [&] { return fixture.log.lines().count(done); };
    const auto before = count();
    QTest::qWait(510);
    simulated::notifyPropertyChanged(id, PKEY_Device_FriendlyName);
    QVERIFY(QTest::qWaitFor([&] { return count() > before; }, 30000));
}

/// Orders an endpoint's level and waits until the channels have taken it up.
inline void orderLevel(ControllerFixture &fixture, const QString &id, const QString &key,
                       const QJsonValue &value)
{
    const QString done = QStringLiteral("Info: onDeviceStateChanged() : end");
    const auto before = fixture.log.lines().count(done);
    fixture.send(key == "deviceMute" ? "setDeviceMute" : "setDeviceVolume",
                 {{"deviceID", id}, {key, value}});
    QVERIFY(QTest::qWaitFor([&] { return fixture.log.lines().count(done) > before; }, 30000));
}

/// The controller's channel; null if its slot is empty.
inline tavoriOutputDevice *channelIn(const ControllerFixture &fixture, tavoriDeviceType type)
{
    const auto devices = fixture.widget->findChildren<tavoriOutputDevice *>();
    const auto found = std::find_if(devices.begin(), devices.end(), [type](const auto *device) {
        return device->deviceType() == type;
    });
    return found == devices.end() ? nullptr : *found;
}
