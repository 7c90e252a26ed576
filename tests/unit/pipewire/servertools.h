// What the tests need of the world around the program: commands, applications and sound files.
#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>

namespace servertools
{
/// Runs a command to its end, ten seconds at most; what it printed, or empty when it failed.
QByteArray run(const QString &program, const QStringList &arguments);
/// The same, and whether it succeeded.
bool succeeds(const QString &program, const QStringList &arguments);

/// Whether pactl lists a sink (or a source) of this name.
bool hasSink(const QString &name);
bool hasSource(const QString &name);

/// Starts a command that is ended when the object goes.
class Application
{
public:
    Application(const QString &program, const QStringList &arguments);
    ~Application();

    /// Asks it to end (SIGINT, so that recorders finish their files) and waits.
    void end();

private:
    QProcess process;
};

/// The path of a 16-bit stereo file of 30 seconds, made once: a 440 Hz sine of this peak.
QString toneFile(int peak);
constexpr int tonePeak = 30000;

/// Records the source for so many seconds; the largest absolute sample of 16 bits, or -1 when
/// hardly anything was recorded.
int peakOfSource(const QString &source, double seconds);

/// The script that starts and stops the private server's daemons.
bool startServer();
bool stopServer();
/// Kills the server's process without a chance to say goodbye.
bool killServer();
} // namespace servertools
