#include "app/logger.h"
#include "tests/support/threadqueue.h"

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QFile>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <chrono>
#include <memory>
#include <thread>

namespace
{

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void log(Logger &logger, const QString &line)
{
    QMetaObject::invokeMethod(&logger, "logMessage", Qt::QueuedConnection, Q_ARG(QString, line));
}

} // namespace

class TestLogger : public QObject
{
    Q_OBJECT

private slots:
    void init() { directory = std::make_unique<QTemporaryDir>(); }

    void livesOnItsOwnThread()
    {
        Logger logger;
        QVERIFY(logger.thread() != QThread::currentThread());
        QVERIFY(logger.thread()->isRunning());
    }

    void openingEmptiesTheFile()
    {
        QFile old(path("log.txt"));
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("an earlier run that was longer");
        old.close();

        Logger logger;
        QVERIFY(!logger.isOpen());
        QCOMPARE(logger.openFile(path("log.txt")), 0);
        QVERIFY(logger.isOpen());
        QCOMPARE(contents(path("log.txt")), QByteArray());
        log(logger, "short\r\n");
        awaitQueueOf(logger);
        QCOMPARE(contents(path("log.txt")), QByteArray("short\r\n"));
    }

    void eachLineIsOnDiskBeforeTheNext()
    {
        Logger logger;
        QCOMPARE(logger.openFile(path("log.txt")), 0);
        QByteArray expected;
        for (int i = 0; i < 100; ++i) {
            log(logger, QString::number(i) + "\r\n");
            expected += QByteArray::number(i) + "\r\n";
            awaitQueueOf(logger);
            QCOMPARE(contents(path("log.txt")), expected);
        }
    }

    void turnsOfAFloodComeSlowly()
    {
        QSemaphore turns; // outlives the thread that counts
        Logger logger;
        QCOMPARE(logger.openFile(path("log.txt")), 0);
        // The thread counts its own turns, from the end of this one on.
        QMetaObject::invokeMethod(
            &logger,
            [&turns] {
                connect(QAbstractEventDispatcher::instance(),
                        &QAbstractEventDispatcher::aboutToBlock, [&turns] { turns.release(); });
            },
            Qt::QueuedConnection);
        awaitQueueOf(logger);
        QElapsedTimer clock;
        clock.start();
        QByteArray expected;
        for (int i = 0; i < 700; ++i) {
            log(logger, QString::number(i) + "\r\n");
            expected += QByteArray::number(i) + "\r\n";
            QVERIFY(turns.tryAcquire(1, queueMs));
        }
        awaitQueueOf(logger);
        // 500 turns come as they like and the others 5 ms apart, however slow the machine is.
        QVERIFY2(clock.elapsed() > 900, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(contents(path("log.txt")), expected);
    }

    void textIsUtf8()
    {
        Logger logger;
        QCOMPARE(logger.openFile(path("log.txt")), 0);
        log(logger, QString::fromUtf8("错误码：é"));
        awaitQueueOf(logger);
        QCOMPARE(contents(path("log.txt")), QByteArray("错误码：é"));
    }

    void samePathIsLeftAlone()
    {
        Logger logger;
        QCOMPARE(logger.openFile(path("log.txt")), 0);
        log(logger, "kept");
        awaitQueueOf(logger);
        QCOMPARE(logger.openFile(path("log.txt")), 0);
        QCOMPARE(contents(path("log.txt")), QByteArray("kept"));
    }

    void otherPathTakesOver()
    {
        Logger logger;
        QCOMPARE(logger.openFile(path("one.txt")), 0);
        log(logger, "first");
        awaitQueueOf(logger);
        QCOMPARE(logger.openFile(path("two.txt")), 0);
        log(logger, "second");
        awaitQueueOf(logger);
        QCOMPARE(contents(path("one.txt")), QByteArray("first"));
        QCOMPARE(contents(path("two.txt")), QByteArray("second"));
    }

    void unopenableFileIsToldOnce()
    {
        Logger logger;
        QCOMPARE(logger.openFile(path("missing/log.txt")), -2);
        QVERIFY(!logger.isOpen());
        log(logger, "lost");
        awaitQueueOf(logger);
        // The name is taken now, so that the same path counts as done although nothing is open.
        QCOMPARE(logger.openFile(path("missing/log.txt")), 0);
        QVERIFY(!logger.isOpen());
    }

    void stoppedLoggerDoesNothing()
    {
        Logger logger;
        QCOMPARE(logger.openFile(path("log.txt")), 0);
        QVERIFY(logger.stop());
        QCOMPARE(logger.openFile(path("other.txt")), -1);
        QVERIFY(!QFile::exists(path("other.txt")));
        logger.logMessage("lost");
        QCOMPARE(contents(path("log.txt")), QByteArray());
    }

    void queuedLinesAreLostWhenItStops()
    {
        Logger logger;
        QCOMPARE(logger.openFile(path("log.txt")), 0);
        QSemaphore reached;
        QSemaphore go;
        QMetaObject::invokeMethod(&logger, [&] {
            reached.release();
            go.acquire();
        });
        reached.acquire();
        log(logger, "lost");
        // The thread is held, so the bound of the wait passes and the lines are dropped.
        QVERIFY(!logger.stop());
        go.release();
        QVERIFY(logger.thread()->wait());
        QCOMPARE(contents(path("log.txt")), QByteArray());
    }

    void finishingWritesWhatIsQueued()
    {
        Logger logger;
        QCOMPARE(logger.openFile(path("log.txt")), 0);
        HeldThread held(logger);
        QByteArray expected;
        for (int i = 0; i < 5000; ++i) {
            log(logger, QString::number(i) + "\r\n");
            expected += QByteArray::number(i) + "\r\n";
        }
        std::thread other([&held] { held.letGo(); });
        const bool finished = logger.finish(std::chrono::milliseconds(queueMs));
        other.join();
        QVERIFY(finished);
        QCOMPARE(contents(path("log.txt")), expected);
        QCOMPARE(logger.openFile(path("other.txt")), -1);
    }

    void finishingEndsWithItsTime()
    {
        Logger logger;
        QCOMPARE(logger.openFile(path("log.txt")), 0);
        HeldThread held(logger);
        log(logger, "lost");
        QVERIFY(!logger.finish(std::chrono::milliseconds(10)));
        held.letGo();
        QVERIFY(logger.thread()->wait());
        QCOMPARE(contents(path("log.txt")), QByteArray());
    }

    void destructionWaitsForTheThread()
    {
        auto logger = std::make_unique<Logger>();
        QCOMPARE(logger->openFile(path("log.txt")), 0);
        QSemaphore reached;
        QSemaphore go;
        bool done = false;
        QMetaObject::invokeMethod(logger.get(), [&] {
            reached.release();
            go.acquire();
            QThread::msleep(250); // beyond the bound of the wait
            done = true;
        });
        reached.acquire();
        go.release();
        logger.reset();
        QVERIFY(done);
    }

private:
    [[nodiscard]] QString path(const QString &name) const { return directory->filePath(name); }

    std::unique_ptr<QTemporaryDir> directory;
};

QTEST_GUILESS_MAIN(TestLogger)
#include "tst_logger.moc"
