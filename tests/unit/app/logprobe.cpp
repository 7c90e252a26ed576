// A program that logs as main does, one scenario a run: what the handler keeps for the life of
// the process, and what it does while the process ends, can only be seen from outside.
#include "app/messagehandler.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QSemaphore>
#include <QStandardPaths>
#include <QThread>

#include <array>
#include <barrier>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace
{

constexpr int exitTimedOut = 3;

QString dataPath(const QString &name)
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/" + name;
}

/// Waits until everything logged so far has been written.
void drainLog()
{
    qInfo() << "drained";
    QDir logs(dataPath("logs"));
    const QDeadlineTimer deadline(20000);
    while (!deadline.hasExpired()) {
        logs.refresh();
        for (const QString &name : logs.entryList(QDir::Files)) {
            QFile file(logs.filePath(name));
            if (file.open(QIODevice::ReadOnly) && file.readAll().endsWith(" drained\r\n"))
                return;
        }
        QThread::msleep(2);
    }
    exit(exitTimedOut);
}

void runThreads(std::vector<std::function<void()>> bodies)
{
    std::vector<std::unique_ptr<QThread>> threads;
    for (auto &body : bodies)
        threads.emplace_back(QThread::create(body));
    for (auto &thread : threads)
        thread->start();
    for (auto &thread : threads)
        thread->wait();
}

void logLevels()
{
    const QMessageLogContext context;
    qDebug() << "a debug text";
    qInfo() << "an info text";
    qWarning() << "a warning text";
    qCritical() << "a critical text";
    messageHandler(QtFatalMsg, context, "a fatal text");
    messageHandler(static_cast<QtMsgType>(99), context, "an unknown text");
    drainLog();
}

void logForms()
{
    qInfo() << QString("1.0.2511.13096");
    qInfo() << "literal" << QString("with \"quotes\"\nand a break") << 42;
    qInfo() << "two\nlines";
    qInfo() << "获取进程句柄失败，错误码：" << 5;
    qInfo() << "%1 stays";
    drainLog();
}

void logDroppedTexts()
{
    const std::array<const char *, 4> texts{
        "libpng warning: iCCP: known incorrect sRGB profile",
        "libpng warning: profile matches sRGB but writing iCCP instead",
        "libpng warning: known incorrect sRGB profile",
        "Critical: WebSocket is already in CLOSING or CLOSED state.",
    };
    for (const char *text : texts) {
        qWarning("%s", text);
        qCritical("%s", text);
        qWarning("x%s", text);
        qWarning("%sx", text);
        qWarning("%s ", text);
        qWarning("%s", QByteArray(text).toUpper().constData());
    }
    qCritical("WebSocket is already in CLOSING or CLOSED state.");
    drainLog();
}

void logWithoutDirectory()
{
    // Something else stands where the directory should be.
    QFile obstacle(dataPath("logs"));
    if (!obstacle.open(QIODevice::WriteOnly))
        exit(exitTimedOut);
    obstacle.close();
    qInfo() << "lost";
    obstacle.remove();
    QDir().mkdir(dataPath("logs"));
    qInfo() << "lost too, although it could be written now";
}

void logFromManyThreads()
{
    // All at once, so that the file is opened while the others are logging already.
    constexpr int threadCount = 8;
    std::barrier start(threadCount);
    std::vector<std::function<void()>> bodies;
    for (int thread = 0; thread < threadCount; ++thread) {
        bodies.emplace_back([thread, &start] {
            start.arrive_and_wait();
            for (int i = 0; i < 250; ++i)
                qInfo() << "thread" << thread << "line" << i;
        });
    }
    runThreads(std::move(bodies));
    drainLog();
}

void logTurnByTurn()
{
    QSemaphore even(1);
    QSemaphore odd(0);
    const auto body = [](int first, QSemaphore &mine, QSemaphore &other) {
        for (int i = first; i < 400; i += 2) {
            mine.acquire();
            qInfo() << "turn" << i;
            other.release();
        }
    };
    runThreads({[&] { body(0, even, odd); }, [&] { body(1, odd, even); }});
    drainLog();
}

/// Three lines in three seconds; each tells when it was begun.
void logInSeveralSeconds()
{
    for (int i = 0; i < 3; ++i) {
        if (i > 0)
            QThread::msleep(
                static_cast<unsigned long>(1000 - QDateTime::currentDateTime().time().msec()));
        const QDateTime now = QDateTime::currentDateTime();
        qInfo() << now.toString("yyyy-MM-dd hh:mm:ss").toLatin1().constData();
    }
    drainLog();
}

void logAFewAndLeave()
{
    for (int i = 0; i < 200; ++i)
        qInfo() << "line" << i << "end";
}

void logAndLeave()
{
    drainLog();
    for (int i = 0; i < 20000; ++i)
        qInfo() << "line" << i << "end";
}

/// Logs while the process ends: before its log goes, and after.
void logToTheEnd()
{
    struct Farewell
    {
        ~Farewell() { qInfo() << "farewell"; }
    };
    static const Farewell farewell;
    static QThread *chatterer = QThread::create([] {
        for (;;)
            qInfo() << "still talking";
    });
    chatterer->start();
    qInfo() << "leaving";
}

/// The same, and the application object stays.
void logToTheExit()
{
    logToTheEnd();
    std::exit(0);
}

const std::map<QString, void (*)()> scenarios{
    {"levels", logLevels},
    {"forms", logForms},
    {"dropped", logDroppedTexts},
    {"nodirectory", logWithoutDirectory},
    {"threads", logFromManyThreads},
    {"turns", logTurnByTurn},
    {"seconds", logInSeveralSeconds},
    {"few", logAFewAndLeave},
    {"leave", logAndLeave},
    {"end", logToTheEnd},
    {"exit", logToTheExit},
    {"one", [] { drainLog(); }},
    {"onlydropped", [] { qWarning("libpng warning: known incorrect sRGB profile"); }},
    {"fatal", [] { qFatal("the end"); }},
};

} // namespace

int main(int argc, char **argv)
{
#ifdef _WIN32
    QStandardPaths::setTestModeEnabled(true); // see PrivateHome
#endif
    QCoreApplication::setOrganizationName("tavori");
    QCoreApplication::setApplicationName("Quorvane");
    qInstallMessageHandler(messageHandler);
    const QCoreApplication application(argc, argv);
    QDir().mkpath(dataPath(""));

    qCritical() << "lost, since the gate is closed";
    const QString scenario = QCoreApplication::arguments().value(1);
    if (scenario == "closed")
        return 0;
    openLogGate();
    scenarios.at(scenario)();
    return 0;
}
