// quorvanectl as a user meets it: its process, its output and its exit codes.
#include "programtest.h"
#include "tests/support/portlock.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <memory>

namespace
{
const QStringList allVerbs{"outputs", "inputs",   "route",     "apps",    "move", "default",
                           "volume",  "mute",     "louder",    "softer",  "add",  "remove",
                           "mode",    "personal", "streaming", "balance", "hid",  "trim",
                           "send",    "watch",    "quit"};

/// A call of each verb that is well formed.
const QList<QStringList> eachVerb{{"outputs"},
                                  {"inputs"},
                                  {"route", "Gaming", "Headset"},
                                  {"apps"},
                                  {"move", "Player", "Headset"},
                                  {"default", "Headset"},
                                  {"volume", "Headset"},
                                  {"volume", "Headset", "5"},
                                  {"mute", "Headset"},
                                  {"mute", "Headset", "on"},
                                  {"louder", "Headset", "5"},
                                  {"softer", "Headset", "5"},
                                  {"add", "Browser"},
                                  {"remove", "Browser"},
                                  {"mode", "streamer"},
                                  {"personal", "to", "Headset"},
                                  {"streaming", "add", "Gaming"},
                                  {"balance", "50", "150"},
                                  {"hid", "open", "1234:5678"},
                                  {"trim", "4711"},
                                  {"send", "getOutputDeviceInfos"},
                                  {"watch", "--count", "1"},
                                  {"quit"}};

QString id(const QString &last, bool isInput = false)
{
    return QStringLiteral("{0.0.%1.00000000}.{%2}").arg(isInput ? 1 : 0).arg(last);
}
} // namespace

class TestQuorvanectl : public ProgramTest
{
    Q_OBJECT

private slots:
    void outputsAreListed();
    void inputsAreListed();
    void emptyListIsNoError();
    void listIsJson();
    void endpointIsFound_data();
    void endpointIsFound();
    void candidatesAreNamed();
    void channelIsRouted_data();
    void channelIsRouted();
    void routeIsJson();
    void defaultIsSet_data();
    void defaultIsSet();
    void defaultThatStaysIsRefused();
    void levelIsRead();
    void levelIsSet_data();
    void levelIsSet();
    void refusedLevelIsTold_data();
    void refusedLevelIsTold();
    void levelIsJson();
    void commandIsSent_data();
    void commandIsSent();
    void answersOfACommandAreShown();
    void sendGoesOnListening();
    void eventsAreWatched();
    void watchEndsByTime();
    void watchEndsByTheUser();
    void watchTellsOfMissingEvents();
    void watchEndsWithItsReader();
    void lostOutputIsTold();
    void quitEndsTheProgram();
    void programThatStaysIsTold();
    void usageIsChecked_data();
    void usageIsChecked();
    void everyVerbHasHelp();
    void nothingListens();
    void strangersListen();
    void programNeverAnswers();
    void programEndsTheConnection();
    void leaveIsTakenProperly();
    void standardPortIsUsed();
};

void TestQuorvanectl::outputsAreListed()
{
    const Outcome outcome = run({"outputs"});
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.lines().size(), 11);
    QCOMPARE(outcome.lines().at(5),
             "   42%       Speakers (High Definition)  {0.0.0.00000000}.{b1}");
    QCOMPARE(outcome.lines().at(6), "*   7% muted Speakers  {0.0.0.00000000}.{b2}");
    QVERIFY(outcome.lines().at(10).contains(QStringLiteral("扬声器 é")));
}

void TestQuorvanectl::inputsAreListed()
{
    const Outcome outcome = run({"inputs"});
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.lines().size(), 3);
    QVERIFY(outcome.lines().at(2).startsWith("* "));
    QVERIFY(outcome.lines().at(2).contains("Desk microphone"));
}

