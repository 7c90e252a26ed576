// Round trips of commands on one connection, next to a bare Qt WebSocket echo in the same run.
//
// Servers run in a child process of their own, so that every figure crosses the same boundaries;
// with --port the commands go to a running program instead. Where a server runs beside its client
// decides more than what it does, and the scheduler decides it by luck: with --pid everything is
// bound alike, first to one processor and then the servers to another. The program's own log thread
// then has no processor to itself.
#include "link/websocketserver.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QProcess>
#include <QSocketNotifier>
#include <QTextStream>
#include <QTimer>

#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace
{
constexpr int patience = 10'000;

QString command(const QString &event, const QJsonObject &payload)
{
    const QJsonObject document{{"event", event}, {"payload", payload}};
    return QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Compact));
}

/// What one kind of round trip sends, and how its answer begins.
struct Exchange
{
    QString name;
    QString request;
    QString answer;
    QUrl server;
    std::vector<qint64> nanoseconds = {};
};

/// A connection that makes one round trip after the other, none of them overlapping.
class Connection
{
public:
    Connection() = default;
    // Without a word of its own a socket takes its leave with a code that servers log.
    ~Connection() { socket.close(); }
    Q_DISABLE_COPY_MOVE(Connection)

    bool open(const QUrl &server)
    {
        QEventLoop loop;
        QTimer::singleShot(patience, &loop, &QEventLoop::quit);
        QObject::connect(&socket, &QWebSocket::connected, &loop, &QEventLoop::quit);
        socket.open(server);
        loop.exec();
        return socket.state() == QAbstractSocket::ConnectedState;
    }

    /// The first text that begins so after the request; nothing if none comes.
    std::optional<QString> ask(const QString &request, const QString &answer)
    {
        std::optional<QString> found;
        repeat(1, request, answer, [&](const QString &text, qint64) { found = text; });
        return found;
    }

    /// Makes so many round trips and hands each answer on with its time; false if one is lost.
    bool repeat(int count, const QString &request, const QString &answer,
                const std::function<void(const QString &, qint64)> &take)
    {
        QEventLoop loop;
        QTimer deadline;
        QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
        deadline.start(patience);
        QElapsedTimer clock;
        int left = count;
        const auto receive = [&](const QString &text) {
            if (!text.startsWith(answer))
                return;
            take(text, clock.nsecsElapsed());
            if (--left == 0)
                return loop.quit();
            clock.start();
            socket.sendTextMessage(request);
        };
        QObject::connect(&socket, &QWebSocket::textMessageReceived, &loop, receive);
        clock.start();
        socket.sendTextMessage(request);
        loop.exec();
        return left == 0;
    }

private:
    QWebSocket socket;
};

QUrl loopback(int port)
{
    return QUrl(QStringLiteral("ws://127.0.0.1:%1").arg(port));
}

/// The child's part: an echo, and the control link with an owner that answers from nothing.
int serve()
{
    QWebSocketServer echo(QStringLiteral("echo"), QWebSocketServer::NonSecureMode);
    QObject::connect(&echo, &QWebSocketServer::newConnection, &echo, [&echo] {
        QWebSocket *socket = echo.nextPendingConnection();
        QObject::connect(socket, &QWebSocket::textMessageReceived, socket,
                         [socket](const QString &text) { socket->sendTextMessage(text); });
    });
    if (!echo.listen(QHostAddress::LocalHost))
        return 1;

    WebSocketServer link(nullptr);
    QObject::connect(&link, &WebSocketServer::sigGetOutputDeviceVolume, &link,
                     [&link](const QString &deviceName, const QString &deviceID) {
                         link.didReceiveDeviceVolume(deviceName, deviceID, 42);
                     });
    // The link takes a port, not "any": the echo's neighbours are likely to be free.
    int linkPort = echo.serverPort() + 1;
    while (!link.startListen(quint16(linkPort)))
        ++linkPort;
    QTextStream(stdout) << echo.serverPort() << ' ' << linkPort << Qt::endl;
    // Standard input ends when the measuring process does, however it ends.
    const QSocketNotifier parent(0, QSocketNotifier::Read);
    QObject::connect(&parent, &QSocketNotifier::activated, &QCoreApplication::quit);
    return QCoreApplication::exec();
}

qint64 percentile(std::vector<qint64> sorted, double share)
{
    std::sort(sorted.begin(), sorted.end());
    return sorted.at(std::size_t(double(sorted.size() - 1) * share));
}

double rate(const Exchange &exchange)
{
    qint64 sum = 0;
    for (const qint64 time : exchange.nanoseconds)
        sum += time;
    return 1e9 * double(exchange.nanoseconds.size()) / double(sum);
}

void report(const std::vector<Exchange> &exchanges)
{
    QTextStream out(stdout);
    out << QString("%1 %2 %3 %4 %5 %6\n")
               .arg("round trip", -18)
               .arg("count", 9)
               .arg("per second", 12)
               .arg("median us", 12)
               .arg("95th pct us", 12)
               .arg("of echo's rate", 15);
    for (const Exchange &exchange : exchanges) {
        out << QString("%1 %2 %3 %4 %5 %6\n")
                   .arg(exchange.name, -18)
                   .arg(exchange.nanoseconds.size(), 9)
                   .arg(rate(exchange), 12, 'f', 0)
                   .arg(double(percentile(exchange.nanoseconds, 0.5)) / 1e3, 12, 'f', 1)
                   .arg(double(percentile(exchange.nanoseconds, 0.95)) / 1e3, 12, 'f', 1)
                   .arg(rate(exchange) / rate(exchanges.front()), 15, 'f', 2);
    }
}

