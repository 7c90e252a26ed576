#include "app/dumpcallback.h"
#include "qBreakpad/handler/qbreakpadhandler.h"
#include "tests/support/logcapture.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <memory>

class TestQBreakpadHandler : public QObject
{
    Q_OBJECT

private slots:
    void isOneObjectForAllThreads()
    {
        QBreakpadHandler *other = nullptr;
        const std::unique_ptr<QThread> thread(
            QThread::create([&other] { other = &QBreakpadHandler::instance(); }));
        thread->start();
        QVERIFY(thread->wait());
        QCOMPARE(other, &QBreakpadHandler::instance());
    }

    void absolutePathIsMadeWithItsParents()
    {
        const QTemporaryDir directory;
        const QString path = directory.filePath("tavori/Quorvane/dumps/");
        QBreakpadHandler::instance().setDumpPath(path);
        QVERIFY(QDir(path).exists());
        QCOMPARE(QBreakpadHandler::instance().dumpPath(), path);
    }

    void relativePathStartsAtTheProgram()
    {
        const QString expected = QCoreApplication::applicationDirPath() + "/tst-dumps";
        QVERIFY(!QDir(expected).exists());
        QBreakpadHandler::instance().setDumpPath("somewhere/../tst-dumps/");
        QVERIFY(QDir(expected).exists());
        QCOMPARE(QBreakpadHandler::instance().dumpPath(), expected);
        QVERIFY(QDir().rmdir(expected));
    }

    void impossiblePathChangesNothing()
    {
        const QTemporaryDir directory;
        QBreakpadHandler::instance().setDumpPath(directory.path());
        QFile obstacle(directory.filePath("file"));
        QVERIFY(obstacle.open(QIODevice::WriteOnly));

        const LogCapture log;
        QBreakpadHandler::instance().setDumpPath(directory.filePath("file/dumps"));
        QCOMPARE(QBreakpadHandler::instance().dumpPath(), directory.path());
        QCOMPARE(log.lines(), QStringList());
    }

    void dumpIsLogged()
    {
        const LogCapture log;
        onDumpCallBack("/data/dumps//0123-4567");
        const QStringList expected{
            R"(Critical: Software dump callback!!! "/data/dumps//0123-4567.dmp")",
            "Info: Freeing application resources...",
        };
        QCOMPARE(log.lines(), expected);
    }
};

QTEST_GUILESS_MAIN(TestQBreakpadHandler)
#include "tst_qbreakpadhandler.moc"