void TestQuorvanectl::emptyListIsNoError()
{
    program->endpoints.clear();
    const Outcome outcome = run({"outputs"});
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.out, QString());
    QCOMPARE(run({"outputs", "--json"}).json(),
             (QJsonObject{{"defaultDevice", QJsonObject()}, {"outputDevice", QJsonArray()}}));
}

void TestQuorvanectl::listIsJson()
{
    const Outcome outputs = run({"outputs", "--json"});
    QCOMPARE(outputs.lines().size(), 1);
    QCOMPARE(outputs.json()["outputDevice"].toArray().size(), 11);
    QCOMPARE(outputs.json().value("defaultDevice")["deviceID"].toString(), id("b2"));
    const Outcome inputs = run({"--json", "inputs"});
    QCOMPARE(inputs.json()["inputDevice"].toArray().size(), 3);
}

void TestQuorvanectl::endpointIsFound_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("found");
    QTest::addColumn<int>("code");
    const auto found = [](const char *name, const QStringList &words, const QString &found) {
        QTest::newRow(name) << words << found << int(Ok);
    };
    const auto lost = [](const char *name, const QStringList &words, int code) {
        QTest::newRow(name) << words << QString() << code;
    };
    found("whole name", {"Speakers (High Definition)"}, id("b1"));
    found("whole name that others begin with", {"Speakers"}, id("b2"));
    found("whole name in another case", {"sPEAKERS"}, id("b2"));
    found("beginning of a name", {"speakers ("}, id("b1"));
    found("ID", {id("c2")}, id("c2"));
    found("ID of an input", {id("b3", true)}, id("b3", true));
    found("beginning of an ID", {"{0.0.0.00000000}.{a2"}, id("a2"));
    found("channel word", {"Gaming"}, id("06"));
    found("channel word in another case", {"gaming"}, id("06"));
    found("channel word that others begin with", {"aux"}, id("a0"));
    found("beginning of a channel word", {"Gam"}, id("06"));
    found("short name", {"tavori - Gaming"}, id("06"));
    found("full name", {"tavori - Gaming (tavori Virtual Audio Device)"}, id("06"));
    found("beginning of an input's name", {"desk"}, id("b4", true));
    found("not Latin", {QStringLiteral("扬声")}, id("d1"));
    found("accent in another case", {QStringLiteral("扬声器 É")}, id("d1"));
    found("same name, output chosen", {"Headset", "--output"}, id("b3"));
    found("same name, input chosen", {"Headset", "--input"}, id("b3", true));
    found("same channel, input chosen", {"--input", "microphone"}, id("08", true));
    lost("same name in both directions", {"Headset"}, Ambiguous);
    lost("same channel in both directions", {"Microphone"}, Ambiguous);
    lost("same name twice", {"Twin"}, Ambiguous);
    lost("beginning of several", {"s"}, Ambiguous);
    lost("beginning of every ID", {"{0.0."}, Ambiguous);
    lost("beginning of every channel", {"tavori"}, Ambiguous);
    lost("no such name", {"Nothing"}, NoSuchEndpoint);
    lost("inside of a name", {"peakers"}, NoSuchEndpoint);
    lost("longer than the name", {"Headset "}, NoSuchEndpoint);
    lost("empty", {""}, NoSuchEndpoint);
    lost("ID of the other direction", {id("c1"), "--input"}, NoSuchEndpoint);
    lost("pattern", {"Speak*"}, NoSuchEndpoint);
}

void TestQuorvanectl::endpointIsFound()
{
    QFETCH(QStringList, words);
    QFETCH(QString, found);
    QFETCH(int, code);
    const Outcome outcome = run(QStringList{"--json", "volume"} + words);
    QCOMPARE(outcome.code, code);
    QCOMPARE(outcome.json()["deviceID"].toString(), found);
    QCOMPARE(outcome.err.isEmpty(), code == Ok);
    if (code != Ok)
        QCOMPARE(outcome.out, QString());
}

