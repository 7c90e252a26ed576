// The log file and the thread that writes it.
#pragma once

#include <QFile>
#include <QMutex>
#include <QObject>
#include <QTextStream>

#include <chrono>
#include <memory>

/// Owns the log file and writes it on a thread of its own, so that nobody who logs waits for
/// the disk. The public functions may be called from any thread but that one.
class Logger : public QObject
{
    Q_OBJECT

public:
    /// Moves itself to its thread and starts that.
    Logger();
    ~Logger() override;

    /// Opens the file and empties it: 0 done (also when it was the current path already),
    /// -1 the logger is stopped, -2 the file cannot be opened.
    int openFile(const QString &path);
    [[nodiscard]] bool isOpen();

    /// Ends the writing: lines that are still queued are lost. False when the thread could not
    /// be ended within its bound; the object must then stay, since the thread still uses it.
    [[nodiscard]] bool stop();
    /// The same when what is queued now is written, or the time is over. A logger that was never
    /// opened writes nothing, and uses the time up.
    [[nodiscard]] bool finish(std::chrono::milliseconds longest);

public slots:
    /// Writes one line and flushes it; invoked by its name. Runs on the log thread, whose queue
    /// is served from the first openFile() on: at once, but in a flood of lines a few ms apart.
    void logMessage(QString message);

private:
    class LogThread;

    std::unique_ptr<LogThread> logThread;
    bool stopped = false;
    QMutex mutex; ///< Guards `stopped`, `file` and `stream`.
    QFile file;
    QTextStream stream; ///< On the file; kept, since making one costs more than a line.
};
