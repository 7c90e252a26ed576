#include "app/logger.h"

#include "platform/signalstack.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEvent>
#include <QMutexLocker>
#include <QSemaphore>
#include <QStringConverter>
#include <QThread>

#include <algorithm>
#include <chrono>

using namespace std::chrono_literals;

namespace
{

constexpr unsigned long stopBoundMs = 100;

/// A turn of writing takes what is queued until the log thread would sleep. Each is a wake-up of
/// that thread, and so takes from those who log as much as answering a command does. This many
/// turns have no pause between them ...
constexpr int turnsInARow = 500;
/// ... and where lines still keep coming, they gather for so long from turn to turn. A process that
/// ends in the midst of a flood loses what has gathered.
constexpr auto turnInterval = 5ms;

} // namespace

/// Starts with static initialisation, long before the application object that an event loop of
/// Qt asks for; so it enters its loop when there is something to do.
class Logger::LogThread : public QThread
{
public:
    void enterLoop() { loopEntered.release(); }

protected:
    void run() override
    {
        SignalStack::provide();
        loopEntered.acquire();
        connect(
            eventDispatcher(), &QAbstractEventDispatcher::aboutToBlock, this,
            [this] { pauseIfFlooded(); }, Qt::DirectConnection);
        exec();
    }

private:
    using Clock = std::chrono::steady_clock;

    void pauseIfFlooded()
    {
        const Clock::time_point now = Clock::now();
        evenTurns = std::max(evenTurns, now) + turnInterval;
        if (evenTurns - now > turnsInARow * turnInterval)
            msleep(turnInterval.count());
    }

    QSemaphore loopEntered;
    Clock::time_point evenTurns; ///< When the turns so far would be over, had each its interval.
};

Logger::Logger() : logThread(std::make_unique<LogThread>())
{
    moveToThread(logThread.get());
    logThread->start(QThread::InheritPriority);
}

Logger::~Logger()
{
    // The thread works on this object: whoever destroys it regardless must wait for that.
    if (!stop())
        logThread->wait();
}

int Logger::openFile(const QString &path)
{
    const QMutexLocker locker(&mutex);
    if (stopped)
        return -1;
    if (file.fileName() == path)
        return 0;
    if (file.isOpen()) {
        file.flush();
        file.close();
    }
    logThread->enterLoop();
    file.setFileName(path);
    if (!file.open(QIODevice::ReadWrite))
        return -2;
    file.resize(0);
    stream.setDevice(&file);
    stream.setEncoding(QStringConverter::Utf8);
    return 0;
}

bool Logger::isOpen()
{
    const QMutexLocker locker(&mutex);
    return file.isOpen();
}

bool Logger::stop()
{
    {
        const QMutexLocker locker(&mutex);
        stopped = true;
    }
    // A long queue of lines that are lost anyway must not use the bound up.
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
    logThread->quit();
    logThread->enterLoop();
    return logThread->wait(stopBoundMs);
}

bool Logger::finish(std::chrono::milliseconds longest)
{
    QMetaObject::invokeMethod(
        this, [this] { logThread->quit(); }, Qt::QueuedConnection);
    logThread->wait(QDeadlineTimer(longest));
    return stop();
}

void Logger::logMessage(QString message)
{
    const QMutexLocker locker(&mutex);
    if (stopped || !file.isOpen())
        return;
    stream.resetStatus(); // or one line that found no room would be the last
    stream << message;
    stream.flush(); // and with it the file
}