void TestQuorvanectl::candidatesAreNamed()
{
    const Outcome ambiguous = run({"mute", "Headset"});
    QCOMPARE(ambiguous.code, int(Ambiguous));
    QVERIFY(ambiguous.err.contains("output  Headset  " + id("b3")));
    QVERIFY(ambiguous.err.contains("input   Headset  " + id("b3", true)));
    const Outcome unknown = run({"mute", "Nothing"});
    QVERIFY(unknown.err.contains("\"Nothing\""));
    QVERIFY(unknown.err.contains("Desk microphone"));
}

void TestQuorvanectl::channelIsRouted_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("channel");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("device");
    const auto routed = [](const QStringList &words, const QString &channel, const QString &type,
                           const QString &device) {
        QTest::newRow(qPrintable(words.join(" -> ")))
            << words << int(Ok)
            << QStringLiteral("tavori - %1 (tavori Virtual Audio Device)").arg(channel) << type
            << device;
    };
    const auto failed = [](const QStringList &words, int code) {
        QTest::newRow(qPrintable(words.join(" -> ")))
            << words << code << QString() << QString() << QString();
    };
    routed({"Gaming", "Headset"}, "Gaming", "outputDevice", id("b3"));
    routed({"gam", "speakers"}, "Gaming", "outputDevice", id("b2"));
    routed({"tavori - Gaming", id("c1")}, "Gaming", "outputDevice", id("c1"));
    routed({"aux", "Headset"}, "Aux", "outputDevice", id("b3"));
    routed({"AUX2", "Headset"}, "Aux2", "outputDevice", id("b3"));
    routed({id("06"), "Headset"}, "Gaming", "outputDevice", id("b3"));
    routed({"Microphone", "Headset"}, "Microphone", "inputDevice", id("b3", true));
    routed({"mic", "desk"}, "Microphone", "inputDevice", id("b4", true));
    failed({"Browser", "Headset"}, NoSuchEndpoint);
    failed({"Speakers", "Headset"}, NoSuchEndpoint);
    failed({"", "Headset"}, NoSuchEndpoint);
    failed({"tav", "Headset"}, Ambiguous);
    failed({"Gaming", "Nothing"}, NoSuchEndpoint);
    failed({"Gaming", "Desk"}, NoSuchEndpoint);
    failed({"Gaming", "Twin"}, Ambiguous);
    failed({"Microphone", "Speakers"}, NoSuchEndpoint);
    failed({"Stream", "Headset"}, Refused);
}

void TestQuorvanectl::channelIsRouted()
{
    QFETCH(QStringList, words);
    QFETCH(int, code);
    QFETCH(QString, channel);
    QFETCH(QString, type);
    QFETCH(QString, device);
    const Outcome outcome = run(QStringList{"route"} + words);
    QCOMPARE(outcome.code, code);
    QCOMPARE(outcome.err.isEmpty(), code == Ok);
    const QList<QJsonObject> sent = program->received("switchDevice");
    QCOMPARE(sent.size(), code == Ok ? 1 : 0);
    if (code != Ok)
        return;
    const QJsonObject expected{{"routeDeviceName", channel},
                               {"deviceType", type},
                               {"deviceName", program->endpoint(device).name},
                               {"deviceID", device}};
    QCOMPARE(sent.first()["payload"].toObject(), expected);
    // Success means that the program has taken it, and the words claim no more.
    QVERIFY(program->messages.indexOf(sent.first()) <
            program->messages.indexOf(program->received("heartbeat").last()));
    QVERIFY(outcome.out.contains("the program reports no result of a route"));
}

void TestQuorvanectl::routeIsJson()
{
    const Outcome outcome = run({"route", "Gaming", "Headset", "--json"});
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.json()["routeDeviceName"].toString(),
             "tavori - Gaming (tavori Virtual Audio Device)");
    QCOMPARE(outcome.json()["deviceID"].toString(), id("b3"));
}

