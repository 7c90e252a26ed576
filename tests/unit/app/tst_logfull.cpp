#include "app/logger.h"
#include "tests/support/threadqueue.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/resource.h>

#include <csignal>

namespace
{

/// No file of this process may become longer until it goes.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        rlimit limit = before;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before); }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    rlimit before{};
};

void log(Logger &logger, const QString &line)
{
    QMetaObject::invokeMethod(&logger, "logMessage", Qt::QueuedConnection, Q_ARG(QString, line));
    awaitQueueOf(logger);
}

} // namespace

class TestLogFull : public QObject
{
    Q_OBJECT

private slots:
    void linesComeAgainWhenThereIsRoom()
    {
        const QTemporaryDir directory;
        const QString path = directory.filePath("log.txt");
        Logger logger;
        QCOMPARE(logger.openFile(path), 0);
        log(logger, "before\r\n");
        {
            const FullDisk full(8);
            log(logger, "during\r\n");
        }
        log(logger, "after\r\n");
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray contents = file.readAll();
        QVERIFY2(contents.startsWith("before\r\n"), contents);
        QVERIFY2(contents.endsWith("after\r\n"), contents);
    }
};

QTEST_GUILESS_MAIN(TestLogFull)
#include "tst_logfull.moc"
