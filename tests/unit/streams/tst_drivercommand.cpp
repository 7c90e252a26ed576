#include "streams/drivercommand.h"

#include <QTest>

#include <algorithm>

class TestDriverCommand : public QObject
{
    Q_OBJECT

private slots:
    void onlyTheBytesBeforeTheFirstZeroTravel_data()
    {
        QTest::addColumn<int>("channel");
        QTest::addColumn<bool>("closing");
        QTest::addColumn<int>("command");
        QTest::addColumn<QByteArray>("wire");

        QTest::newRow("open") << 6 << false << 0 << QByteArray("\x06");
        QTest::newRow("close") << 6 << true << 0 << QByteArray("\x06\x01");
        QTest::newRow("add device") << 6 << false << 4 << QByteArray("\x06");
        QTest::newRow("remove device") << 6 << false << 5 << QByteArray("\x06");
        QTest::newRow("close with a command") << 6 << true << 5 << QByteArray("\x06\x01\x05");
        QTest::newRow("no channel") << 0 << false << 4 << QByteArray();
        QTest::newRow("no channel, closing") << 0 << true << 4 << QByteArray();
        QTest::newRow("the largest channel byte") << 255 << true << 0 << QByteArray("\xff\x01");
    }
    void onlyTheBytesBeforeTheFirstZeroTravel()
    {
        QFETCH(int, channel);
        QFETCH(bool, closing);
        QFETCH(int, command);

        const CommandBlock block = commandBlock(channel, closing, command);
        QCOMPARE(block.size(), 1024u);
        QCOMPARE(int(block[0]), channel);
        QCOMPARE(int(block[1]), closing ? 1 : 0);
        QCOMPARE(int(block[2]), command);
        QVERIFY(std::all_of(block.begin() + 3, block.end(), [](uchar byte) { return byte == 0; }));

        const auto *bytes = reinterpret_cast<const char *>(block.data());
        QTEST(QByteArray(bytes, commandLength(block)), "wire");
    }

    void aBlockWithoutAZeroTravelsWhole()
    {
        CommandBlock block;
        block.fill(1);
        QCOMPARE(commandLength(block), 1024u);
    }

    void aReadRequestClearsWhatWasThere()
    {
        ReadBlock block;
        block.fill(0xee);
        prepareReadRequest(block, 7);
        QCOMPARE(block.size(), 19200u);
        QCOMPARE(int(block[0]), 7);
        QCOMPARE(int(block[1]), 0);
        QCOMPARE(int(block[2]), 1);
        QVERIFY(std::all_of(block.begin() + 3, block.end(), [](uchar byte) { return byte == 0; }));
    }
};

QTEST_APPLESS_MAIN(TestDriverCommand)
#include "tst_drivercommand.moc"
