// Recording a virtual speaker.
#include "speakerbench.h"
#include "streams/audiorecorder.h"
#include "streams/recordname.h"
#include "streams/wavheader.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

#include <array>

namespace
{

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

/// What the speaker records from a block to a recorder's WAV.
QByteArray wavOf(const QByteArray &data)
{
    return wavHeader(2, 16, 48000, data.size()) + data;
}

/// The working directory and the place of temporary files, for the length of a test.
class WorkingDirectory
{
public:
    WorkingDirectory() : before(QDir::currentPath()), temporaryBefore(qgetenv("TMPDIR"))
    {
        QDir::setCurrent(directory.path());
        QDir().mkdir("temporary");
        qputenv("TMPDIR", directory.filePath("temporary").toLocal8Bit());
    }
    ~WorkingDirectory()
    {
        QDir::setCurrent(before);
        if (temporaryBefore.isNull())
            qunsetenv("TMPDIR");
        else
            qputenv("TMPDIR", temporaryBefore);
    }
    WorkingDirectory(const WorkingDirectory &) = delete;
    WorkingDirectory &operator=(const WorkingDirectory &) = delete;

    [[nodiscard]] static QStringList recordings() { return QDir().entryList(QDir::Files); }
    /// The sizes of the temporary files, which have no name in the directory.
    [[nodiscard]] QList<qint64> temporaries() const
    {
        const QString place = QDir(directory.filePath("temporary")).canonicalPath() + '/';
        QList<qint64> sizes;
        QDirIterator open("/proc/self/fd", QDir::Files | QDir::System);
        while (open.hasNext()) {
            const QByteArray link = open.next().toLocal8Bit();
            std::array<char, 4096> target{};
            struct stat status;
            if (readlink(link.constData(), target.data(), target.size() - 1) > 0 &&
                QString::fromLocal8Bit(target.data()).startsWith(place) &&
                stat(link.constData(), &status) == 0)
                sizes.append(status.st_size);
        }
        return sizes;
    }

private:
    QTemporaryDir directory;
    QString before;
    QByteArray temporaryBefore;
};

/// Hands a block over as the speaker thread does.
void add(AudioRecorder &recorder, const QByteArray &block)
{
    QMetaObject::invokeMethod(&recorder, "addAudioData", Qt::QueuedConnection,
                              Q_ARG(QByteArray, block));
}

/// Waits until the recorder's thread has done what was handed over.
void drain(AudioRecorder &recorder)
{
    QMetaObject::invokeMethod(
        &recorder, [] {}, Qt::BlockingQueuedConnection);
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
    void aFinishedRecordingLeavesNoTemporary();
    void aFileThatCannotBeOpenedIsNotWritten();
    void withoutATemporaryNothingIsWritten();

    void aSpeakerRecordsWhatTheDriverGives();
    void aSpeakerRecordsWhileTheControlModeChanges();
    void aBlockThatIsNoWholeFrameIsRecorded();
    void aClosedSpeakerDoesNotRecord();
    void startingTwiceRecordsOnce();
    void aCloseStopsTheRecordFirst();
    void aStopWithoutARecordSaysNothing();
    void aSpeakerThatCannotWriteStillSaysItStarted();
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
    AudioRecorder recorder(1, 8, 44100, nullptr);
    recorder.startAudioRecord("./a.wav");
    QByteArray all;
    for (int i = 0; i < 200; ++i) {
        const QByteArray block(i + 1, char(i));
        add(recorder, block);
        all += block;
    }
    QVERIFY(contentOf("a.wav").isEmpty()); // its length is not known yet
    drain(recorder);
    recorder.finishAudioRecord();
    QCOMPARE(contentOf("a.wav"), wavHeader(1, 8, 44100, all.size()) + all);
}

void TestAudioRecorder::aRecordingWithoutABlockIsAnEmptyWav()
{
    const WorkingDirectory directory;
    AudioRecorder recorder(2, 16, 48000, nullptr);
    recorder.startAudioRecord("./a.wav");
    recorder.finishAudioRecord();
    const QByteArray content = contentOf("a.wav");
    QCOMPARE(content.size(), 44);
    QCOMPARE(content.mid(4, 4), QByteArray("\x24\0\0\0", 4));
    QCOMPARE(content.mid(40, 4), QByteArray("\0\0\0\0", 4));
}

void TestAudioRecorder::blocksOutsideARecordingAreDropped()
{
    const WorkingDirectory directory;
    AudioRecorder recorder(2, 16, 48000, nullptr);
    recorder.finishAudioRecord(); // nothing to finish
    add(recorder, tone(1));
    drain(recorder);
    recorder.startAudioRecord("./a.wav");
    add(recorder, tone(2));
    drain(recorder);
    recorder.finishAudioRecord();
    add(recorder, tone(3));
    drain(recorder);
    QCOMPARE(contentOf("a.wav"), wavOf(tone(2)));
}

void TestAudioRecorder::aFinishWaitsForTheBlocksTakenAndHandlesEvents()
{
    const WorkingDirectory directory;
    QSemaphore holding;
    QSemaphore letGo;
    AudioRecorder recorder(2, 16, 48000, nullptr);
    recorder.startAudioRecord("./a.wav");
    QByteArray all;
    for (char i = 1; i <= 20; ++i) {
        add(recorder, tone(i));
        all += tone(i);
    }
    // Stands behind the taking of all blocks and before the writing of most.
    QMetaObject::invokeMethod(
        &recorder,
        [&] {
            holding.release();
            letGo.acquire();
        },
        Qt::QueuedConnection);
    QVERIFY(holding.tryAcquire(1, 10000));
    QMetaObject::invokeMethod(
        qApp, [&] { letGo.release(); }, Qt::QueuedConnection);
    recorder.finishAudioRecord();
    QCOMPARE(contentOf("a.wav"), wavOf(all));
}

void TestAudioRecorder::aSecondStartChangesNothing()
{
    const WorkingDirectory directory;
    AudioRecorder recorder(2, 16, 48000, nullptr);
    recorder.startAudioRecord("./a.wav");
    add(recorder, tone(1));
    drain(recorder);
    recorder.startAudioRecord("./b.wav");
    recorder.finishAudioRecord();
    QCOMPARE(WorkingDirectory::recordings(), QStringList{"a.wav"});
    QCOMPARE(contentOf("a.wav"), wavOf(tone(1)));
}

void TestAudioRecorder::aRecorderServesManyRecordings()
{
    const WorkingDirectory directory;
    AudioRecorder recorder(2, 16, 48000, nullptr);
    for (char i = 1; i < 10; ++i) {
        const QString path = QString("./%1.wav").arg(int(i));
        recorder.startAudioRecord(path);
        add(recorder, tone(i));
        drain(recorder);
        recorder.finishAudioRecord();
        QCOMPARE(contentOf(path), wavOf(tone(i)));
    }
}

void TestAudioRecorder::aRecordersEndFinishesItsFile()
{
    const WorkingDirectory directory;
    {
        AudioRecorder recorder(2, 16, 48000, nullptr);
        recorder.startAudioRecord("./a.wav");
        add(recorder, tone(1));
        drain(recorder);
    }
    QCOMPARE(contentOf("a.wav"), wavOf(tone(1)));
}

void TestAudioRecorder::aFinishedRecordingLeavesNoTemporary()
{
    const WorkingDirectory directory;
    AudioRecorder recorder(2, 16, 48000, nullptr);
    QCOMPARE(directory.temporaries().size(), 0);
    recorder.startAudioRecord("./a.wav");
    QCOMPARE(directory.temporaries().size(), 1);
    recorder.finishAudioRecord();
    QCOMPARE(directory.temporaries().size(), 0);
}

void TestAudioRecorder::aFileThatCannotBeOpenedIsNotWritten()
{
    const WorkingDirectory directory;
    AudioRecorder recorder(2, 16, 48000, nullptr);
    recorder.startAudioRecord("./no/such/directory.wav");
    add(recorder, tone(1));
    drain(recorder);
    recorder.finishAudioRecord();
    QCOMPARE(WorkingDirectory::recordings(), QStringList());
    QCOMPARE(directory.temporaries().size(), 0);

    recorder.startAudioRecord("./a.wav");
    add(recorder, tone(2));
    drain(recorder);
    recorder.finishAudioRecord();
    QCOMPARE(contentOf("a.wav"), wavOf(tone(2)));
}

void TestAudioRecorder::withoutATemporaryNothingIsWritten()
{
    const WorkingDirectory directory;
    const LogCapture log; // a warning of QFile's own at the second start
    AudioRecorder recorder(2, 16, 48000, nullptr);
    qputenv("TMPDIR", "/proc");
    recorder.startAudioRecord("./a.wav");
    add(recorder, tone(1));
    drain(recorder);
    recorder.finishAudioRecord();
    QCOMPARE(contentOf("a.wav"), QByteArray());

    qputenv("TMPDIR", QDir("temporary").absolutePath().toLocal8Bit());
    recorder.startAudioRecord("./b.wav");
    add(recorder, tone(2));
    drain(recorder);
    recorder.finishAudioRecord();
    QCOMPARE(contentOf("a.wav"), QByteArray());
    QCOMPARE(contentOf("b.wav"), wavOf(tone(2)));
}

void TestAudioRecorder::aSpeakerRecordsWhatTheDriverGives()
{
    const WorkingDirectory directory;
    SpeakerBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.deliver(tone(1)));
    bench.log.clear();
    const QDateTime before = QDateTime::currentDateTime();
    bench.device->startRecord();
    const QDateTime after = QDateTime::currentDateTime();
    QCOMPARE(bench.log.take(), QStringList{"Info: Start audio record."});

