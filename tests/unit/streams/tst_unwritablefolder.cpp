// A recording where no file can be made.
#include "recordingsupport.h"
#include "speakerbench.h"

#include <QTest>

class TestUnwritableFolder : public QObject
{
    Q_OBJECT

private slots:
    void aSpeakerThatCannotWriteStillSaysItStarted();
};

void TestUnwritableFolder::aSpeakerThatCannotWriteStillSaysItStarted()
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

QTEST_GUILESS_MAIN(TestUnwritableFolder)
#include "tst_unwritablefolder.moc"
