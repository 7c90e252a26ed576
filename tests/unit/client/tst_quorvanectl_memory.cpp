// The verb for other programs' memory.
#include "programtest.h"

class TestQuorvanectlMemory : public ProgramTest
{
    Q_OBJECT

private slots:
    void theProcessIsNamed()
    {
        const Outcome outcome = run({"trim", "4711"});
        QCOMPARE(outcome.code, int(Ok));
        QCOMPARE(outcome.out, QStringLiteral("4711: asked to trim every ten minutes\n"));
        const QList<QJsonObject> orders = program->received("addMemoryCheck");
        QCOMPARE(orders.size(), 1);
        QCOMPARE(orders.first().value("payload").toObject(), QJsonObject({{"pid", 4711}}));
    }

    void scriptsGetAnObject()
    {
        const Outcome outcome = run({"--json", "trim", "4711"});
        QCOMPARE(outcome.code, int(Ok));
        QCOMPARE(outcome.json(), QJsonObject({{"pid", 4711}}));
    }

    void usageIsChecked_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("nothing") << QStringList{"trim"};
        QTest::newRow("two") << QStringList{"trim", "1", "2"};
        QTest::newRow("a name") << QStringList{"trim", "firefox"};
        QTest::newRow("zero") << QStringList{"trim", "0"};
        QTest::newRow("negative") << QStringList{"trim", "--", "-1"};
        QTest::newRow("too large") << QStringList{"trim", "2147483648"};
        QTest::newRow("empty") << QStringList{"trim", ""};
    }
    void usageIsChecked()
    {
        QFETCH(const QStringList, arguments);
        QCOMPARE(run(arguments).code, int(Usage));
        QVERIFY(program->messages.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestQuorvanectlMemory)
#include "tst_quorvanectl_memory.moc"