void TestQuorvanectl::defaultIsSet_data()
{
    QTest::addColumn<int>("delay");
    QTest::newRow("at once") << 0;
    QTest::newRow("after a while") << 3;
}

void TestQuorvanectl::defaultIsSet()
{
    QFETCH(int, delay);
    program->delay = delay;
    const Outcome output = run({"default", "Headset", "--output"});
    QCOMPARE(output.code, int(Ok));
    QCOMPARE(output.out, QString("Headset is the default output\n"));
    QCOMPARE(program->defaultOutput, id("b3"));
    QCOMPARE(program->defaultInput, id("b4", true));

    program->delay = delay;
    const Outcome input = run({"default", "Headset", "--input", "--json"});
    QCOMPARE(input.code, int(Ok));
    QCOMPARE(input.json()["deviceType"].toString(), "inputDevice");
    QCOMPARE(program->defaultInput, id("b3", true));
}

void TestQuorvanectl::defaultThatStaysIsRefused()
{
    program->ignoresOrders = true;
    const Outcome outcome = run({"default", "Gaming", "--timeout", "0.3"});
    QCOMPARE(outcome.code, int(Refused));
    QVERIFY(outcome.err.contains("did not become the default output"));
    QCOMPARE(program->received("setCurrentDevice").size(), 1);
}

void TestQuorvanectl::levelIsRead()
{
    QCOMPARE(run({"volume", "Speakers ("}).out, QString("Speakers (High Definition): 42%\n"));
    QCOMPARE(run({"mute", "Speakers"}).out, QString("Speakers: muted\n"));
    QCOMPARE(run({"mute", "Desk"}).out, QString("Desk microphone: not muted\n"));
    QVERIFY(program->received("setDeviceVolume").isEmpty());
    QVERIFY(program->received("setDeviceMute").isEmpty());
}

void TestQuorvanectl::levelIsSet_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<int>("delay");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QJsonObject>("payload");
    QTest::addColumn<QString>("out");
    const QJsonObject gaming{{"deviceType", "outputDevice"},
                             {"deviceName", "tavori - Gaming (tavori Virtual Audio Device)"},
                             {"deviceID", id("06")}};
    const QJsonObject desk{{"deviceType", "inputDevice"},
                           {"deviceName", "Desk microphone"},
                           {"deviceID", id("b4", true)}};
    const auto with = [](QJsonObject payload, const QString &key, const QJsonValue &value) {
        payload.insert(key, value);
        return payload;
    };
    for (const int delay : {0, 3}) {
        const QByteArray when = delay == 0 ? " at once" : " after a while";
        QTest::newRow("volume 0" + when) << QStringList{"volume", "gaming", "0"} << delay
                                         << "setDeviceVolume" << with(gaming, "deviceVolume", 0)
                                         << "tavori - Gaming (tavori Virtual Audio Device): 0%\n";
        QTest::newRow("volume 100" + when)
            << QStringList{"volume", "desk", "100"} << delay << "setDeviceVolume"
            << with(desk, "deviceVolume", 100) << "Desk microphone: 100%\n";
        QTest::newRow("mute on" + when)
            << QStringList{"mute", "desk", "on"} << delay << "setDeviceMute"
            << with(desk, "deviceMute", true) << "Desk microphone: muted\n";
        QTest::newRow("mute off" + when)
            << QStringList{"mute", "desk", "off"} << delay << "setDeviceMute"
            << with(desk, "deviceMute", false) << "Desk microphone: not muted\n";
    }
}

void TestQuorvanectl::levelIsSet()
{
    QFETCH(QStringList, words);
    QFETCH(int, delay);
    QFETCH(QString, command);
    QFETCH(QJsonObject, payload);
    QFETCH(QString, out);
    program->delay = delay;
    const Outcome outcome = run(words);
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.out, out);
    QCOMPARE(program->received(command).size(), 1);
    QCOMPARE(program->received(command).first()["payload"].toObject(), payload);
}