    QVERIFY(bench.deliver(tone(2)));
    QVERIFY(bench.deliver(tone(3)));
    QTRY_COMPARE(directory.temporaries(), QList<qint64>{64});
    bench.device->stopRecord();
    QCOMPARE(bench.log.take(), QStringList{"Info: Stop audio record."});
    QVERIFY(bench.deliver(tone(4)));

    const QString name = WorkingDirectory::recordings().value(0);
    QVERIFY(name.startsWith("game-") && name.endsWith(".wav"));
    const auto time =
        QDateTime::fromString(name.mid(5, name.size() - 9), "yyyy-dd-MM-hh-mm-ss-zzz");
    QVERIFY(time >= before && time <= after);
    QCOMPARE(WorkingDirectory::recordings().size(), 1);
    QCOMPARE(contentOf(name), wavOf(tone(2) + tone(3)));
}

void TestAudioRecorder::aSpeakerRecordsWhileTheControlModeChanges()
{
    const WorkingDirectory directory;
    SpeakerBench bench;
    QVERIFY(bench.open());
    const auto stream = bench.initAudioOutput();
    QVERIFY(stream);
    bench.device->startRecord();
    bench.device->setControlMode(NormalMode, true);
    QVERIFY(bench.deliver(tone(1)));
    bench.device->finishControlMode();
    QVERIFY(bench.deliver(tone(2)));
    QCOMPARE(SpeakerBench::hear(stream, 32), tone(2));
    QTRY_COMPARE(directory.temporaries(), QList<qint64>{64});
    bench.device->stopRecord();
    QCOMPARE(contentOf(WorkingDirectory::recordings().value(0)), wavOf(tone(1) + tone(2)));
}

