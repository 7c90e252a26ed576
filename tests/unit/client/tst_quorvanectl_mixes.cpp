// The verbs for levels in steps, channels on demand, the mode, the mixes and the balance.
#include "programtest.h"

namespace
{
QString fullName(const QString &word)
{
    return QStringLiteral("tavori - %1 (tavori Virtual Audio Device)").arg(word);
}

const QString speakersId = QStringLiteral("{0.0.0.00000000}.{b2}");
} // namespace

class TestQuorvanectlMixes : public ProgramTest
{
    Q_OBJECT

private slots:
    void stepsAreOrdered_data()
    {
        QTest::addColumn<QString>("verb");
        QTest::addColumn<QString>("command");
        QTest::addColumn<int>("volume");
        QTest::newRow("louder") << "louder"
                                << "increaseDeviceVolume" << 12;
        QTest::newRow("softer") << "softer"
                                << "decreaseDeviceVolume" << 2;
    }

    void stepsAreOrdered()
    {
        QFETCH(QString, verb);
        QFETCH(QString, command);
        QFETCH(int, volume);
        program->script = [&](const QString &name) {
            if (name == command)
                program->endpoint(speakersId).volume = volume;
            return name == command;
        };
        const Outcome outcome = run({verb, "Speakers", "5"});
        QCOMPARE(outcome.code, int(Ok));
        QCOMPARE(outcome.out, QStringLiteral("Speakers: %1%\n").arg(volume));
        const QList<QJsonObject> sent = program->received(command);
        QCOMPARE(sent.size(), 1);
        const QJsonObject expected{{"deviceType", "outputDevice"},
                                   {"deviceName", "Speakers"},
                                   {"deviceID", speakersId},
                                   {"singleStep", 5}};
        QCOMPARE(sent.first()["payload"].toObject(), expected);
    }

    void refusedStepIsTold()
    {
        program->script = [&](const QString &name) {
            if (name != "increaseDeviceVolume")
                return false;
            program->sendEvent("failedToSetDeviceVolume", {{"deviceID", speakersId}});
            return true;
        };
        const Outcome outcome = run({"louder", "Speakers", "5"});
        QCOMPARE(outcome.code, int(Refused));
        QVERIFY(outcome.err.contains("Speakers is 7%"));
    }

    void channelsOnDemand_data()
    {
        QTest::addColumn<QString>("verb");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("word");
        QTest::addColumn<int>("code");
        QTest::newRow("add") << "add"
                             << "Browser"
                             << "addOutputDevice"
                             << "finishAddOutputDevice"
                             << "Browser" << int(Ok);
        QTest::newRow("add in another case") << "add"
                                             << "aux2"
                                             << "addOutputDevice"
                                             << "finishAddOutputDevice"
                                             << "Aux2" << int(Ok);
        QTest::newRow("add another") << "add"
                                     << "Gaming"
                                     << "addOutputDevice"
                                     << "cannotAddOutputDevice"
                                     << "Gaming" << int(Refused);
        QTest::newRow("remove") << "remove"
                                << "AUX3"
                                << "removeOutputDevice"
                                << "finishRemoveOutputDevice"
                                << "Aux3" << int(Ok);
        QTest::newRow("remove another") << "remove"
                                        << ""
                                        << "removeOutputDevice"
                                        << "cannotRemoveOutputDevice"
                                        << "" << int(Refused);
    }

    void channelsOnDemand()
    {
        QFETCH(QString, verb);
        QFETCH(QString, typed);
        QFETCH(QString, command);
        QFETCH(QString, answer);
        QFETCH(QString, word);
        QFETCH(int, code);
        const QJsonObject payload{{"outputDeviceName", word}};
        program->script = [&](const QString &name) {
            if (name != command)
                return false;
            // What another client's order raised is not taken for the answer.
            program->sendEvent("finishAddOutputDevice", {{"outputDeviceName", "other"}});
            program->sendEvent("cannotAddOutputDevice", {{"outputDeviceName", "other"}});
            program->sendEvent(answer, payload);
            return true;
        };
        const Outcome outcome = run({"--json", verb, typed});
        QCOMPARE(outcome.code, code);
        QCOMPARE(program->received(command).size(), 1);
        QCOMPARE(program->received(command).first()["payload"].toObject(), payload);
        QCOMPARE(outcome.json(), code == Ok ? payload : QJsonObject());
        QCOMPARE(outcome.err.isEmpty(), code == Ok);
    }

    void modes_data()
    {
        QTest::addColumn<QString>("word");
        QTest::addColumn<QString>("mode");
        QTest::newRow("normal") << "normal"
                                << "NormalMode";
        QTest::newRow("streamer") << "streamer"
                                  << "StreamerMode";
    }

    void modes()
    {
        QFETCH(QString, word);
        QFETCH(QString, mode);
        const Outcome outcome = run({"mode", word});
        QCOMPARE(outcome.code, int(Ok));
        QCOMPARE(outcome.out, word + " mode\n");
        QCOMPARE(program->messages.size(), 3);
        QCOMPARE(program->messages.at(0)["event"].toString(), "setControlMode");
        QCOMPARE(program->messages.at(1)["event"].toString(), "finishSetControlMode");
        for (const int index : {0, 1})
            QCOMPARE(program->messages.at(index)["payload"].toObject(),
                     QJsonObject({{"mode", mode}}));
    }

