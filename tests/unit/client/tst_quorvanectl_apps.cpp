// quorvanectl's verbs for applications, as a user meets them.
#include "programtest.h"

#include <QJsonArray>

namespace
{
const QString speakers = "{0.0.0.00000000}.{b2}";
const QString headset = "{0.0.0.00000000}.{b3}";
const QString headsetInput = "{0.0.1.00000000}.{b3}";
const QString desk = "{0.0.1.00000000}.{b4}";

QJsonObject info(const QString &name, int processId, const QString &state)
{
    return {{"sessionProcessName", name},
            {"sessionProcessId", processId},
            {"sessionState", "AudioSessionState" + state}};
}

QJsonObject allInfos()
{
    return {{speakers, QJsonArray{info("Player", 100, "Active"), info("Browser", 70, "Inactive"),
                                  info("Playground", 300, "Expired")}},
            {headset, QJsonArray{info("Browser", 7000, "Active"), info("Player", 100, "Inactive")}},
            {desk, QJsonArray{info("Recorder", 8, "Active")}},
            {headsetInput, QJsonArray()},
            {"somewhere", QJsonArray{info("Stranger", 9, "Active")}}};
}
} // namespace

class TestQuorvanectlApps : public ProgramTest
{
    Q_OBJECT

private slots:
    void init();
    void applicationsAreListed();
    void listIsJson();
    void emptyListIsNoError();
    void applicationIsMoved_data();
    void applicationIsMoved();
    void moveIsJson();
    void candidatesAreNamed();
    void refusalIsTold_data();
    void refusalIsTold();
};

void TestQuorvanectlApps::init()
{
    ProgramTest::init();
    program->sessionInfos = allInfos();
}

void TestQuorvanectlApps::applicationsAreListed()
{
    const Outcome outcome = run({"apps"});
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.lines(),
             QStringList(
                 {"silent      70 Browser    -> Speakers", "playing   7000 Browser    -> Headset",
                  "silent     100 Player     -> Headset", "playing    100 Player     -> Speakers",
                  "expired    300 Playground -> Speakers",
                  "recording    8 Recorder   <- Desk microphone"}));
}

void TestQuorvanectlApps::listIsJson()
{
    const Outcome outcome = run({"apps", "--json"});
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.json(), QJsonObject({{"audioSessionInfos", allInfos()}}));
}

void TestQuorvanectlApps::emptyListIsNoError()
{
    program->sessionInfos = {};
    const Outcome outcome = run({"apps"});
    QCOMPARE(outcome.code, int(Ok));
    QCOMPARE(outcome.out, QString());
}

void TestQuorvanectlApps::applicationIsMoved_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<int>("code");
    QTest::addColumn<QJsonObject>("sent");
    const auto moved = [](const QStringList &words, const QString &name, int processId,
                          const QString &to, const QString &from, const QString &type) {
        QTest::newRow(qPrintable(words.join(" -> "))) << words << int(Ok)
                                                      << QJsonObject{{"appProcessID", processId},
                                                                     {"appName", name},
                                                                     {"audioEndpointID", to},
                                                                     {"fromAudioEndpointID", from},
                                                                     {"deviceType", type}};
    };
    const auto failed = [](const QStringList &words, int code) {
        QTest::newRow(qPrintable(words.join(" -> "))) << words << code << QJsonObject();
    };
    const QString output = "outputDevice";
    const QString input = "inputDevice";
    moved({"Player", "Headset", "--output"}, "Player", 100, headset, headset, output);
    moved({"100", "Speakers"}, "Player", 100, speakers, headset, output);
    moved({"7000", "Speakers"}, "Browser", 7000, speakers, headset, output);
    moved({"PLAYER", "Speakers"}, "Player", 100, speakers, headset, output);
    moved({"playg", headset}, "Playground", 300, headset, speakers, output);
    moved({"Player", "Desk"}, "Player", 100, desk, "", input);
    moved({"Recorder", "Headset", "--input"}, "Recorder", 8, headsetInput, desk, input);
    failed({"Browser", "Speakers"}, Ambiguous);
    failed({"play", "Speakers"}, Ambiguous);
    failed({"7", "Speakers"}, NoSuchEndpoint);
    failed({"Stranger", "Speakers"}, NoSuchEndpoint);
    failed({"", "Speakers"}, NoSuchEndpoint);
    failed({"layer", "Speakers"}, NoSuchEndpoint);
    failed({"Player", "Headset"}, Ambiguous);
    failed({"Player", "Nothing"}, NoSuchEndpoint);
    failed({"Player", "Desk", "--output"}, NoSuchEndpoint);
    failed({"Player"}, Usage);
}

void TestQuorvanectlApps::applicationIsMoved()
{
    QFETCH(QStringList, words);
    QFETCH(int, code);
    QFETCH(QJsonObject, sent);
    const Outcome outcome = run(QStringList{"move"} + words);
    QCOMPARE(outcome.code, code);
    QCOMPARE(outcome.err.isEmpty(), code == Ok);
    const QList<QJsonObject> orders = program->received("setAppDefaultAudioEndpoint");
    QCOMPARE(orders.size(), code == Ok ? 1 : 0);
    if (code != Ok)
        return;
    QCOMPARE(orders.first()["payload"].toObject(), sent);
    const QString endpoint = program->endpoint(sent["audioEndpointID"].toString()).name;
    QCOMPARE(outcome.out, sent["appName"].toString() + " -> " + endpoint + "\n");
}

void TestQuorvanectlApps::moveIsJson()
{
    QCOMPARE(
        run({"move", "Player", "Speakers", "--json"}).json(),
        QJsonObject({{"appName", "Player"}, {"audioEndpointID", speakers}, {"success", true}}));
}

void TestQuorvanectlApps::candidatesAreNamed()
{
    const Outcome ambiguous = run({"move", "browser", "Speakers"});
    QVERIFY(ambiguous.err.contains("  silent      70 Browser -> Speakers\n"));
    QVERIFY(ambiguous.err.contains("  playing   7000 Browser -> Headset\n"));
    QVERIFY(!ambiguous.err.contains("Player"));
    const Outcome unknown = run({"move", "Nobody", "Speakers"});
    QVERIFY(unknown.err.contains("\"Nobody\""));
    QVERIFY(unknown.err.contains("Recorder"));
}

void TestQuorvanectlApps::refusalIsTold_data()
{
    QTest::addColumn<QString>("endpoint");
    QTest::addColumn<QString>("text");
    QTest::newRow("output") << "Speakers"
                            << "Player was not moved to Speakers\n";
    QTest::newRow("input") << "Desk"
                           << "Player was not moved to Desk microphone, or the program could not "
                              "confirm it\n";
}

void TestQuorvanectlApps::refusalIsTold()
{
    QFETCH(QString, endpoint);
    QFETCH(QString, text);
    program->refusesOrders = true;
    const Outcome outcome = run({"move", "Player", endpoint});
    QCOMPARE(outcome.code, int(Refused));
    QVERIFY2(outcome.err.endsWith(text), qPrintable(outcome.err));
}

QTEST_GUILESS_MAIN(TestQuorvanectlApps)
#include "tst_quorvanectl_apps.moc"
