// How a virtual speaker's device file is opened and closed, and what it is told.
#include "driverbytes.h"
#include "speakerbench.h"

#include <QTest>

using simulated::writesTo;

class TestDriverChannel : public QObject
{
    Q_OBJECT

private slots:
    void aSpeakerTellsTheDriverItsChannel_data();
    void aSpeakerTellsTheDriverItsChannel();
    void theFileIsOpenedForThisProcessAlone();

    void commandsTravelWithoutTheirCode_data();
    void commandsTravelWithoutTheirCode();
    void aCommandToAClosedSpeakerIsNotSent();

    void openingAndClosingALineOfASpeakerIsLogged();
    void synthesizerSwitchesReachTheNextOpen();
    void aFailedOpenIsLoggedWithItsError();
    void aFailedOpenAfterAGoodOneLeavesTheSpeakerClosed();

    void openingAnOpenSpeakerClosesItsOldChannelFirst();
    void aSecondCloseOnlyLogs();
    void aSpeakerOfAnotherTypeStartsNoThread_data();
    void aSpeakerOfAnotherTypeStartsNoThread();

    void failedWritesAndClosesAreIgnored_data();
    void failedWritesAndClosesAreIgnored();
    void aFailedOpenHasTouchedNothingElse();

    void anOpenSpeakerClosesAtItsEnd();
};

void TestDriverChannel::aSpeakerTellsTheDriverItsChannel_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("suffix");
    for (const Channel &channel : channels) {
        if (channel.captureSuffix.isEmpty())
            QTest::newRow(channel.shortName.data())
                << int(channel.type) << QString(channel.fileSuffix);
    }
}

void TestDriverChannel::aSpeakerTellsTheDriverItsChannel()
{
    QFETCH(int, type);
    QFETCH(QString, suffix);
    SpeakerBench bench;
    const QString path = SpeakerBench::pathOf(suffix);

    QVERIFY(bench.device->openDevice(path.toStdWString().c_str(), tavoriDeviceType(type)));
    QCOMPARE(bench.device->deviceType(), tavoriDeviceType(type));
    QCOMPARE(bench.device->devicePath(), path);
    QCOMPARE(simulated::openDeviceFiles(suffix), 1);
    QCOMPARE(writesTo(suffix), QList{bytes({type})});

    // The second call's record follows the first one's request.
    QVERIFY(simulated::waitForCalls("ReadFile " + suffix, 2));
    const auto request = simulated::readRequests(suffix).constFirst();
    QCOMPARE(request.length, 19200u);
    QCOMPARE(request.head, bytes({type, 0, 1}) + QByteArray(13, 0));
    QVERIFY(request.restIsZero);

    bench.device->closeDevice();
    QCOMPARE(simulated::openDeviceFiles(suffix), 0);
    QCOMPARE(writesTo(suffix), (QList{bytes({type}), bytes({type, 1})}));
    QCOMPARE(bench.device->deviceType(), tavoriDeviceType(type));
}

void TestDriverChannel::theFileIsOpenedForThisProcessAlone()
{
    SpeakerBench bench;
    simulated::clearCalls();
    QVERIFY(bench.open());
    // Read and write access, no sharing, an existing file, normal attributes.
    QCOMPARE(simulated::calls().constFirst(), "CreateFileW " + bench.path() + " c0000000 0 3 80");
}

void TestDriverChannel::commandsTravelWithoutTheirCode_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("command");
    QTest::addColumn<QByteArray>("wire");
    QTest::newRow("add Gaming") << 6 << 4 << bytes({6});
    QTest::newRow("remove Gaming") << 6 << 5 << bytes({6});
    QTest::newRow("add Aux2") << 2 << 4 << bytes({2});
    QTest::newRow("no channel") << 0 << 4 << QByteArray();
}

void TestDriverChannel::commandsTravelWithoutTheirCode()
{
    QFETCH(int, type);
    QFETCH(int, command);
    SpeakerBench bench;
    QVERIFY(bench.open());
    const auto before = simulated::countCalls("WriteFile");

    bench.device->sendDriverCommand(type, command);
    QCOMPARE(simulated::countCalls("WriteFile"), before + 1); // of no bytes, too
    QTEST(writesTo(bench.suffix).constLast(), "wire");
}