/// A device that the running program knows; its first output, or its default one.
QJsonObject deviceOf(const QUrl &program)
{
    Connection connection;
    if (!connection.open(program))
        return {};
    const auto text = connection.ask(command("getOutputDeviceInfos", {}),
                                     R"({"event":"didReceiveOutputDeviceInfos")");
    const QJsonValue payload =
        QJsonDocument::fromJson(text.value_or(QString()).toUtf8())["payload"];
    const QJsonObject standard = payload["defaultDevice"].toObject();
    return standard.isEmpty() ? payload["outputDevice"][0].toObject() : standard;
}

int fail(const QString &reason)
{
    QTextStream(stderr) << "commands: " << reason << Qt::endl;
    return 1;
}

cpu_set_t only(int processor)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor, &set);
    return set;
}

/// Binds all threads that a process has; false if there is none, or no right to.
bool bindTo(const cpu_set_t &processors, qint64 pid)
{
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    const QStringList threads = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return !threads.isEmpty() && std::ranges::all_of(threads, [&](const QString &thread) {
        // One that has ended meanwhile needs no binding.
        return sched_setaffinity(thread.toInt(), sizeof processors, &processors) == 0 ||
               errno == ESRCH;
    });
}

/// Measures in turns, so that whatever the machine does meanwhile falls on all alike.
int measure(std::vector<Exchange> exchanges, int rounds, int batch)
{
    for (int round = 0; round <= rounds; ++round) {
        for (std::size_t index = 0; index < exchanges.size(); ++index) {
            Exchange &exchange = exchanges[index];
            // Only the newest client of a program is answered: each turn connects anew.
            Connection connection;
            if (!connection.open(exchange.server))
                return fail("nothing listens on " + exchange.server.toString());
            const bool isWarmUp = round == 0;
            const auto take = [&](const QString &, qint64 time) {
                if (!isWarmUp)
                    exchange.nanoseconds.push_back(time);
            };
            if (!connection.repeat(batch, exchange.request, exchange.answer, take))
                return fail("no answer to " + exchange.request);
        }
    }
    report(exchanges);
    return 0;
}
} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription("Measures command round trips next to a bare echo.");
    parser.addHelpOption();
    parser.addOptions({{"port", "Measure the program on this port.", "port"},
                       {"pid", "Bind this process, the program, beside client and echo.", "pid"},
                       {"rounds", "Turns of each round trip (20).", "count", "20"},
                       {"batch", "Round trips in a turn (500).", "count", "500"},
                       {"serve", "Be the servers of another run."}});
    parser.process(application);
    if (parser.isSet("serve"))
        return serve();

    QProcess servers;
    servers.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    servers.start(QCoreApplication::applicationFilePath(), {"--serve"});
    if (!servers.waitForReadyRead(patience))
        return fail("the servers did not start");
    const QStringList ports = QString::fromLatin1(servers.readLine()).simplified().split(' ');
    const QUrl echo = loopback(ports.value(0).toInt());
    QUrl program = loopback(ports.value(1).toInt());

    QJsonObject device{{"deviceName", "Speakers (High Definition Audio)"},
                       {"deviceID", "{0.0.0.00000000}.{6f0e0f5c-6a67-5ac2-9d4f-0d6b8f3a2b11}"}};
    if (parser.isSet("port")) {
        program = loopback(parser.value("port").toInt());
        device = deviceOf(program);
        if (device.isEmpty())
            return fail("the program on port " + parser.value("port") + " names no output");
    }
    const QString getVolume = command("getDeviceVolume", {{"deviceType", "outputDevice"},
                                                          {"deviceName", device["deviceName"]},
                                                          {"deviceID", device["deviceID"]}});
    const QString heartbeat = R"({"event":"heartbeat"})";
    const std::vector<Exchange> exchanges{
        {"echo", getVolume, getVolume, echo},
        {"heartbeat", heartbeat, heartbeat, program},
        {"getDeviceVolume", getVolume, R"({"event":"didReceiveDeviceVolume")", program}};
    const auto run = [&] {
        return measure(exchanges, parser.value("rounds").toInt(), parser.value("batch").toInt());
    };
    int result = 0;
    if (parser.isSet("pid")) {
        const qint64 pid = parser.value("pid").toLongLong();
        cpu_set_t before;
        if (sched_getaffinity(pid_t(pid), sizeof before, &before) != 0)
            return fail("no process " + parser.value("pid"));
        for (const auto &[placement, processor] :
             {std::pair{"client and servers on one processor", 0},
              std::pair{"servers on a second processor", 1}}) {
            QTextStream(stdout) << placement << ':' << Qt::endl;
            const bool areBound = bindTo(only(0), QCoreApplication::applicationPid()) &&
                                  bindTo(only(processor), servers.processId()) &&
                                  bindTo(only(processor), pid);
            result |=
                areBound ? run() : fail("cannot bind to processor " + QString::number(processor));
        }
        bindTo(before, pid);
    } else {
        result = run();
    }
    servers.closeWriteChannel();
    servers.waitForFinished();
    return result;
}
