// Runs of quorvanectl, and what came of them.
#pragma once

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QTest>

enum ExitCode
{
    Ok = 0,
    NoOutput = 1,
    Usage = 2,
    NotListening = 3,
    NoSuchEndpoint = 4,
    Ambiguous = 5,
    Refused = 6,
    TimedOut = 7
};

inline constexpr int patience = 60'000;
struct Outcome
{
    int code = -1;
    QString out;
    QString err;

    [[nodiscard]] QStringList lines() const { return out.split('\n', Qt::SkipEmptyParts); }
    [[nodiscard]] QJsonObject json() const
    {
        return QJsonDocument::fromJson(out.toUtf8()).object();
    }
};

/// A run of the client that a test can talk to.
class Run
{
public:
    explicit Run(const QStringList &arguments) { process.start(QUORVANECTL, arguments); }

    bool waitForLines(int count)
    {
        return QTest::qWaitFor(
            [&] {
                out += process.readAllStandardOutput();
                return out.count('\n') >= count;
            },
            patience);
    }

    Outcome finish()
    {
        if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, patience))
            process.kill();
        process.waitForFinished();
        if (process.exitStatus() != QProcess::NormalExit)
            return {};
        out += process.readAllStandardOutput();
        return {process.exitCode(), QString::fromUtf8(out),
                QString::fromUtf8(process.readAllStandardError())};
    }

    QProcess process;

private:
    QByteArray out;
};