void TestDriverChannel::aCommandToAClosedSpeakerIsNotSent()
{
    SpeakerBench bench;
    bench.device->sendDriverCommand(6, 4);
    QVERIFY(bench.open());
    bench.device->closeDevice();
    bench.device->sendDriverCommand(6, 4);
    QCOMPARE(writesTo(bench.suffix), (QList{bytes({6}), bytes({6, 1})}));
}

void TestDriverChannel::openingAndClosingALineOfASpeakerIsLogged()
{
    SpeakerBench bench;
    simulated::failAlways("ReadFile", ERROR_INVALID_HANDLE); // a quick end of the thread
    bench.log.clear();
    QVERIFY(bench.open());
    const QStringList opening{
        "Info: Try to open device: 6",
        "Info: Try to close device: 0",
        "Info: \"Open device " + quoted(bench.path()) + " successfully\\n\"",
        "Info: tavoriGetSpeakerDataThread::addPersonalSynthesizer 6 true",
        "Info: tavoriGetSpeakerDataThread::addStreamingSynthesizer 6 false",
    };
    QCOMPARE(bench.log.lines().first(opening.size()), opening);

    bench.log.clear();
    bench.device->closeDevice();
    QVERIFY(bench.log.lines().contains("Info: Try to close device: 6"));
    QTRY_VERIFY(bench.log.lines().contains("Info: tavoriGetSpeakerDataThread::run 6 - end"));
    bench.log.clear();
    bench.device->closeDevice();
    QCOMPARE(bench.log.lines(), QStringList{"Info: Try to close device: 6"});
}

void TestDriverChannel::synthesizerSwitchesReachTheNextOpen()
{
    SpeakerBench bench;
    bench.device->addPersonalSynthesizer(false);
    bench.device->addStreamingSynthesizer(true);
    QCOMPARE(bench.log.lines(), QStringList()); // without a thread there is nobody to say it
    QVERIFY(bench.open());
    QCOMPARE(bench.log.lines().filter("Synthesizer"),
             QStringList({"Info: tavoriGetSpeakerDataThread::addPersonalSynthesizer 6 false",
                          "Info: tavoriGetSpeakerDataThread::addStreamingSynthesizer 6 true"}));
}

void TestDriverChannel::aFailedOpenIsLoggedWithItsError()
{
    SpeakerBench bench;
    simulated::failNext("CreateFileW", ERROR_SHARING_VIOLATION);
    bench.log.clear();
    QVERIFY(!bench.open());
    const QStringList expected{
        "Info: Try to open device: 6",
        "Info: Try to close device: 0",
        "Critical: \"Failed to open device " + quoted(bench.path()) + ", err: 32\\n\"",
    };
    QCOMPARE(bench.log.lines(), expected);
    QCOMPARE(bench.device->deviceType(), tavoriNoDevice);
}

void TestDriverChannel::aFailedOpenAfterAGoodOneLeavesTheSpeakerClosed()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    simulated::withdrawDriver();
    QVERIFY(!bench.open(tavoriMedia));
    QCOMPARE(bench.device->deviceType(), tavoriNoDevice);
    QCOMPARE(simulated::openDeviceFiles(bench.suffix), 0);
    QCOMPARE(writesTo(bench.suffix), (QList{bytes({6}), bytes({6, 1})}));

    // Closed in every sense: no command goes out, no output opens.
    bench.device->sendDriverCommand(6, 4);
    QCOMPARE(writesTo(bench.suffix).size(), 2);
    const QString id = simulated::addEndpoint({});
    bench.device->initAudioOutput(id, "Speakers", {});
    QVERIFY(simulated::renderStreams(id).isEmpty());
}

void TestDriverChannel::openingAnOpenSpeakerClosesItsOldChannelFirst()
{
    SpeakerBench bench;
    const QString media = "tavori.Media.WaveSpeaker";
    QVERIFY(bench.open());
    QVERIFY(
        bench.device->openDevice(SpeakerBench::pathOf(media).toStdWString().c_str(), tavoriMedia));
    const QStringList calls = simulated::calls().filter(
        QRegularExpression("^(CreateFileW|WriteFile|endReadWaits|CloseHandle tavori)"));
    const QStringList expected{
        "CreateFileW " + bench.path() + " c0000000 0 3 80",
        "WriteFile " + bench.suffix + " 06",
        "endReadWaits " + bench.suffix,
        "WriteFile " + bench.suffix + " 06 01",
        "CloseHandle " + bench.suffix,
        "CreateFileW " + SpeakerBench::pathOf(media) + " c0000000 0 3 80",
        "WriteFile " + media + " 07",
    };
    QCOMPARE(calls, expected);
    QCOMPARE(bench.device->devicePath(), SpeakerBench::pathOf(media));
}

