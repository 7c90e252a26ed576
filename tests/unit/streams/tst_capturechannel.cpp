// How a virtual capture line's device file is opened and closed, and what it is told.
#include "driverbytes.h"
#include "speakerbench.h"
#include "streams/tavoriinputdevice.h"

#include <QTest>

#include <memory>

using simulated::writesTo;

namespace
{

struct InputBench
{
    InputBench()
    {
        simulated::reset();
        simulated::publishDriver(SpeakerBench::driverIndex);
        device = std::make_unique<tavoriInputDevice>();
    }
    bool open(tavoriDeviceType type = tavoriChatCapture)
    {
        return device->openDevice(path.toStdWString().c_str(), type);
    }

    const QString suffix = "tavori.ChatCapture.Wave";
    const QString path = SpeakerBench::pathOf(suffix);
    LogCapture log;
    std::unique_ptr<tavoriInputDevice> device;
};

} // namespace

class TestCaptureChannel : public QObject
{
    Q_OBJECT

private slots:
    void aCaptureLineTellsTheDriverItsChannel_data();
    void aCaptureLineTellsTheDriverItsChannel();
    void openingAndClosingACaptureLineIsLogged();
    void aFailedOpenOfACaptureLineIsLoggedWithItsError();
    void aFailedOpenAfterAGoodOneLeavesTheCaptureLineClosed();
    void openingAnOpenCaptureLineClosesItsOldChannelFirst();
    void failedWritesOfACaptureLineAreIgnored();
    void anOpenCaptureLineClosesAtItsEnd();
    void aCaptureLineKeepsItsNames();
};

void TestCaptureChannel::aCaptureLineTellsTheDriverItsChannel_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("suffix");
    QTest::newRow("Microphone") << 8 << "tavori.ChatCapture.Wave";
    QTest::newRow("Stream") << 10 << "tavori.Stream.Wave";
}

void TestCaptureChannel::aCaptureLineTellsTheDriverItsChannel()
{
    QFETCH(int, type);
    QFETCH(QString, suffix);
    InputBench bench;
    const QString path = SpeakerBench::pathOf(suffix);
    simulated::clearCalls();

    QVERIFY(bench.device->openDevice(path.toStdWString().c_str(), tavoriDeviceType(type)));
    QCOMPARE(bench.device->deviceType(), tavoriDeviceType(type));
    QCOMPARE(simulated::openDeviceFiles(suffix), 1);
    bench.device->closeDevice();
    QCOMPARE(simulated::openDeviceFiles(suffix), 0);
    QCOMPARE(writesTo(suffix), (QList{bytes({type}), bytes({type, 1})}));

    const QString typeAsHex = QString::number(type, 16).rightJustified(2, '0');
    const QStringList expected{
        "CreateFileW " + path + " c0000000 0 3 80",
        "WriteFile " + suffix + " " + typeAsHex,
        "WriteFile " + suffix + " " + typeAsHex + " 01",
        "CloseHandle " + suffix,
    };
    QCOMPARE(simulated::calls(), expected);
}

void TestCaptureChannel::openingAndClosingACaptureLineIsLogged()
{
    InputBench bench;
    bench.log.clear();
    QVERIFY(bench.open());
    bench.device->closeDevice();
    const QStringList expected{
        "Info: Try to open device: 8",
        "Info: Try to close device: 0",
        "Info: \"Open device " + quoted(bench.path) + " successfully\\n\"",
        "Info: Try to close device: 8",
    };
    QCOMPARE(bench.log.lines(), expected);
}

void TestCaptureChannel::aFailedOpenOfACaptureLineIsLoggedWithItsError()
{
    InputBench bench;
    simulated::withdrawDriver();
    bench.log.clear();
    QVERIFY(!bench.open());
    QCOMPARE(bench.log.linesOf("Critical"), QStringList{"Critical: \"Failed to open device " +
                                                        quoted(bench.path) + ", err: 2\\n\""});
    QCOMPARE(bench.device->deviceType(), tavoriNoDevice);
}

void TestCaptureChannel::aFailedOpenAfterAGoodOneLeavesTheCaptureLineClosed()
{
    InputBench bench;
    QVERIFY(bench.open());
    simulated::withdrawDriver();
    QVERIFY(!bench.open());
    QCOMPARE(bench.device->deviceType(), tavoriNoDevice);
    QCOMPARE(simulated::openDeviceFiles(bench.suffix), 0);
    QCOMPARE(writesTo(bench.suffix), (QList{bytes({8}), bytes({8, 1})}));
}

void TestCaptureChannel::openingAnOpenCaptureLineClosesItsOldChannelFirst()
{
    InputBench bench;
    QVERIFY(bench.open());
    QVERIFY(bench.open());
    QCOMPARE(writesTo(bench.suffix), (QList{bytes({8}), bytes({8, 1}), bytes({8})}));
    QCOMPARE(simulated::openDeviceFiles(bench.suffix), 1);
}

void TestCaptureChannel::failedWritesOfACaptureLineAreIgnored()
{
    InputBench bench;
    simulated::failAlways("WriteFile", ERROR_ACCESS_DENIED);
    QVERIFY(bench.open());
    bench.device->closeDevice();
    QCOMPARE(bench.log.linesOf("Critical"), QStringList());
    QCOMPARE(simulated::countCalls("WriteFile"), 2);
    QCOMPARE(simulated::openDeviceFiles(bench.suffix), 0);
}

void TestCaptureChannel::anOpenCaptureLineClosesAtItsEnd()
{
    InputBench bench;
    QVERIFY(bench.open());
    bench.device.reset();
    QCOMPARE(writesTo(bench.suffix), (QList{bytes({8}), bytes({8, 1})}));
    QCOMPARE(simulated::openDeviceFiles(bench.suffix), 0);
}

void TestCaptureChannel::aCaptureLineKeepsItsNames()
{
    InputBench bench;
    bench.device->setDeviceName("name");
    bench.device->setDeviceID("id");
    bench.device->setEndpointID("endpoint");
    QVERIFY(bench.open());
    bench.device->closeDevice();
    QCOMPARE(bench.device->deviceName(), "name");
    QCOMPARE(bench.device->deviceID(), "id");
    QCOMPARE(bench.device->endpointID(), "endpoint");
}

QTEST_GUILESS_MAIN(TestCaptureChannel)
#include "tst_capturechannel.moc"
