#include "app/dumpcallback.h"
#include "platform/simulated/simulated.h"
#include "qBreakpad/handler/qbreakpadhandler.h"
#include "tests/support/logcapture.h"
#include "tests/unit/qbreakpad/formserver.h"

#include <QDir>
#include <QFile>
#include <QMetaMethod>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <memory>

namespace
{

constexpr int boundMs = 30000;

QBreakpadHandler &handler()
{
    return QBreakpadHandler::instance();
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("no room for a file");
}

} // namespace

class TestQBreakpadHandler : public QObject
{
    Q_OBJECT

private slots:
    void init() { simulated::reset(); }

    // First: no test has set a path yet.
    void sendsNothingBeforeADirectoryIsSet()
    {
        QCOMPARE(handler().dumpPath(), QString());
        const LogCapture log;
        handler().sendDumps();
        QCOMPARE(log.lines(), QStringList());
    }

    void metaObjectHasItsOrder()
    {
        const QMetaObject &meta = QBreakpadHandler::staticMetaObject;
        QStringList signatures;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            signatures << meta.method(i).methodSignature();
        const QStringList expected{"sigDumpCallBack(QString)", "sendDumps()"};
        QCOMPARE(signatures, expected);
    }

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
        const auto installed = simulated::crashHandlers();
        QCOMPARE(installed.size(), 1);
        QCOMPARE(installed[0].dumpPath, path);
        QCOMPARE(installed[0].handlerTypes, 7);
    }

    void pathOfAnyLettersIsHandedOver()
    {
        const QTemporaryDir directory;
        const QString path = directory.filePath("转储 Grüße 😀");
        handler().setDumpPath(path);
        QVERIFY(QDir(path).exists());
        QCOMPARE(simulated::crashHandlers()[0].dumpPath, path);
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
        QCOMPARE(simulated::crashHandlers().size(), 1);
    }

    void anotherPathHasAHandlerOfItsOwn()
    {
        const QTemporaryDir first;
        const QTemporaryDir second;
        handler().setDumpPath(first.path());
        handler().setDumpPath(second.path());
        QCOMPARE(handler().dumpPath(), second.path());
        const auto installed = simulated::crashHandlers();
        QCOMPARE(installed.size(), 2);
        QCOMPARE(installed[0].dumpPath, first.path());
        QCOMPARE(installed[1].dumpPath, second.path());
    }

    void dumpIsAnnouncedOnTheHandlersThread_data()
    {
        QTest::addColumn<bool>("succeeded");
        QTest::newRow("written") << true;
        QTest::newRow("failed") << false;
    }

    void dumpIsAnnouncedOnTheHandlersThread()
    {
        QFETCH(bool, succeeded);
        const QTemporaryDir directory;
        handler().setDumpPath(directory.path() + "/");
        QStringList announced;
        const QThread *thread = nullptr;
        const QObject context;
        connect(
            &handler(), &QBreakpadHandler::sigDumpCallBack, &context,
            [&](const QString &name) {
                announced << name;
                thread = QThread::currentThread();
            },
            Qt::DirectConnection);
        QCOMPARE(simulated::announceDump("0123-4567", succeeded), succeeded);
        QCOMPARE(announced, QStringList(directory.path() + "//0123-4567"));
        QVERIFY(thread && thread != QThread::currentThread());
    }

    void dumpAfterTheEndOfTheObjectIsNotAnnounced()
    {
        QCOMPARE(QProcess::execute(LATECRASH, {}), 0);
    }

    void directoryWithoutDumpsSendsNothing()
    {
        const QTemporaryDir directory;
        writeFile(directory.filePath("a.txt"), "MDMP");
        writeFile(directory.filePath("a.dmp.part"), "MDMP");
        FormServer server;
        useServer(server, directory);
        const LogCapture log;
        handler().sendDumps();
        sendOneMore(server, directory);
        QCOMPARE(server.forms().size(), 1);
        QVERIFY(QFile::exists(directory.filePath("a.txt")));
        QVERIFY(QFile::exists(directory.filePath("a.dmp.part")));
    }

    void dumpsAreSentSideBySide()
    {
        const QTemporaryDir directory;
        QSet<QByteArray> contents;
        for (int i = 0; i < 5; ++i) {
            contents += "dump " + QByteArray::number(i);
            writeFile(directory.filePath(QString("%1.dmp").arg(i)),
                      "dump " + QByteArray::number(i));
        }
        QVERIFY(QDir(directory.path()).mkdir("folder.dmp"));
        FormServer server;
        useServer(server, directory);
        server.setBehaviour(FormServer::Behaviour::HoldBack);
        handler().sendDumps();
        // None is answered before all are there.
        QTRY_COMPARE_WITH_TIMEOUT(server.heldBack(), 5, boundMs);
        server.release();
        QTRY_COMPARE_WITH_TIMEOUT(dumpsIn(directory), QStringList(), boundMs);
        for (const PostedForm &form : server.forms())
            contents -= form.body.mid(form.body.lastIndexOf("\r\n\r\n") + 4)
                            .chopped(form.boundary().size() + 8);
        QVERIFY(contents.isEmpty());
        QVERIFY(QDir(directory.filePath("folder.dmp")).exists());
    }

    void refusedDumpIsSentAgain()
    {
        const QTemporaryDir directory;
        writeFile(directory.filePath("a.dmp"), "MDMP");
        FormServer server;
        useServer(server, directory);
        server.setAnswer("503 Busy");
        const LogCapture log;
        handler().sendDumps();
        QTRY_COMPARE_WITH_TIMEOUT(log.linesOf("Warning").filter("Upload error: ").size(), 1,
                                  boundMs);
        QCOMPARE(dumpsIn(directory), QStringList("a.dmp"));

        server.setAnswer("200 OK");
        handler().sendDumps();
        QTRY_COMPARE_WITH_TIMEOUT(dumpsIn(directory), QStringList(), boundMs);
        QCOMPARE(server.forms().size(), 2);
        QCOMPARE(server.forms()[0].body.count("MDMP"), 1);
        QCOMPARE(server.forms()[1].body.count("MDMP"), 1);
    }

    void withoutAnAddressTheDumpsStay()
    {
        const QTemporaryDir directory;
        writeFile(directory.filePath("a.dmp"), "MDMP");
        handler().setUploadUrl(QUrl());
        handler().setDumpPath(directory.path());
        const LogCapture log;
        handler().sendDumps();
        QTRY_COMPARE_WITH_TIMEOUT(log.linesOf("Warning").filter("Upload error: 301 - ").size(), 1,
                                  boundMs);
        QCOMPARE(dumpsIn(directory), QStringList("a.dmp"));
    }

    void dumpIsLogged()
    {
        const LogCapture log;
        onDumpCallBack("/data/dumps//0123-4567");
        const QString path = QDir::toNativeSeparators("/data/dumps//0123-4567.dmp");
        const QStringList expected{
            "Critical: Software dump callback!!! \"" + QString(path).replace("\\", "\\\\") + '"',
            "Info: Freeing application resources...",
        };
        QCOMPARE(log.lines(), expected);
    }

private:
    static QStringList dumpsIn(const QTemporaryDir &directory)
    {
        return QDir(directory.path()).entryList({"*.dmp"}, QDir::Files);
    }

    static void useServer(const FormServer &server, const QTemporaryDir &directory)
    {
        handler().setUploadUrl(server.url());
        handler().setDumpPath(directory.path());
    }

    /// Returns when the server has had what was sent before, and one dump more.
    static void sendOneMore(const FormServer &server, const QTemporaryDir &directory)
    {
        writeFile(directory.filePath("last.dmp"), "MDMP");
        handler().sendDumps();
        QTRY_COMPARE_WITH_TIMEOUT(dumpsIn(directory), QStringList(), boundMs);
        QVERIFY(!server.forms().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestQBreakpadHandler)
#include "tst_qbreakpadhandler.moc"
