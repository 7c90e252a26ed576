// The recorder, its file names and the head of its files.
#include "recordingsupport.h"
#include "speakerbench.h"
#include "streams/audiorecorder.h"
#include "streams/recordname.h"
#include "tests/support/threadqueue.h"

#include <QPointer>
#include <QTest>

namespace
{

/// Hands a block over as the speaker thread does.
void add(AudioRecorder &recorder, const QByteArray &block)
{
    QMetaObject::invokeMethod(&recorder, "addAudioData", Qt::QueuedConnection,
                              Q_ARG(QByteArray, block));
}

} // namespace

class TestAudioRecorder : public QObject
{
    Q_OBJECT

private slots:
    void theHeaderIsThatOfAWavFile_data();
    void theHeaderIsThatOfAWavFile();
    void theNameTellsChannelAndTime_data();
    void theNameTellsChannelAndTime();

    void blocksBecomeAFileInTheirOrder();
    void aRecordingWithoutABlockIsAnEmptyWav();
    void blocksOutsideARecordingAreDropped();
    void aFinishWaitsForTheBlocksTakenAndHandlesEvents();
    void aSecondStartChangesNothing();
    void aRecorderServesManyRecordings();
    void aRecordersEndFinishesItsFile();
    void aHeldUpThreadKeepsTheRecorder();
    void aFinishedRecordingLeavesNoTemporary();
    void aFileThatCannotBeOpenedIsNotWritten();
    void withoutATemporaryNothingIsWritten();
};

void TestAudioRecorder::theHeaderIsThatOfAWavFile_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("bits");
    QTest::addColumn<int>("rate");
    QTest::addColumn<quint32>("length");
    QTest::addColumn<QByteArray>("header");

    QTest::newRow("empty") << 2 << 16 << 48000 << 0u
                           << QByteArray::fromHex("52494646 24000000 57415645 666d7420 10000000"
                                                  "0100 0200 80bb0000 00ee0200 0400 1000"
                                                  "64617461 00000000");
    QTest::newRow("0x123456 bytes, mono")
        << 1 << 8 << 44100 << 0x123456u
        << QByteArray::fromHex("52494646 7a341200 57415645 666d7420 10000000"
                               "0100 0100 44ac0000 44ac0000 0100 0800"
                               "64617461 56341200");
}

void TestAudioRecorder::theHeaderIsThatOfAWavFile()
{
    QFETCH(int, channels);
    QFETCH(int, bits);
    QFETCH(int, rate);
    QFETCH(quint32, length);
    const QByteArray header = wavHeader(channels, bits, rate, length);
    QCOMPARE(header.size(), 44);
    QTEST(header, "header");
}

void TestAudioRecorder::theNameTellsChannelAndTime_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("path");
    const auto row = [](int type, const char *prefix) {
        QTest::addRow("%d", type) << type
                                  << QString("./%1%2.wav").arg(prefix, "2026-02-03-10-05-09-007");
    };
    row(1, "aux-");
    row(2, "aux2-");
    row(3, "aux3-");
    row(4, "browser-");
    row(5, "chat-");
    row(6, "game-");
    row(7, "media-");
    row(9, "microphone-speaker-");
    row(11, "stream-speaker-");
    row(0, "");
    row(8, "");
    row(10, "");
    row(12, "");
}

void TestAudioRecorder::theNameTellsChannelAndTime()
{
    QFETCH(int, type);
    const QDateTime time(QDate(2026, 3, 2), QTime(10, 5, 9, 7));
    QTEST(recordFilePath(tavoriDeviceType(type), time), "path");
}

void TestAudioRecorder::blocksBecomeAFileInTheirOrder()
{
    const WorkingDirectory directory;
    const auto recorder = AudioRecorder::create(1, 8, 44100);
    recorder->startAudioRecord("./a.wav");
    QByteArray all;
    for (int i = 0; i < 200; ++i) {
        const QByteArray block(i + 1, char(i));
        add(*recorder, block);
        all += block;
    }
    QVERIFY(contentOf("a.wav").isEmpty()); // its length is not known yet
    awaitQueueOf(*recorder);
    recorder->finishAudioRecord();
    QCOMPARE(contentOf("a.wav"), wavHeader(1, 8, 44100, all.size()) + all);
}

void TestAudioRecorder::aRecordingWithoutABlockIsAnEmptyWav()
{
    const WorkingDirectory directory;
    const auto recorder = AudioRecorder::create(2, 16, 48000);
    recorder->startAudioRecord("./a.wav");
    recorder->finishAudioRecord();
    const QByteArray content = contentOf("a.wav");
    QCOMPARE(content.size(), 44);
    QCOMPARE(content.mid(4, 4), QByteArray("\x24\0\0\0", 4));
    QCOMPARE(content.mid(40, 4), QByteArray("\0\0\0\0", 4));
}

void TestAudioRecorder::blocksOutsideARecordingAreDropped()
{
    const WorkingDirectory directory;
    const auto recorder = AudioRecorder::create(2, 16, 48000);
    recorder->finishAudioRecord(); // nothing to finish
    add(*recorder, tone(1));
    awaitQueueOf(*recorder);
    recorder->startAudioRecord("./a.wav");
    add(*recorder, tone(2));
    awaitQueueOf(*recorder);
    recorder->finishAudioRecord();
    add(*recorder, tone(3));
    awaitQueueOf(*recorder);
    QCOMPARE(contentOf("a.wav"), wavOf(tone(2)));
}

