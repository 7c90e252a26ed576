// The private server that the test runs on, and the outside world of its clients.
#pragma once

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <csignal>

namespace privateserver
{
/// Runs a command to its end, at most thirty seconds; what it printed, empty on failure.
inline QString run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(30000) || process.exitCode() != 0)
        return {};
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

inline QString pactl(const QStringList &arguments)
{
    return run(QStringLiteral("pactl"), arguments);
}

/// Makes a null sink from outside; the module's number for unload().
inline QString loadSink(const QString &name, const QString &description)
{
    return pactl({"load-module", "module-null-sink", "sink_name=" + name,
                  "sink_properties=device.description=" + description});
}

inline void unload(const QString &module)
{
    pactl({"unload-module", module});
}

inline qint64 processId(const QString &daemon)
{
    QFile file(qEnvironmentVariable("PRIVATE_SERVER_DIR") + '/' + daemon + ".pid");
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toLongLong() : 0;
}

/// Ends all daemons in an orderly way.
inline void stop()
{
    QProcess::execute(PRIVATE_SERVER, {"--stop"});
}

/// Ends all daemons at once, leaving their sockets behind.
inline void kill()
{
    for (const char *daemon : {"pipewire", "wireplumber", "pipewire-pulse"}) {
        if (const qint64 process = processId(daemon); process > 0)
            ::kill(static_cast<pid_t>(process), SIGKILL);
    }
    stop(); // waits until they are gone
}

/// Starts the daemons with their usual endpoints; false if they did not come up.
inline bool start()
{
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(PRIVATE_SERVER, {"--start"});
    return process.waitForFinished(60000) && process.exitCode() == 0;
}

/// Descriptors that this process holds open.
inline int openDescriptors()
{
    return static_cast<int>(QDir("/proc/self/fd")
                                .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
                                .size());
}

/// Threads of this process.
inline int threads()
{
    return static_cast<int>(
        QDir("/proc/self/task").entryList(QDir::NoDotAndDotDot | QDir::Dirs).size());
}
} // namespace privateserver
