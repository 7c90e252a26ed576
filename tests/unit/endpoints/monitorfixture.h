// What the tests of SystemSoundMonitor share.
#pragma once

#include "endpoints/systemsoundmonitor.h"
#include "platform/simulated/simulated.h"
#include "tests/support/logcapture.h"

#include <QTest>

#include <future>
#include <memory>
#include <vector>

/// A failure as failNext takes it and as the log tells it.
inline constexpr quint32 someFailure = 0x80004005;
inline const QString someFailureText = "\"-7fffbffb\"";
inline const QString notFoundText = "\"-7ff8fb70\"";

/// An ID that no endpoint has.
inline const QString unknownID = "{0.0.0.00000000}.{00000000-0000-4000-8000-00000000dead}";

/// Gathers the signals of a monitor on the test's thread, in the order of their raising, as
/// "sigDeviceAdded(id)" and "sigDeviceStateChanged(id, muted, 50%)".
class SignalRecord : public QObject
{
    Q_OBJECT

public:
    explicit SignalRecord(SystemSoundMonitor &monitor);

    /// Everything since the last call, when all that is under way has arrived.
    [[nodiscard]] QStringList take();
    /// The context of the latest level signal.
    [[nodiscard]] GUID lastContext() const { return context; }

private:
    SystemSoundMonitor &monitor;
    QStringList texts;
    GUID context{};
};

/// A simulated system with two outputs and a microphone, and a log that is caught.
class MonitorFixture
{
public:
    MonitorFixture();

    /// Makes the monitor under test.
    SystemSoundMonitor &start(bool useWorkerThread = true);
    /// The same; forgets the calls and the lines of its start.
    SystemSoundMonitor &startQuietly();
    /// Adds an output that the platform knows and the monitor does not watch: 75 percent, muted.
    QString addUnmonitored();
    /// Ends the monitor.
    void stop();

    QString speakers;   ///< the default output: 50 percent, audible
    QString headset;    ///< the other output: 100 percent, muted
    QString microphone; ///< the default input: 25 percent, audible
    LogCapture log;
    std::shared_ptr<SystemSoundMonitor> monitor;
    std::unique_ptr<SignalRecord> received;
};

/// Tells, from inside a platform call, whether another thread could use the monitor's list now.
class LockProbe
{
public:
    enum Expected
    {
        Free,
        Held
    };

    /// What is expected tells which answer to wait for.
    LockProbe(SystemSoundMonitor &monitor, Expected expected) : monitor(monitor), expected(expected)
    {
    }

    /// Looks now.
    void look();
    /// Looks each time the platform gets this call.
    void lookDuring(const QString &call);
    /// What was found so far, in order.
    [[nodiscard]] QList<bool> free();

private:
    SystemSoundMonitor &monitor;
    const Expected expected;
    QList<bool> found;
    std::vector<std::future<bool>> readers;
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);
};

/// The recorded calls of these names, in order.
[[nodiscard]] QStringList callsNamed(const QStringList &names);
