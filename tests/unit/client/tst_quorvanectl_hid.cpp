// The verb for HID devices.
#include "programtest.h"

#include <QJsonArray>

namespace
{
const QJsonObject device{{"VID", 0x12AB}, {"PID", 0x5678}};
/// As an open device tells it.
const QJsonObject fullDevice{{"VID", 0x12AB},   {"PID", 0x5678}, {"SerialNumber", "S"},
                             {"usagePage", -1}, {"usage", -1},   {"reportID", 0}};
const QJsonObject otherDevice{{"VID", 0x12AB}, {"PID", 1}};
} // namespace

class TestQuorvanectlHid : public ProgramTest
{
    Q_OBJECT

private slots:
    void openIsSent()
    {
        const Outcome outcome = run({"hid", "open", "12ab:5678"});
        QCOMPARE(outcome.code, int(Ok));
        QCOMPARE(outcome.out, QStringLiteral("12ab:5678: asked to open\n"));
        QCOMPARE(payloadOf("openHidDevice"), QJsonObject({{"device", device}}));
    }

    void closeWaitsForTheDevice()
    {
        answer("closeHidDevice", "deviceDidDisconnect", {});
        const Outcome outcome = run({"hid", "close", "12AB:5678"});
        QCOMPARE(outcome.code, int(Ok));
        QCOMPARE(outcome.out, QStringLiteral("12AB:5678: closed\n"));
        QCOMPARE(payloadOf("closeHidDevice"), QJsonObject({{"device", device}}));
    }

    void bytesAreWritten_data()
    {
        QTest::addColumn<QString>("bytes");
        QTest::addColumn<QJsonArray>("data");
        QTest::newRow("one") << "0a" << QJsonArray{10};
        QTest::newRow("several") << "01FF7f" << QJsonArray{1, 255, 127};
        QTest::newRow("with blanks") << "01 ff 7f" << QJsonArray{1, 255, 127};
    }

    void bytesAreWritten()
    {
        QFETCH(const QString, bytes);
        QFETCH(const QJsonArray, data);
        answer("writeDataToHidDevice", "hidWriteResult",
               {{"writeResult", 3}, {"errorString", "Success"}});
        const Outcome outcome = run({"hid", "write", "12ab:5678", bytes});
        QCOMPARE(outcome.code, int(Ok));
        QCOMPARE(outcome.out, QStringLiteral("12ab:5678: 3 bytes written\n"));
        QCOMPARE(payloadOf("writeDataToHidDevice"),
                 QJsonObject({{"device", device}, {"data", data}}));
    }

    void failedWriteIsRefused()
    {
        answer("writeDataToHidDevice", "hidWriteResult",
               {{"writeResult", -1}, {"errorString", "Hid write error: gone"}});
        const Outcome outcome = run({"hid", "write", "12ab:5678", "00"});
        QCOMPARE(outcome.code, int(Refused));
        QVERIFY(outcome.err.contains("Hid write error: gone"));
        QCOMPARE(outcome.out, QString());
    }

    void reportIsRead()
    {
        answer("getInputReportFromHidDevice", "receivedFromGetInputReport",
               {{"data", QJsonArray{"a", "0", "ff"}}, {"result", 4}});
        Outcome outcome = run({"hid", "read", "12ab:5678"});
        QCOMPARE(outcome.code, int(Ok));
        QCOMPARE(outcome.out, QStringLiteral("0a 00 ff\n"));
        outcome = run({"--json", "hid", "read", "12ab:5678"});
        QCOMPARE(outcome.json().value("result").toInt(), 4);
    }

    void failedReadIsRefused()
    {
        answer("getInputReportFromHidDevice", "receivedFromGetInputReport",
               {{"data", QJsonArray()}, {"result", -1}});
        QCOMPARE(run({"hid", "read", "12ab:5678"}).code, int(Refused));
    }

    void unknownDeviceGivesNoAnswer()
    {
        for (const QStringList &verb : {QStringList{"close"}, {"read"}}) {
            const QStringList call{"--timeout", "0.3", "hid", verb.first(), "12ab:5678"};
            QCOMPARE(run(call).code, int(TimedOut));
        }
    }

    void usageIsChecked_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("no action") << QStringList{"hid"};
        QTest::newRow("no device") << QStringList{"hid", "open"};
        QTest::newRow("another action") << QStringList{"hid", "reset", "1:2"};
        QTest::newRow("one ID") << QStringList{"hid", "open", "1234"};
        QTest::newRow("three IDs") << QStringList{"hid", "open", "1:2:3"};
        QTest::newRow("empty ID") << QStringList{"hid", "open", ":2"};
        QTest::newRow("no digits") << QStringList{"hid", "open", "12xy:2"};
        QTest::newRow("too large") << QStringList{"hid", "open", "12345:2"};
        QTest::newRow("open with bytes") << QStringList{"hid", "open", "1:2", "00"};
        QTest::newRow("write without bytes") << QStringList{"hid", "write", "1:2"};
        QTest::newRow("empty bytes") << QStringList{"hid", "write", "1:2", ""};
        QTest::newRow("half a byte") << QStringList{"hid", "write", "1:2", "123"};
        QTest::newRow("no bytes") << QStringList{"hid", "write", "1:2", "0g"};
    }

    void usageIsChecked()
    {
        QFETCH(const QStringList, arguments);
        QCOMPARE(run(arguments).code, int(Usage));
        QVERIFY(program->messages.isEmpty());
    }

private:
    /// Answers a command first for another device, then for the one that is meant.
    void answer(const QString &command, const QString &event, const QJsonObject &payload)
    {
        program->script = [=, this](const QString &name) {
            if (name != command)
                return false;
            for (const QJsonObject &named : {otherDevice, fullDevice}) {
                QJsonObject whole = payload;
                whole.insert("device", named);
                program->sendEvent(event, whole);
            }
            return true;
        };
    }

    QJsonObject payloadOf(const QString &command)
    {
        const QList<QJsonObject> sent = program->received(command);
        return sent.size() == 1 ? sent.first().value("payload").toObject() : QJsonObject();
    }
};

QTEST_GUILESS_MAIN(TestQuorvanectlHid)
#include "tst_quorvanectl_hid.moc"
