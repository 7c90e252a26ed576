#include "app/messagehandler.h"

#include "app/logger.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QMetaMethod>
#include <QMutex>
#include <QMutexLocker>
#include <QSettings>
#include <QStandardPaths>
#include <QStringBuilder>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <memory>

namespace
{

std::atomic<bool> logGate{false};

// In this order, so that they outlive the logger: messages may still come while it goes.
QMutex handlerMutex;
QString logFilePath;
bool logFileOpen = false;
QString secondsStamp;
qint64 stampedSecond = -1;

/// As long as the end of the process may wait for lines to be written.
constexpr std::chrono::seconds finishBound(1);

constexpr qint32 logoIndex = 1;
constexpr qint32 logoCount = 30;

constexpr std::array<QLatin1StringView, 4> droppedTexts{
    QLatin1StringView("libpng warning: iCCP: known incorrect sRGB profile"),
    QLatin1StringView("libpng warning: profile matches sRGB but writing iCCP instead"),
    QLatin1StringView("libpng warning: known incorrect sRGB profile"),
    QLatin1StringView("Critical: WebSocket is already in CLOSING or CLOSED state."),
};

/// No line is queued after it.
void closeLogGate()
{
    const QMutexLocker locker(&handlerMutex);
    logGate.store(false, std::memory_order_relaxed);
}

/// Holds the one Logger from before main to static destruction.
struct LoggerOwner
{
    std::unique_ptr<Logger> logger = std::make_unique<Logger>();

    ~LoggerOwner()
    {
        closeLogGate();
        // A thread that would not end within its bound keeps what it works on: the process is
        // about to end, and taking the object away from under it would be worse.
        if (!logger->stop())
            static_cast<void>(logger.release());
    }
};

LoggerOwner loggerOwner;

QLatin1StringView levelWord(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return QLatin1StringView("Debug:");
    case QtWarningMsg:
        return QLatin1StringView("Warning:");
    case QtCriticalMsg:
        return QLatin1StringView("Critical:");
    case QtFatalMsg:
        return QLatin1StringView("Fatal:");
    case QtInfoMsg:
        return QLatin1StringView("Info:");
    }
    return QLatin1StringView("");
}

/// A directory of the application's data, made if it is missing, with a trailing separator.
QString ensureDataDirectory(QLatin1StringView name)
{
    QString path =
        QDir::toNativeSeparators(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
                                 QDir::separator() + name + QDir::separator());
    if (!QFile::exists(path))
        QDir().mkdir(path);
    return path;
}

void updateCache()
{
    const qint32 next = logoIndex + 1;
    QSettings cache(ensureDataDirectory(QLatin1StringView("data")) + "cache.ini",
                    QSettings::IniFormat);
    cache.setValue("Logo/index", next > logoCount ? 1 : next);
}

/// Runs when Qt's part of the application object begins to go. A thread that is delivering an event
/// then, as the log thread does for each line, would work on what is left of that object. Lines
/// that come later would not be delivered any more.
void endLog()
{
    closeLogGate();
    static_cast<void>(loggerOwner.logger->finish(finishBound)); // the owner's end tries once more
}

/// Opens the log once: a file that cannot be opened stays closed to the process's end.
void openLogOnce(Logger &logger)
{
    if (!logFilePath.isEmpty())
        return;
    const QString directory = ensureDataDirectory(QLatin1StringView("logs"));
    const QString stamp = QDateTime::currentDateTime().toString("yyyy-MM-dd-hh-mm-ss");
    logFilePath = directory + "log-" + stamp + ".txt";
    // Remembered here, because asking the logger for each line would wait for its disk.
    logFileOpen = logger.openFile(logFilePath) == 0;
    if (logFileOpen)
        qAddPostRoutine(endLog);
    updateCache();
}

/// Local time as "yyyy-MM-dd hh:mm:ss". Threads log until the process is gone, and Qt's locales,
/// which its own formatting asks, go before the log does.
QString stampOf(const QDateTime &moment)
{
    const QDate date = moment.date();
    const QTime time = moment.time();
    return QString::asprintf("%04d-%02d-%02d %02d:%02d:%02d", date.year(), date.month(), date.day(),
                             time.hour(), time.minute(), time.second());
}

/// The stamp of this second, made once in it: asking for local time may cost a look at the zone's
/// file. The handler's lock must be held.
const QString &currentStamp()
{
    const qint64 second = QDateTime::currentSecsSinceEpoch();
    if (second != stampedSecond) {
        secondsStamp = stampOf(QDateTime::currentDateTime());
        stampedSecond = second;
    }
    return secondsStamp;
}

QString formLine(QtMsgType type, const QString &message)
{
    return QLatin1Char('[') % currentStamp() % QLatin1StringView("] ") % levelWord(type) %
           QLatin1Char(' ') % message % QLatin1StringView("\r\n");
}

} // namespace

void messageHandler(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    // Held to the end, so that lines are queued in the order in which they were formed.
    const QMutexLocker locker(&handlerMutex);
    if (!logGate.load(std::memory_order_relaxed))
        return;
    Logger &logger = *loggerOwner.logger;
    openLogOnce(logger);
    if (!logFileOpen)
        return;
    if (std::find(droppedTexts.begin(), droppedTexts.end(), message) != droppedTexts.end())
        return;
    // Looked up by its name once, and not for every line.
    static const QMetaMethod logMessage = Logger::staticMetaObject.method(
        Logger::staticMetaObject.indexOfSlot("logMessage(QString)"));
    logMessage.invoke(&logger, Qt::QueuedConnection, Q_ARG(QString, formLine(type, message)));
}

void openLogGate()
{
    logGate.store(true, std::memory_order_relaxed);
}
