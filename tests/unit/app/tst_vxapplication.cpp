#include "app/vxapplication.h"
#include "tests/support/logcapture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace
{

std::atomic<bool> refuseMemory{false};

} // namespace

void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    return refuseMemory.exchange(false) ? nullptr : ::operator new(size);
}

namespace
{

VXApplication &application()
{
    return *static_cast<VXApplication *>(QCoreApplication::instance());
}

QString socketPath(const QString &name)
{
    return QDir::tempPath() + "/" + name;
}

/// A socket that listens there and never accepts; -1 on failure.
int listenAt(const QString &path, int queue)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, qPrintable(path), sizeof(address.sun_path) - 1);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    if (bind(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0 &&
        listen(descriptor, queue) == 0)
        return descriptor;
    close(descriptor);
    return -1;
}

/// What a process leaves that crashes while it listens: the name, with nobody behind it.
bool leaveDeadSocket(const QString &path)
{
    const int descriptor = listenAt(path, 1);
    return descriptor >= 0 && close(descriptor) == 0;
}

std::unique_ptr<QLocalSocket> connectTo(const QString &name)
{
    auto socket = std::make_unique<QLocalSocket>();
    socket->connectToServer(name);
    return socket->waitForConnected(5000) ? std::move(socket) : nullptr;
}

/// What the other end has not taken yet.
int unreadBytes(const QLocalSocket &socket)
{
    int bytes = -1;
    if (socket.bytesToWrite() > 0 || ioctl(int(socket.socketDescriptor()), SIOCOUTQ, &bytes) != 0)
        return -1;
    return bytes;
}

/// Counts the sockets that ask for their deletion.
class DeletedSockets : public QObject
{
public:
    DeletedSockets() { QCoreApplication::instance()->installEventFilter(this); }

    int count = 0;

protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::DeferredDelete && object->inherits("QLocalSocket"))
            ++count;
        return false;
    }
};

/// Changes what QCoreApplication::arguments() tells, for its lifetime.
class Arguments
{
public:
    explicit Arguments(const QByteArrayList &texts);
    ~Arguments();
    /// The count and the texts that the application was constructed with, by reference.
    static int count;
    static char *texts[8];

private:
    QByteArrayList storage;
    int oldCount = count;
    char *oldTexts[8];
};

int Arguments::count = 0;
char *Arguments::texts[8];

Arguments::Arguments(const QByteArrayList &newTexts) : storage(newTexts)
{
    std::copy(std::begin(texts), std::end(texts), std::begin(oldTexts));
    count = int(storage.size());
    for (int i = 0; i < count; ++i)
        texts[i] = storage[i].data();
}

Arguments::~Arguments()
{
    count = oldCount;
    std::copy(std::begin(oldTexts), std::end(oldTexts), std::begin(texts));
}

} // namespace

/// The application under test is the test program's own.
class TestVXApplication : public QObject
{
    Q_OBJECT

private slots:
    void init() { name = QString("guard-%1").arg(++counter); }

    void signalsAndSlotsStandInOrder()
    {
        const QMetaObject &type = VXApplication::staticMetaObject;
        QStringList declared;
        for (int index = type.methodOffset(); index < type.methodCount(); ++index) {
            const QMetaMethod method = type.method(index);
            declared.append((method.methodType() == QMetaMethod::Signal ? "signal "
                             : method.access() == QMetaMethod::Private  ? "private slot "
                                                                        : "public ") +
                            QString(method.methodSignature()));
        }
        QCOMPARE(declared,
                 QStringList({"signal receivedMessage(QByteArray)", "signal pressedWindow()",
                              "private slot handleNewConnection()",
                              "private slot handleClientDisconnected()",
                              "private slot handleClientReadyRead()"}));
    }

    void firstInstanceListens()
    {
        const LogCapture log;
        QCOMPARE(application().initLocalServer(name), 0);
        QVERIFY(QFile::exists(socketPath(name)));
        QVERIFY(connectTo(name));
        QCOMPARE(log.lines(), QStringList());
    }