void TestQuorvanectl::refusedLevelIsTold_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<bool>("tells");
    QTest::addColumn<QString>("state");
    for (const bool tells : {true, false}) {
        const QByteArray how = tells ? ", with an event" : ", in silence";
        QTest::newRow("volume" + how) << QStringList{"volume", "Speakers", "8"} << tells << "7%";
        QTest::newRow("mute" + how) << QStringList{"mute", "Speakers", "off"} << tells << "muted";
    }
}

void TestQuorvanectl::refusedLevelIsTold()
{
    QFETCH(QStringList, words);
    QFETCH(bool, tells);
    QFETCH(QString, state);
    program->refusesOrders = tells;
    program->ignoresOrders = !tells;
    const Outcome outcome = run(words);
    QCOMPARE(outcome.code, int(Refused));
    QCOMPARE(outcome.out, QString());
    QCOMPARE(outcome.err,
             QStringLiteral("quorvanectl: the program refused: Speakers is %1\n").arg(state));
}

void TestQuorvanectl::levelIsJson()
{
    const QJsonObject volume = run({"--json", "volume", "Speakers", "31"}).json();
    QCOMPARE(volume, (QJsonObject{{"deviceType", "outputDevice"},
                                  {"deviceName", "Speakers"},
                                  {"deviceID", id("b2")},
                                  {"deviceVolume", 31}}));
    const QJsonObject mute = run({"--json", "mute", "Speakers"}).json();
    QCOMPARE(mute["deviceMute"], QJsonValue(true));
}

void TestQuorvanectl::commandIsSent_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QJsonObject>("message");
    QTest::newRow("no payload") << QStringList{"getSettings"}
                                << QJsonObject{{"event", "getSettings"}};
    QTest::newRow("empty payload")
        << QStringList{"getSettings", "{}"}
        << QJsonObject{{"event", "getSettings"}, {"payload", QJsonObject()}};
    QTest::newRow("payload")
        << QStringList{"addMemoryCheck", R"( {"pid": 42.5, "x": [1, null, "é"]} )"}
        << QJsonObject{{"event", "addMemoryCheck"},
                       {"payload",
                        QJsonObject{{"pid", 42.5}, {"x", QJsonArray{1, QJsonValue::Null, "é"}}}}};
    QTest::newRow("unknown command")
        << QStringList{"no such command"} << QJsonObject{{"event", "no such command"}};
}

void TestQuorvanectl::commandIsSent()
{
    QFETCH(QStringList, words);
    QFETCH(QJsonObject, message);
    const Outcome outcome = run(QStringList{"send"} + words);
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.out, QString());
    QCOMPARE(outcome.err, QString());
    QCOMPARE(program->messages.first(), message);
}

void TestQuorvanectl::answersOfACommandAreShown()
{
    const Outcome infos = run({"send", "getInputDeviceInfos", "--json"});
    QCOMPARE(infos.lines().size(), 1);
    QCOMPARE(infos.json()["event"].toString(), "didReceiveInputDeviceInfos");

    // Answered on the program's next turn only.
    const Outcome uuid = run({"send", "getSystemUUID", "--json"});
    QCOMPARE(uuid.out,
             R"({"event":"didReceiveSystemUUID","payload":{"systemUUID":"u"}})" + QString('\n'));

    QCOMPARE(run({"send", "heartbeat", "--json"}).out, QString("{\"event\":\"heartbeat\"}\n"));
    const Outcome quit = run({"send", "quitApp"});
    QCOMPARE(quit.code, int(Ok));
    QCOMPARE(quit.err, QString());
}

void TestQuorvanectl::sendGoesOnListening()
{
    program->script = [this](const QString &command) {
        if (command == "openHidDevice")
            QTimer::singleShot(200, qApp, [this] { program->sendEvent("late", {}); });
        return false;
    };
    const Outcome outcome = run({"send", "openHidDevice", "--for", "2", "--json"});
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.json()["event"].toString(), "late");
}