void TestAudioRecorder::aFinishWaitsForTheBlocksTakenAndHandlesEvents()
{
    const WorkingDirectory directory;
    const auto recorder = AudioRecorder::create(2, 16, 48000);
    recorder->startAudioRecord("./a.wav");
    // All blocks are taken, and none is written before the finish has handled an event.
    HeldThread thread(*recorder);
    QByteArray all;
    for (char i = 1; i <= 20; ++i) {
        recorder->addAudioData(tone(i));
        all += tone(i);
    }
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [&] { thread.letGo(); }, Qt::QueuedConnection);
    recorder->finishAudioRecord();
    QCOMPARE(contentOf("a.wav"), wavOf(all));
}

void TestAudioRecorder::aSecondStartChangesNothing()
{
    const WorkingDirectory directory;
    const auto recorder = AudioRecorder::create(2, 16, 48000);
    recorder->startAudioRecord("./a.wav");
    add(*recorder, tone(1));
    awaitQueueOf(*recorder);
    recorder->startAudioRecord("./b.wav");
    recorder->finishAudioRecord();
    QCOMPARE(WorkingDirectory::recordings(), QStringList{"a.wav"});
    QCOMPARE(contentOf("a.wav"), wavOf(tone(1)));
}

void TestAudioRecorder::aRecorderServesManyRecordings()
{
    const WorkingDirectory directory;
    const auto recorder = AudioRecorder::create(2, 16, 48000);
    for (char i = 1; i < 10; ++i) {
        const QString path = QString("./%1.wav").arg(int(i));
        recorder->startAudioRecord(path);
        add(*recorder, tone(i));
        awaitQueueOf(*recorder);
        recorder->finishAudioRecord();
        QCOMPARE(contentOf(path), wavOf(tone(i)));
    }
}

void TestAudioRecorder::aRecordersEndFinishesItsFile()
{
    const WorkingDirectory directory;
    {
        const auto recorder = AudioRecorder::create(2, 16, 48000);
        recorder->startAudioRecord("./a.wav");
        add(*recorder, tone(1));
        awaitQueueOf(*recorder);
    }
    QCOMPARE(contentOf("a.wav"), wavOf(tone(1)));
}

void TestAudioRecorder::aHeldUpThreadKeepsTheRecorder()
{
    const WorkingDirectory directory;
    auto recorder = AudioRecorder::create(2, 16, 48000);
    recorder->startAudioRecord("./a.wav");
    add(*recorder, tone(1));
    awaitQueueOf(*recorder);
    const QPointer<AudioRecorder> guarded(recorder.get());
    HeldThread thread(*recorder, [target = recorder.get()] { target->addAudioData(tone(2)); });
    recorder.reset();
    QCOMPARE(contentOf("a.wav"), wavOf(tone(1)));
    QVERIFY(guarded);
    thread.letGo();
    QTRY_VERIFY_WITH_TIMEOUT(!guarded, queueMs);
    QCOMPARE(contentOf("a.wav"), wavOf(tone(1)));
}

void TestAudioRecorder::aFinishedRecordingLeavesNoTemporary()
{
    const WorkingDirectory directory;
    const auto recorder = AudioRecorder::create(2, 16, 48000);
    QCOMPARE(directory.temporaries().size(), 0);
    recorder->startAudioRecord("./a.wav");
    QCOMPARE(directory.temporaries().size(), 1);
    recorder->finishAudioRecord();
    QCOMPARE(directory.temporaries().size(), 0);
}

void TestAudioRecorder::aFileThatCannotBeOpenedIsNotWritten()
{
    const WorkingDirectory directory;
    const auto recorder = AudioRecorder::create(2, 16, 48000);
    recorder->startAudioRecord("./no/such/directory.wav");
    add(*recorder, tone(1));
    awaitQueueOf(*recorder);
    recorder->finishAudioRecord();
    QCOMPARE(WorkingDirectory::recordings(), QStringList());
    QCOMPARE(directory.temporaries().size(), 0);

    recorder->startAudioRecord("./a.wav");
    add(*recorder, tone(2));
    awaitQueueOf(*recorder);
    recorder->finishAudioRecord();
    QCOMPARE(contentOf("a.wav"), wavOf(tone(2)));
}

void TestAudioRecorder::withoutATemporaryNothingIsWritten()
{
    const WorkingDirectory directory;
    const LogCapture log; // a warning of QFile's own at the second start
    const auto recorder = AudioRecorder::create(2, 16, 48000);
    // No file can be made in a file.
    QFile occupied("occupied");
    QVERIFY(occupied.open(QIODevice::WriteOnly));
    WorkingDirectory::putTemporaries(QFileInfo(occupied).absoluteFilePath());
    recorder->startAudioRecord("./a.wav");
    add(*recorder, tone(1));
    awaitQueueOf(*recorder);
    recorder->finishAudioRecord();
    QCOMPARE(contentOf("a.wav"), QByteArray());

    WorkingDirectory::putTemporaries(QDir("temporary").absolutePath());
    recorder->startAudioRecord("./b.wav");
    add(*recorder, tone(2));
    awaitQueueOf(*recorder);
    recorder->finishAudioRecord();
    QCOMPARE(contentOf("a.wav"), QByteArray());
    QCOMPARE(contentOf("b.wav"), wavOf(tone(2)));
}

QTEST_GUILESS_MAIN(TestAudioRecorder)
#include "tst_audiorecorder.moc"
