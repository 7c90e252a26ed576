#include "servertools.h"

#include <QFile>
#include <QTemporaryDir>

#include <signal.h>

#include <cmath>
#include <cstdlib>
#include <numbers>

namespace
{
constexpr int commandTimeout = 10'000;
constexpr int sampleRate = 48000;
constexpr int toneSeconds = 30;

QTemporaryDir &folder()
{
    static QTemporaryDir directory;
    return directory;
}

bool lists(const char *kind, const QString &name)
{
    const auto lines = servertools::run("pactl", {"list", "short", kind}).split('\n');
    for (const QByteArray &line : lines)
        if (line.split('\t').value(1) == name.toUtf8())
            return true;
    return false;
}

bool runScript(const char *option)
{
    return servertools::succeeds(QUORVANE_SOURCE "/scripts/private-server.sh", {option});
}
} // namespace

QByteArray servertools::run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(commandTimeout) || process.exitCode() != 0)
        return {};
    return process.readAllStandardOutput();
}

bool servertools::succeeds(const QString &program, const QStringList &arguments)
{
    QProcess process;
    // The server's daemons must not hold our pipes.
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(program, arguments);
    return process.waitForFinished(2 * commandTimeout) && process.exitCode() == 0;
}

bool servertools::hasSink(const QString &name)
{
    return lists("sinks", name);
}

bool servertools::hasSource(const QString &name)
{
    return lists("sources", name);
}

servertools::Application::Application(const QString &program, const QStringList &arguments)
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    process.waitForStarted(commandTimeout);
}

servertools::Application::~Application()
{
    end();
}

void servertools::Application::end()
{
    if (process.state() == QProcess::NotRunning)
        return;
    ::kill(pid_t(process.processId()), SIGINT);
    if (!process.waitForFinished(commandTimeout)) {
        process.kill();
        process.waitForFinished(commandTimeout);
    }
}

QString servertools::toneFile(int peak)
{
    const QString raw = folder().filePath(QStringLiteral("tone%1.raw").arg(peak));
    const QString path = folder().filePath(QStringLiteral("tone%1.wav").arg(peak));
    if (QFile::exists(path))
        return path;
    QFile file(raw);
    if (!file.open(QFile::WriteOnly))
        return {};
    for (int i = 0; i < toneSeconds * sampleRate; ++i) {
        const double phase = 2 * std::numbers::pi * 440 * i / sampleRate;
        const auto sample = qint16(std::lround(peak * std::sin(phase)));
        const qint16 frame[2] = {sample, sample};
        file.write(reinterpret_cast<const char *>(frame), sizeof frame);
    }
    file.close();
    run("sox", {"-t", "raw", "-r", "48000", "-e", "signed", "-b", "16", "-c", "2", raw, path});
    return path;
}

int servertools::peakOfSource(const QString &source, double seconds)
{
    const QString path = folder().filePath("recorded.raw");
    QFile::remove(path);
    run("timeout",
        {"--preserve-status", "-s", "INT", QString::number(seconds), "parecord", "-d", source,
         "--raw", "--latency-msec=20", "--format=s16le", "--rate=48000", "--channels=2", path});
    QFile file(path);
    if (!file.open(QFile::ReadOnly))
        return -1;
    const QByteArray bytes = file.readAll();
    if (bytes.size() < 4 * sampleRate / 10)
        return -1;
    const auto *samples = reinterpret_cast<const qint16 *>(bytes.constData());
    int peak = 0;
    for (qsizetype i = 0; i < bytes.size() / 2; ++i)
        peak = std::max(peak, std::abs(int(samples[i])));
    return peak;
}

bool servertools::startServer()
{
    // pipewire-pulse answers a moment before it can load modules.
    return runScript("--start") || (stopServer() && runScript("--start"));
}

bool servertools::stopServer()
{
    return runScript("--stop");
}

bool servertools::killServer()
{
    QFile file(qEnvironmentVariable("PRIVATE_SERVER_DIR") + "/pipewire.pid");
    if (!file.open(QFile::ReadOnly))
        return false;
    const bool killed = ::kill(file.readAll().trimmed().toInt(), SIGKILL) == 0;
    return killed && stopServer();
}
