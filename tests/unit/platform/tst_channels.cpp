// The channel table, row by row.
#include "common/channels.h"

#include <QSet>
#include <QTest>

class TestChannels : public QObject
{
    Q_OBJECT

private slots:
    void rows_data();
    void rows();
    void findsByTypeAndName();
    void namesNoChannelForOtherTypes();
    void devicePath();
};

void TestChannels::rows_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("shortName");
    QTest::addColumn<QString>("fullName");
    QTest::addColumn<QString>("renderSuffix");
    QTest::addColumn<QString>("captureSuffix");
    QTest::addColumn<QString>("fileSuffix");
    const auto row = [](int type, const char *shortName, const char *fullName, const char *render,
                        const char *capture, const char *file) {
        QTest::newRow(shortName) << type << QString(shortName) << QString(fullName)
                                 << QString(render) << QString(capture) << QString(file);
    };
    // clang-format off
    row(1, "tavori - Aux", "tavori - Aux (tavori Virtual Audio Device)", "tavori.Aux.WaveSpeaker", "", "tavori.Aux.WaveSpeaker");
    row(2, "tavori - Aux2", "tavori - Aux2 (tavori Virtual Audio Device)", "tavori.Aux2.WaveSpeaker", "", "tavori.Aux2.WaveSpeaker");
    row(3, "tavori - Aux3", "tavori - Aux3 (tavori Virtual Audio Device)", "tavori.Aux3.WaveSpeaker", "", "tavori.Aux3.WaveSpeaker");
    row(4, "tavori - Browser", "tavori - Browser (tavori Virtual Audio Device)", "tavori.Browser.WaveSpeaker", "", "tavori.Browser.WaveSpeaker");
    row(5, "tavori - Chat", "tavori - Chat (tavori Virtual Audio Device)", "tavori.Chat.WaveSpeaker", "", "tavori.Chat.WaveSpeaker");
    row(6, "tavori - Gaming", "tavori - Gaming (tavori Virtual Audio Device)", "tavori.Game.WaveSpeaker", "", "tavori.Game.WaveSpeaker");
    row(7, "tavori - Media", "tavori - Media (tavori Virtual Audio Device)", "tavori.Media.WaveSpeaker", "", "tavori.Media.WaveSpeaker");
    row(8, "tavori - Microphone", "tavori - Microphone (tavori Virtual Audio Device)", "tavori.ChatCapture.WaveSpeaker", "tavori.ChatCapture.Wave", "tavori.ChatCapture.Wave");
    row(10, "tavori - Stream", "tavori - Stream (tavori Virtual Audio Device)", "tavori.Stream.WaveSpeaker", "tavori.Stream.Wave", "tavori.Stream.Wave");
    // clang-format on
}

void TestChannels::rows()
{
    QFETCH(int, type);
    const Channel *channel = channelOfType(static_cast<tavoriDeviceType>(type));
    QVERIFY(channel);
    QTEST(QString(channel->shortName), "shortName");
    QTEST(channel->fullName(), "fullName");
    QTEST(QString(channel->renderSuffix), "renderSuffix");
    QTEST(QString(channel->captureSuffix), "captureSuffix");
    QTEST(QString(channel->fileSuffix), "fileSuffix");
}

void TestChannels::findsByTypeAndName()
{
    QCOMPARE(channels.size(), std::size_t(9));
    for (const Channel &channel : channels) {
        QCOMPARE(channelOfType(channel.type), &channel);
        QCOMPARE(channelOfFullName(channel.fullName()), &channel);
        QCOMPARE(channelOfShortName(channel.shortName), &channel);
        QVERIFY(!channelOfFullName(channel.fullName().toUpper()));
        QVERIFY(!channelOfShortName(channel.fullName()));
    }
    QVERIFY(!channelOfFullName({}));
}

void TestChannels::namesNoChannelForOtherTypes()
{
    for (const tavoriDeviceType type : {tavoriNoDevice, tavoriMicrophoneSpeaker,
                                        tavoriStreamSpeaker, static_cast<tavoriDeviceType>(12)})
        QVERIFY(!channelOfType(type));
}

void TestChannels::devicePath()
{
    const QLatin1StringView suffix("tavori.Game.WaveSpeaker");
    const auto path = [](const QString &index) {
        return QString("\\??\\ROOT#MEDIA#" + index +
                       "#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\tavori.Game.WaveSpeaker");
    };
    QCOMPARE(deviceFilePath(0, suffix), path("0000"));
    QCOMPARE(deviceFilePath(163, suffix), path("00a3"));
    QCOMPARE(deviceFilePath(65535, suffix), path("ffff"));
}

QTEST_GUILESS_MAIN(TestChannels)
#include "tst_channels.moc"
