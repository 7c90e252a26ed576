// Recording a virtual speaker.
#include "recordingsupport.h"
#include "speakerbench.h"

#include <QTest>

class TestSpeakerRecording : public QObject
{
    Q_OBJECT

private slots:
    void aSpeakerRecordsWhatTheDriverGives();
    void aSpeakerRecordsWhileTheControlModeChanges();
    void aBlockThatIsNoWholeFrameIsRecorded();
    void aClosedSpeakerDoesNotRecord();
    void startingTwiceRecordsOnce();
    void aCloseStopsTheRecordFirst();
    void aStopWithoutARecordSaysNothing();
};

void TestSpeakerRecording::aSpeakerRecordsWhatTheDriverGives()
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

void TestSpeakerRecording::aSpeakerRecordsWhileTheControlModeChanges()
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

void TestSpeakerRecording::aBlockThatIsNoWholeFrameIsRecorded()
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

void TestSpeakerRecording::aClosedSpeakerDoesNotRecord()
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

void TestSpeakerRecording::startingTwiceRecordsOnce()
{
    const WorkingDirectory directory;
    SpeakerBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.nextReadBegins());
    bench.device->startRecord();
    bench.log.clear();
    bench.device->startRecord();
    QCOMPARE(bench.log.take(), QStringList());
    QCOMPARE(WorkingDirectory::recordings().size(), 1);
}

void TestSpeakerRecording::aCloseStopsTheRecordFirst()
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

void TestSpeakerRecording::aStopWithoutARecordSaysNothing()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.nextReadBegins());
    bench.log.clear();
    bench.device->stopRecord();
    QCOMPARE(bench.log.take(), QStringList());
}

QTEST_GUILESS_MAIN(TestSpeakerRecording)
#include "tst_speakerrecording.moc"