void TestQuorvanectl::eventsAreWatched()
{
    const QStringList port{"--port", QString::number(program->port())};
    for (const bool isJson : {false, true}) {
        Run watch(port + QStringList{"watch", "--count", "3"} +
                  (isJson ? QStringList{"--json"} : QStringList{}));
        QVERIFY(QTest::qWaitFor([&] { return program->hasClient(); }, patience));
        program->sendEvent("deviceAdded", {{"deviceName", "A \"b\"\nc"}, {"deviceID", "{x}"}});
        QVERIFY(watch.waitForLines(1));
        program->sendEvent("many", {{"n", 1.5}, {"b", true}, {"list", QJsonArray{1, "two"}}});
        program->send("not JSON");
        const Outcome outcome = watch.finish();
        QCOMPARE(outcome.code, int(Ok));
        QCOMPARE(outcome.lines().size(), 3);
        if (isJson) {
            QCOMPARE(outcome.lines().at(1),
                     R"({"event":"many","payload":{"b":true,"list":[1,"two"],"n":1.5}})");
            QCOMPARE(outcome.lines().at(2), "not JSON");
            continue;
        }
        const QRegularExpression first(
            R"(^\d\d:\d\d:\d\d\.\d{3} deviceAdded deviceID="\{x\}" deviceName="A \\"b\\"\\nc"$)");
        QVERIFY2(first.match(outcome.lines().at(0)).hasMatch(), qPrintable(outcome.out));
        QVERIFY(outcome.lines().at(1).endsWith(R"( many b=true list=[1,"two"] n=1.5)"));
    }
}

void TestQuorvanectl::watchEndsByTime()
{
    const Outcome outcome = run({"watch", "--for", "0.2"});
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.out, QString());
}

void TestQuorvanectl::watchEndsByTheUser()
{
    Run watch({"--port", QString::number(program->port()), "watch"});
    QVERIFY(QTest::qWaitFor([&] { return program->hasClient(); }, patience));
    program->sendEvent("one", {});
    QVERIFY(watch.waitForLines(1));
    watch.process.terminate();
    QCOMPARE(watch.finish().code, int(Ok));
    QVERIFY(QTest::qWaitFor([&] { return !program->closeCodes.isEmpty(); }, patience));
    QCOMPARE(program->closeCodes, QList<int>{1000});
}

void TestQuorvanectl::watchTellsOfMissingEvents()
{
    QCOMPARE(run({"watch", "--for", "0.2", "--count", "1"}).code, int(TimedOut));
}

void TestQuorvanectl::watchEndsWithItsReader()
{
    QProcess shell;
    shell.start("/bin/sh",
                {"-c", QStringLiteral("{ '%1' --port %2 watch; echo $? >&2; } | head -n 1")
                           .arg(QUORVANECTL)
                           .arg(program->port())});
    QVERIFY(QTest::qWaitFor([&] { return program->hasClient(); }, patience));
    // The first event is read, and some later one finds nobody any more.
    const auto ended = [&] {
        program->sendEvent("one", {});
        return shell.state() == QProcess::NotRunning;
    };
    QVERIFY(QTest::qWaitFor(ended, patience));
    QCOMPARE(shell.readAllStandardOutput().count('\n'), 1);
    QVERIFY(shell.readAllStandardError().endsWith("\n1\n"));
}

void TestQuorvanectl::lostOutputIsTold()
{
    if (!QFile::exists("/dev/full"))
        QSKIP("no file that is always full");
    for (QStringList words : eachVerb) {
        words.replaceInStrings("Headset", "Speakers"); // which there is one of
        QProcess process;
        process.setStandardOutputFile("/dev/full");
        process.start(QUORVANECTL, QStringList{"--port", QString::number(program->port())} + words);
        const auto ended = [&] {
            if (words.first() == "watch")
                program->sendEvent("one", {});
            return process.state() == QProcess::NotRunning;
        };
        QVERIFY(QTest::qWaitFor(ended, patience));
        QCOMPARE(process.exitCode(), int(NoOutput));
        QCOMPARE(process.readAllStandardError(),
                 QByteArray("quorvanectl: the output could not be written\n"));
    }
}