void TestDriverChannel::aSecondCloseOnlyLogs()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device->closeDevice();
    QTRY_VERIFY(bench.log.lines().contains("Info: tavoriGetSpeakerDataThread::run 6 - end"));
    simulated::clearCalls();
    bench.log.clear();
    bench.device->closeDevice();
    QCOMPARE(simulated::calls(), QStringList());
    QCOMPARE(bench.log.lines(), QStringList{"Info: Try to close device: 6"});
}

void TestDriverChannel::aSpeakerOfAnotherTypeStartsNoThread_data()
{
    QTest::addColumn<int>("type");
    for (const int type : {0, 8, 9, 10, 11, 12})
        QTest::addRow("%d", type) << type;
}

void TestDriverChannel::aSpeakerOfAnotherTypeStartsNoThread()
{
    QFETCH(int, type);
    SpeakerBench bench;
    bench.log.clear();
    QVERIFY(bench.open(tavoriDeviceType(type)));
    QCOMPARE(simulated::openDeviceFiles(bench.suffix), 1);
    QCOMPARE(writesTo(bench.suffix), QList{type == 0 ? QByteArray() : bytes({type})});

    // Without a thread no output opens.
    const QString id = simulated::addEndpoint({});
    bench.device->initAudioOutput(id, "Speakers", {});
    QVERIFY(simulated::renderStreams(id).isEmpty());
    QCOMPARE(
        bench.log.linesOf("Critical"),
        QStringList{"Critical: tavoriOutputDevice::initAudioOutput The thread has not started."});
    bench.device->closeDevice();
    QCOMPARE(simulated::countCalls("ReadFile"), 0);
    QCOMPARE(simulated::openDeviceFiles(bench.suffix), 0);
}

void TestDriverChannel::failedWritesAndClosesAreIgnored_data()
{
    QTest::addColumn<QString>("call");
    QTest::newRow("WriteFile") << "WriteFile";
    QTest::newRow("CloseHandle") << "CloseHandle";
}

void TestDriverChannel::failedWritesAndClosesAreIgnored()
{
    QFETCH(QString, call);
    SpeakerBench bench;
    simulated::failAlways(call + ' ' + bench.suffix, ERROR_ACCESS_DENIED);
    QVERIFY(bench.open());
    QCOMPARE(bench.device->deviceType(), tavoriGame);
    bench.device->sendDriverCommand(6, 4);
    bench.device->closeDevice();
    QCOMPARE(bench.log.linesOf("Critical"), QStringList());

    // Closed all the same, and good for the next open.
    simulated::clearFaults();
    const auto before = simulated::countCalls("WriteFile");
    bench.device->sendDriverCommand(6, 4);
    QCOMPARE(simulated::countCalls("WriteFile"), before);
    QVERIFY(bench.open());
}

void TestDriverChannel::aFailedOpenHasTouchedNothingElse()
{
    SpeakerBench bench;
    simulated::clearCalls();
    simulated::failNext("CreateFileW", ERROR_FILE_NOT_FOUND);
    QVERIFY(!bench.open());
    bench.device->closeDevice();
    QCOMPARE(simulated::calls().size(), 1);
    QVERIFY(bench.device->devicePath().isEmpty());
}

void TestDriverChannel::anOpenSpeakerClosesAtItsEnd()
{
    SpeakerBench bench;
    QVERIFY(bench.open());
    bench.device.reset();
    QCOMPARE(writesTo(bench.suffix), (QList{bytes({6}), bytes({6, 1})}));
    QCOMPARE(simulated::openDeviceFiles(bench.suffix), 0);
}

QTEST_GUILESS_MAIN(TestDriverChannel)
#include "tst_driverchannel.moc"