    void secondInstanceHandsItsArgumentsOver()
    {
        const Arguments arguments({"/opt/program", "--one", "zwei;drei", "\xE5\x9B\x9B"});
        QLocalServer first;
        QVERIFY(first.listen(name));
        const LogCapture log;

        QCOMPARE(application().initLocalServer(name), 1);
        const QStringList expected{
            "Critical: Another instance is already running. Exiting...",
            "Info: Data sent successfully",
        };
        QCOMPARE(log.lines(), expected);

        QVERIFY(first.waitForNewConnection(5000));
        const std::unique_ptr<QLocalSocket> second(first.nextPendingConnection());
        QTRY_COMPARE(second->state(), QLocalSocket::UnconnectedState);
        QCOMPARE(second->readAll(), QByteArray("/opt/program;--one;zwei;drei;\xE5\x9B\x9B"));
    }

    void failedHandOverIsToldAndStillASecondInstance()
    {
        // Nothing to write is nothing that could be reported as written.
        const Arguments arguments({""});
        QLocalServer first;
        QVERIFY(first.listen(name));
        const LogCapture log;

        QCOMPARE(application().initLocalServer(name), 1);
        const QStringList lines = log.lines();
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines[0], QString("Critical: Another instance is already running. Exiting..."));
        QVERIFY2(lines[1].startsWith("Critical: Failed to send data: \""), qPrintable(lines[1]));
    }

    void leftOverNameOfACrashIsCleared()
    {
        QVERIFY(leaveDeadSocket(socketPath(name)));
        QVERIFY(QFile::exists(socketPath(name)));
        QVERIFY2(!QLocalServer().listen(name), "the name does stand in the way");

        QCOMPARE(application().initLocalServer(name), 0);
        QVERIFY(connectTo(name));
    }

    void instanceThatDoesNotAnswerIsWaitedForAndCleared()
    {
        // It listens, and the one place in its queue is taken.
        const int silent = listenAt(socketPath(name), 0);
        QVERIFY(silent >= 0);
        const auto first = connectTo(name);
        QVERIFY(first);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(application().initLocalServer(name), 0);
        QVERIFY2(clock.elapsed() >= 1490, qPrintable(QString::number(clock.elapsed())));
        close(silent);
        QVERIFY(connectTo(name));
    }

    void impossibleNameIsAFailure()
    {
        QVERIFY(QDir().mkpath(socketPath(name) + "/something"));
        const LogCapture log;
        QCOMPARE(application().initLocalServer(name), 2);
        QCOMPARE(log.lines().size(), 1);
        const QString line = log.lines().first();
        QVERIFY2(line.startsWith("Critical: Failed to start local server: \"QLocalServer::listen:"),
                 qPrintable(line));
    }

    void missingServerIsNoFailure()
    {
        const LogCapture log;
        refuseMemory = true;
        QCOMPARE(application().initLocalServer(name), 0);
        QVERIFY(!refuseMemory);
        QCOMPARE(log.lines(), QStringList("Critical: Unable to create local server!!!"));
        QVERIFY(!QFile::exists(socketPath(name)));
    }

    void eachReadGivesOneMessage()
    {
        QCOMPARE(application().initLocalServer(name), 0);
        QSignalSpy received(&application(), &VXApplication::receivedMessage);
        const auto client = connectTo(name);
        for (const QByteArray piece : {"/path/of/the;first", " piece", ";and another"}) {
            client->write(piece);
            QTRY_COMPARE(received.size(), 1);
            QCOMPARE(received.takeFirst().first().toByteArray(), piece);
        }
    }

    void longArgumentsComeInPiecesThatMakeTheWhole()
    {
        QCOMPARE(application().initLocalServer(name), 0);
        QSignalSpy received(&application(), &VXApplication::receivedMessage);
        const auto client = connectTo(name);
        QByteArray text(8 << 20, 'x');
        for (int i = 0; i < text.size(); i += 1000)
            text[i] = char('a' + i / 1000 % 26);
        client->write(text);

        const auto joined = [&received] {
            QByteArray result;
            for (const QList<QVariant> &arguments : received)
                result += arguments.first().toByteArray();
            return result;
        };
        QTRY_COMPARE_WITH_TIMEOUT(joined().size(), text.size(), 30000);
        QCOMPARE(joined(), text);
        QVERIFY(received.size() > 1);
    }

    void latestClientTakesThePlace()
    {
        QCOMPARE(application().initLocalServer(name), 0);
        QSignalSpy received(&application(), &VXApplication::receivedMessage);
        const auto older = connectTo(name);
        older->write("older");
        QTRY_COMPARE(received.size(), 1);
        const auto newer = connectTo(name);
        newer->write("newer");
        QTRY_COMPARE(received.size(), 2);
        QCOMPARE(received.takeLast().first().toByteArray(), QByteArray("newer"));
        received.clear();

        // The older one stays connected, but its bytes are looked for at the newer.
        older->write("again");
        QTRY_COMPARE(received.size(), 1);
        QCOMPARE(received.takeFirst().first().toByteArray(), QByteArray());
        QCOMPARE(older->state(), QLocalSocket::ConnectedState);
    }

    void olderClientTakesTheNewerWithIt()
    {
        QCOMPARE(application().initLocalServer(name), 0);
        QSignalSpy received(&application(), &VXApplication::receivedMessage);
        const auto older = connectTo(name);
        older->write("older");
        QTRY_COMPARE(received.size(), 1);
        const auto newer = connectTo(name);
        newer->write("newer");
        QTRY_COMPARE(received.size(), 2);

        const DeletedSockets deleted;
        older->disconnectFromServer();
        QTRY_COMPARE(newer->state(), QLocalSocket::UnconnectedState);
        // Its own socket stays as long as the server does.
        QCOMPARE(deleted.count, 1);

        const auto next = connectTo(name);
        next->write("next");
        QTRY_COMPARE(received.size(), 3);
        QCOMPARE(received.last().first().toByteArray(), QByteArray("next"));
    }

    void clientWithoutASlotIsIgnored()
    {
        QCOMPARE(application().initLocalServer(name), 0);
        QSignalSpy received(&application(), &VXApplication::receivedMessage);
        const auto first = connectTo(name);
        first->write("1");
        QTRY_COMPARE(received.size(), 1);
        const auto second = connectTo(name);
        second->write("2");
        QTRY_COMPARE(received.size(), 2);
        const auto third = connectTo(name);
        third->write("3");
        QTRY_COMPARE(received.size(), 3);

        // The first takes the third with it and empties the slot; the second talks to nobody.
        first->disconnectFromServer();
        QTRY_COMPARE(third->state(), QLocalSocket::UnconnectedState);
        second->write("lost");
        QTRY_COMPARE(unreadBytes(*second), 0);
        const auto last = connectTo(name);
        last->write("last");
        QTRY_COMPARE(received.size(), 4);
        QCOMPARE(received.last().first().toByteArray(), QByteArray("last"));
    }

private:
    QString name;
    int counter = 0;
};

int main(int argc, char **argv)
{
    const QTemporaryDir directory("/tmp/qv-XXXXXX");
    qputenv("TMPDIR", directory.path().toLocal8Bit());

    Arguments::count = 1;
    Arguments::texts[0] = argv[0];
    std::unique_ptr<QLocalSocket> lastClient;
    int result = 0;
    {
        VXApplication application(Arguments::count, Arguments::texts);
        TestVXApplication test;
        result = QTest::qExec(&test, argc, argv);

        // The application goes while a client is connected, and must not use what is gone.
        if (application.initLocalServer("last") != 0)
            return 1;
        lastClient = connectTo("last");
        QSignalSpy received(&application, &VXApplication::receivedMessage);
        lastClient->write("x");
        if (!received.wait(5000))
            return 1;
    }
    lastClient->abort();
    return result;
}

#include "tst_vxapplication.moc"