void TestQuorvanectl::quitEndsTheProgram()
{
    const Outcome outcome = run({"quit"});
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.err, QString());
    QCOMPARE(program->messages, (QList<QJsonObject>{{{"event", "quitApp"}}}));
    QCOMPARE(run({"quit", "--json"}).json(), (QJsonObject{{"quit", true}}));
}

void TestQuorvanectl::programThatStaysIsTold()
{
    program->isMute = true;
    const Outcome outcome = run({"quit", "--timeout", "0.3"});
    QCOMPARE(outcome.code, int(TimedOut));
    QVERIFY(outcome.err.contains("has not ended the connection"));
}

void TestQuorvanectl::usageIsChecked_data()
{
    QTest::addColumn<QStringList>("words");
    const QList<QStringList> calls{{},
                                   {"nonsense"},
                                   {"Outputs"},
                                   {"outputs", "extra"},
                                   {"route"},
                                   {"route", "Gaming"},
                                   {"route", "Gaming", "Headset", "extra"},
                                   {"default"},
                                   {"volume"},
                                   {"volume", "Headset", "101"},
                                   {"volume", "Headset", "-1"},
                                   {"volume", "Headset", "4.5"},
                                   {"volume", "Headset", "loud"},
                                   {"volume", "Headset", ""},
                                   {"volume", "Headset", "1", "2"},
                                   {"mute", "Headset", "yes"},
                                   {"mute", "Headset", "On"},
                                   {"send"},
                                   {"send", "x", "not JSON"},
                                   {"send", "x", "[1]"},
                                   {"send", "x", "1"},
                                   {"send", "x", ""},
                                   {"send", "x", "{}", "{}"},
                                   {"watch", "extra"},
                                   {"watch", "--count", "0"},
                                   {"watch", "--count", "x"},
                                   {"watch", "--for", "0"},
                                   {"watch", "--for", "soon"},
                                   {"watch", "--count"},
                                   {"outputs", "--count", "1"},
                                   {"outputs", "--for", "1"},
                                   {"outputs", "--input"},
                                   {"volume", "x", "--input", "--output"},
                                   {"quit", "--nonsense"},
                                   {"outputs", "--timeout", "0"},
                                   {"outputs", "--timeout", "-1"},
                                   {"outputs", "--timeout", "x"},
                                   {"outputs", "--port", "0"},
                                   {"outputs", "--port", "65536"},
                                   {"outputs", "--port", "x"},
                                   {"outputs", "--host", ""}};
    for (const QStringList &words : calls)
        QTest::newRow(qPrintable('"' + words.join(' ') + '"')) << words;
}

void TestQuorvanectl::usageIsChecked()
{
    QFETCH(QStringList, words);
    const Outcome outcome = run(words);
    QCOMPARE(outcome.code, int(Usage));
    QCOMPARE(outcome.out, QString());
    QVERIFY(outcome.err.startsWith("quorvanectl: "));
    QCOMPARE(outcome.err.count('\n'), 1);
    QVERIFY(program->messages.isEmpty());
}

void TestQuorvanectl::everyVerbHasHelp()
{
    const Outcome general = run({"--help"});
    QCOMPARE(general.code, int(Ok));
    QVERIFY(general.out.contains("24925"));
    QCOMPARE(run({"-h"}).out, general.out);
    for (const QString &verb : allVerbs) {
        QVERIFY2(general.out.contains("\n  " + verb + ' '), qPrintable(verb));
        const Outcome help = run({verb, "--help"});
        QCOMPARE(help.code, int(Ok));
        QVERIFY(help.out.startsWith("Usage: quorvanectl " + verb));
        for (const Outcome &outcome : {general, help}) {
            for (int code : {0, 1, 2, 3, 4, 5, 6, 7})
                QVERIFY(outcome.out.contains(QStringLiteral("\n  %1  ").arg(code)));
        }
    }
    QVERIFY(program->messages.isEmpty());
}

