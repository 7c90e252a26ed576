// The lines that the handlers of commands leave in the log: people search for their letters.
#include "platform/simulated/calls.h"
#include "tests/unit/app/controllersteps.h"

#include <QTest>
#include <QTimer>

namespace
{
/// A command, and what its handler says first.
struct Row
{
    const char *command;
    const char *handler;
    QJsonObject payload;
    QString arguments;
};

QJsonObject with(QJsonObject payload, const QString &key, const QJsonValue &value)
{
    payload.insert(key, value);
    return payload;
}

QJsonObject ofType(const char *deviceType)
{
    return with(device("A name", "{an id}"), "deviceType", deviceType);
}

QList<Row> routingRows()
{
    const QString named = " \"A name\" \"{an id}\"";
    const auto route = [](const char *type, tavoriDeviceType channel) {
        return with(ofType(type), "routeDeviceName", fullName(channel));
    };
    return {
        {"switchDevice", "onSwitchOutputDevice", route("outputDevice", tavoriGame), " 6" + named},
        {"switchDevice", "onSwitchInputDevice", route("inputDevice", tavoriChatCapture), {}},
        {"setCurrentDevice", "onSetCurrentOutputDevice", ofType("outputDevice"), named},
        {"setCurrentDevice", "onSetCurrentInputDevice", ofType("inputDevice"), named},
        {"addOutputDevice", "onAddOutputDevice", {{"outputDeviceName", "Aux2"}}, " \"Aux2\""},
        {"removeOutputDevice", "onRemoveOutputDevice", {{"outputDeviceName", "Aux3"}}, " \"Aux3\""},
        {"setControlMode", "onSetControlMode", {{"mode", "StreamerMode"}}, " 1"},
        {"finishSetControlMode", "onFinishSetControlMode", {{"mode", "NormalMode"}}, " 0"},
        {"setAppDefaultAudioEndpoint",
         "onSetAppDefaultDevice",
         {{"appProcessID", 1}, {"appName", "An app"}, {"audioEndpointID", "{an id}"}},
         " \"An app\""},
    };
}

QList<Row> mixRows()
{
    const QJsonObject target = device("A name", "{an id}");
    const QString named = " \"A name\" \"{an id}\"";
    return {
        {"switchPersonalSynthesizerDevice", "onSwitchPersonalSynthesizerDevice", target, named},
        {"switchStreamingSynthesizerDevice", "onSwitchStreamingSynthesizerDevice", target, named},
        {"switchMicrophoneInputDevice", "onSwitchMicrophoneInputDevice", target, named},
        {"addToPersonalSynthesizer", "onAddToPersonalSynthesizer", with(target, "checked", true),
         named + " true"},
        {"addToStreamingSynthesizer", "onAddToStreamingSynthesizer", with(target, "checked", false),
         named + " false"},
        {"setPersonalSynthesizerDeviceVolume", "onSetPersonalSynthesizerDeviceVolume",
         with(target, "deviceVolume", 25), named + " 25"},
        {"setStreamingSynthesizerDeviceVolume", "onSetStreamingSynthesizerDeviceVolume",
         with(target, "deviceVolume", 75), named + " 75"},
        {"setPersonalSynthesizerDeviceMute", "onSetPersonalSynthesizerDeviceMute",
         with(target, "mute", true), named + " true"},
        {"setStreamingSynthesizerDeviceMute", "onSetStreamingSynthesizerDeviceMute",
         with(target, "mute", false), named + " false"},
        {"setGamingChatMixEnable", "onSetGamingChatMixEnable", {{"enable", true}}, " true"},
        {"setGamingChatMixProportion",
         "onSetGamingChatMixProportion",
         {{"gaming", -50}, {"chat", 75}},
         " -50 75"},
    };
}

QList<Row> levelRows()
{
    const QString named = " \"A name\" \"{an id}\"";
    QList<Row> rows{
        {"increaseDeviceVolume", "onIncreaseDeviceVolume",
         with(device("A name", "{an id}"), "singleStep", 5), named + " 5"},
        {"decreaseDeviceVolume", "onDecreaseDeviceVolume",
         with(device("A name", "{an id}"), "singleStep", 7), named + " 7"},
    };
    struct Family
    {
        const char *type;
        const char *getMute, *setMute, *getVolume, *setVolume;
    };
    for (const Family &family :
         {Family{"outputDevice", "onGetOutputDeviceMute", "onSetOutputDeviceMute",
                 "onGetOutputDeviceVolume", "onSetOutputDeviceVolume"},
          Family{"inputDevice", "onGetInputDeviceMute", "onSetInputDeviceMute",
                 "onGetInputDeviceVolume", "onSetInputDeviceVolume"},
          Family{"", "onGetDeviceMute", "onSetDeviceMute", "onGetDeviceVolume",
                 "onSetDeviceVolume"}}) {
        const QJsonObject target = ofType(family.type);
        rows += {
            {"getDeviceMute", family.getMute, target, named},
            {"setDeviceMute", family.setMute, with(target, "deviceMute", true), named + " true"},
            {"getDeviceVolume", family.getVolume, target, named},
            {"setDeviceVolume", family.setVolume, with(target, "deviceVolume", 42), named + " 42"},
        };
    }
    return rows;
}
} // namespace

class ControllerHandlerLogTest : public QObject
{
    Q_OBJECT

private slots:
    void aHandlerSaysWhenItBeginsAndEnds_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("handler");
        QTest::addColumn<QJsonObject>("payload");
        QTest::addColumn<QString>("arguments");
        for (const Row &row : routingRows() + mixRows() + levelRows())
            QTest::newRow(row.handler)
                << row.command << row.handler << row.payload << row.arguments;
    }

    void aHandlerSaysWhenItBeginsAndEnds()
    {
        QFETCH(const QString, command);
        QFETCH(const QString, handler);
        QFETCH(const QJsonObject, payload);
        QFETCH(const QString, arguments);
        ControllerFixture fixture;
        fixture.start();
        fixture.log.clear();
        fixture.send(command, payload);
        fixture.settle();
        // A failed order says so in between.
        QStringList lines = fixture.log.lines().filter(handler + "() :");
        lines.removeIf([](const QString &line) { return line.startsWith("Warning: "); });
        QCOMPARE(lines, QStringList({"Info: " + handler + "() :" + arguments,
                                     "Info: " + handler + "() : end"}));
        // None of them sounds the alert.
        for (const auto *timer : fixture.widget->findChildren<QTimer *>())
            QVERIFY(timer->interval() != 600 || !timer->isActive());
        QCOMPARE(simulated::countCalls("MessageBeep"), 0);
    }
};

QTEST_MAIN(ControllerHandlerLogTest)
#include "tst_controller_handlerlog.moc"