void TestAudioRecorder::aBlockThatIsNoWholeFrameIsRecorded()
{
    const WorkingDirectory directory;
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->startRecord();
    QVERIFY(bench.deliver("1234567"));
    QTRY_COMPARE(directory.temporaries(), QList<qint64>{7});
    bench.device->stopRecord();
    QCOMPARE(contentOf(WorkingDirectory::recordings().value(0)), wavOf("1234567"));
}

void TestAudioRecorder::aClosedSpeakerDoesNotRecord()
{
    const WorkingDirectory directory;
    SpeakerBench bench;
    bench.log.clear();
    bench.device->startRecord();
    QCOMPARE(bench.log.take(), QStringList());
    // Open, but with no thread.
    QVERIFY(bench.open(tavoriChatCapture));
    bench.log.clear();
    bench.device->startRecord();
    QCOMPARE(bench.log.take(), QStringList());
    QCOMPARE(WorkingDirectory::recordings(), QStringList());
}

void TestAudioRecorder::startingTwiceRecordsOnce()
{
    const WorkingDirectory directory;
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->startRecord();
    bench.log.clear();
    bench.device->startRecord();
    QCOMPARE(bench.log.take(), QStringList());
    QCOMPARE(WorkingDirectory::recordings().size(), 1);
}

void TestAudioRecorder::aCloseStopsTheRecordFirst()
{
    const WorkingDirectory directory;
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->startRecord();
    QVERIFY(bench.deliver(tone(1)));
    QTRY_COMPARE(directory.temporaries(), QList<qint64>{32});
    bench.log.clear();
    bench.device->closeDevice();
    QCOMPARE(bench.log.lines().first(2),
             (QStringList{"Info: Try to close device: 6", "Info: Stop audio record."}));
    QCOMPARE(contentOf(WorkingDirectory::recordings().value(0)), wavOf(tone(1)));
}

void TestAudioRecorder::aStopWithoutARecordSaysNothing()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.nextReadBegins());
    bench.log.clear();
    bench.device->stopRecord();
    QCOMPARE(bench.log.take(), QStringList());
}

void TestAudioRecorder::aSpeakerThatCannotWriteStillSaysItStarted()
{
    const WorkingDirectory directory;
    SpeakerBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.nextReadBegins());
    const QString gone = QDir::currentPath() + "/gone";
    QDir().mkdir(gone);
    QDir::setCurrent(gone);
    QVERIFY(QDir().rmdir(gone)); // a working directory that takes no file
    bench.log.clear();
    bench.device->startRecord();
    bench.device->stopRecord();
    QCOMPARE(bench.log.take(),
             (QStringList{"Info: Start audio record.", "Info: Stop audio record."}));
}

QTEST_GUILESS_MAIN(TestAudioRecorder)
#include "tst_audiorecorder.moc"