void TestQuorvanectl::nothingListens()
{
    QTcpServer probe;
    QVERIFY(probe.listen(QHostAddress::LocalHost));
    const QString port = QString::number(probe.serverPort());
    probe.close();
    for (const QStringList &words : eachVerb) {
        const Outcome outcome = Run(QStringList{"--port", port} + words).finish();
        QCOMPARE(outcome.code, int(NotListening));
        QCOMPARE(outcome.out, QString());
        QCOMPARE(outcome.err.count('\n'), 1);
        QVERIFY2(outcome.err.startsWith("quorvanectl: nothing listens on 127.0.0.1:" + port),
                 qPrintable(outcome.err));
    }
}

void TestQuorvanectl::strangersListen()
{
    QTcpServer stranger;
    QVERIFY(stranger.listen(QHostAddress::LocalHost));
    const QStringList words{"--port", QString::number(stranger.serverPort()), "--timeout", "0.5",
                            "outputs"};
    // One that says nothing at all.
    QCOMPARE(Run(words).finish().code, int(TimedOut));
    // One that speaks another protocol.
    connect(&stranger, &QTcpServer::newConnection, &stranger,
            [&] { stranger.nextPendingConnection()->write("HTTP/1.1 404 Not Found\r\n\r\n"); });
    while (stranger.hasPendingConnections())
        delete stranger.nextPendingConnection();
    QCOMPARE(Run(words).finish().code, int(NotListening));
}

void TestQuorvanectl::programNeverAnswers()
{
    program->isMute = true;
    for (QStringList words : eachVerb) {
        words += {"--timeout", "0.3"};
        if (words.first() == "watch")
            words += {"--for", "0.3"};
        const Outcome outcome = run(words);
        QCOMPARE(outcome.code, int(TimedOut));
        QCOMPARE(outcome.err.count('\n'), 1);
    }
}

void TestQuorvanectl::programEndsTheConnection()
{
    program->script = [this](const QString &) {
        program->hangUp();
        return true;
    };
    for (const QStringList &words : eachVerb) {
        if (words.first() == "watch" || words.first() == "quit")
            continue;
        const Outcome outcome = run(words);
        QCOMPARE(outcome.code, int(NotListening));
        QVERIFY(outcome.err.contains("ended the connection"));
    }
    Run watch({"--port", QString::number(program->port()), "watch"});
    QVERIFY(QTest::qWaitFor([&] { return program->hasClient(); }, patience));
    program->hangUp();
    QCOMPARE(watch.finish().code, int(NotListening));
}

void TestQuorvanectl::leaveIsTakenProperly()
{
    for (const QStringList &words :
         {QStringList{"outputs"}, QStringList{"volume", "Nothing"},
          QStringList{"watch", "--for", "0.1"}, QStringList{"route", "Gaming", "Headset"}}) {
        run(words);
        QVERIFY(QTest::qWaitFor([&] { return !program->closeCodes.isEmpty(); }, patience));
        QCOMPARE(program->closeCodes, QList<int>{1000});
        program->closeCodes.clear();
    }
}

void TestQuorvanectl::standardPortIsUsed()
{
    const PortLock turn;
    FakeProgram standard;
    // A program that takes no turns, such as one that somebody tries by hand, may have it.
    if (!QTest::qWaitFor([&] { return standard.listen(PortLock::port); }, patience))
        QSKIP("another program has the control port");
    QCOMPARE(Run({"inputs"}).finish().code, int(Ok));
    QCOMPARE(standard.received("getInputDeviceInfos").size(), 1);
}

QTEST_GUILESS_MAIN(TestQuorvanectl)
#include "tst_quorvanectl.moc"