    void mixOrders_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("device");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("value");
        const auto row = [](const QStringList &words, const char *command, const QString &device,
                            const char *key, const QVariant &value) {
            QTest::newRow(qPrintable(words.join(' ')))
                << words << command << device << key << value;
        };
        row({"to", "Headset"}, "switch%1SynthesizerDevice", "Headset", "", {});
        row({"to", "stream"}, "switch%1SynthesizerDevice", fullName("Stream"), "", {});
        row({"add", "gam"}, "addTo%1Synthesizer", fullName("Gaming"), "checked", true);
        row({"remove", "Aux"}, "addTo%1Synthesizer", fullName("Aux"), "checked", false);
        row({"add", "mic"}, "addTo%1Synthesizer", fullName("Microphone"), "checked", true);
        row({"volume", "Gaming", "40"}, "set%1SynthesizerDeviceVolume", fullName("Gaming"),
            "deviceVolume", 40);
        row({"mute", "Gaming", "on"}, "set%1SynthesizerDeviceMute", fullName("Gaming"), "mute",
            true);
        row({"mute", "Gaming", "off"}, "set%1SynthesizerDeviceMute", fullName("Gaming"), "mute",
            false);
    }

    void mixOrders()
    {
        QFETCH(QStringList, words);
        QFETCH(QString, command);
        QFETCH(QString, device);
        QFETCH(QString, key);
        QFETCH(QVariant, value);
        for (const QString mix : {"Personal", "Streaming"}) {
            const Outcome outcome = run(QStringList{mix.toLower()} + words);
            QCOMPARE(outcome.err, QString());
            QCOMPARE(outcome.code, int(Ok));
            QVERIFY2(outcome.out.startsWith(mix.toLower() + " mix: " + device),
                     qPrintable(outcome.out));
            const QList<QJsonObject> sent = program->received(command.arg(mix));
            QCOMPARE(sent.size(), 1);
            const QJsonObject payload = sent.first()["payload"].toObject();
            QCOMPARE(payload["deviceName"].toString(), device);
            QVERIFY(payload["deviceID"].toString().startsWith("{0.0.0."));
            if (!key.isEmpty())
                QCOMPARE(payload[key].toVariant(), value);
        }
    }

    void balances_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<int>("gaming");
        QTest::addColumn<int>("chat");
        QTest::newRow("even") << QStringList{"100", "100"} << 0 << 0;
        QTest::newRow("game alone") << QStringList{"200", "0"} << 100 << -100;
        QTest::newRow("rather chat") << QStringList{"50", "150"} << -50 << 50;
    }

    void balances()
    {
        QFETCH(QStringList, words);
        QFETCH(int, gaming);
        QFETCH(int, chat);
        const Outcome outcome = run(QStringList{"balance"} + words);
        QCOMPARE(outcome.code, int(Ok));
        const QJsonObject payload =
            program->received("setGamingChatMixProportion").value(0)["payload"].toObject();
        QCOMPARE(payload["gaming"].toInt(-1), gaming);
        QCOMPARE(payload["chat"].toInt(-1), chat);
        QCOMPARE(program->received("setGamingChatMixEnable")
                     .value(0)["payload"][QStringLiteral("enable")],
                 QJsonValue(true));
    }

    void balanceOff()
    {
        QCOMPARE(run({"balance", "off"}).code, int(Ok));
        QCOMPARE(program->received("setGamingChatMixProportion").size(), 0);
        QCOMPARE(program->received("setGamingChatMixEnable")
                     .value(0)["payload"][QStringLiteral("enable")],
                 QJsonValue(false));
    }

    void failures_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<int>("code");
        const auto row = [](const QStringList &words, int code) {
            QTest::newRow(qPrintable(words.join(' '))) << words << code;
        };
        row({"louder", "Speakers", "101"}, Usage);
        row({"louder", "Speakers", "x"}, Usage);
        row({"softer", "Nothing", "1"}, NoSuchEndpoint);
        row({"mode", "loud"}, Usage);
        row({"mode", "Normal"}, Usage);
        row({"personal", "to"}, Usage);
        row({"personal", "to", "Headset", "x"}, Usage);
        row({"personal", "to", "Desk"}, NoSuchEndpoint);
        row({"personal", "to", "Twin"}, Ambiguous);
        row({"personal", "add", "Speakers"}, NoSuchEndpoint);
        row({"personal", "add", "Browser"}, NoSuchEndpoint);
        row({"personal", "add", "Stream"}, Refused);
        row({"streaming", "volume", "Gaming"}, Usage);
        row({"streaming", "volume", "Gaming", "101"}, Usage);
        row({"streaming", "mute", "Gaming", "yes"}, Usage);
        row({"streaming", "drop", "Gaming"}, Usage);
        row({"streaming", "drop", "Gaming", "1"}, Usage);
        row({"balance"}, Usage);
        row({"balance", "on"}, Usage);
        row({"balance", "50"}, Usage);
        row({"balance", "50", "201"}, Usage);
        row({"balance", "off", "50"}, Usage);
    }

    void failures()
    {
        QFETCH(QStringList, words);
        QFETCH(int, code);
        const Outcome outcome = run(words);
        QCOMPARE(outcome.code, code);
        QCOMPARE(outcome.out, QString());
        QVERIFY(!outcome.err.isEmpty());
        // Nothing was ordered.
        for (const QJsonObject &message : std::as_const(program->messages))
            QVERIFY(message["event"].toString().startsWith("get"));
    }
};

QTEST_GUILESS_MAIN(TestQuorvanectlMixes)
#include "tst_quorvanectl_mixes.moc"
