// Parameters that the resampling library refuses: the call logs and does not come back.
#include "engines/audioresampler.h"
#include "tests/unit/engines/swresamplefaults.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

#include <cstdio>

namespace
{

constexpr const char *childArgument = "--refused-parameters";

/// In a process of its own, which its parent ends.
int runChild()
{
    swresamplefaults::failNext("swr_init", -22);
    AudioResampler resampler;
    const bool result =
        resampler.initialize(44100, AV_SAMPLE_FMT_S16, 2, 48000, AV_SAMPLE_FMT_S16, 2);
    std::fprintf(stderr, "returned %d\n", int(result));
    return 0;
}

} // namespace

class TestResamplerRefusal : public QObject
{
    Q_OBJECT

private slots:
    void blocksForGood();
};

void TestResamplerRefusal::blocksForGood()
{
    QProcess child;
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(QCoreApplication::applicationFilePath(), {childArgument});
    QVERIFY(child.waitForStarted());
    QByteArray said;
    while (!said.contains("Failed to initialize SwrContext!") && child.waitForReadyRead(30000))
        said += child.readAll();
    QVERIFY2(said.contains("Failed to initialize SwrContext! -22"), said.constData());

    // A call that came back would say so at once.
    QVERIFY(!child.waitForFinished(700));
    said += child.readAll();
    QVERIFY2(!said.contains("returned"), said.constData());
    QCOMPARE(child.state(), QProcess::Running);

    child.kill();
    QVERIFY(child.waitForFinished());
}

int main(int argc, char **argv)
{
    if (argc > 1 && qstrcmp(argv[1], childArgument) == 0)
        return runChild();
    const QCoreApplication application(argc, argv);
    TestResamplerRefusal test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_resamplerrefusal.moc"
