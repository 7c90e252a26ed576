// What the tests of the microphone's capture share.
#pragma once

#include "engines/wasapimicrophonecapturer.h"
#include "tests/unit/engines/playerfixture.h"

#include <QSemaphore>

#include <atomic>
#include <memory>

/// A refusal of the platform, and how the log tells it of a run that is still wanted.
inline constexpr DWORD refused = 0x88890008;
inline const QString refusedText = QStringLiteral("\"-7776fff8\" true");
inline const QString endLine = QStringLiteral("Info: Capture microphone - end");

/// A test with a microphone on the simulated platform, and a capturer that is idle at first.
class CaptureTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

protected:
    /// Captures from the microphone; returns when the capture thread waits for sound.
    [[nodiscard]] simulated::CaptureStream start();
    /// The recorded calls of the capture thread and of players' threads.
    [[nodiscard]] static QStringList threadCalls();
    [[nodiscard]] static bool waitForLine(const LogCapture &log, const QString &line);

    QString microphone;
    QSharedPointer<WASAPIMicrophoneCapturer> capturer;
};

/// A player that takes what the capturer passes on.
struct Listener
{
    QSharedPointer<WASAPIAudioPlayer> player = playerfixture::makePlayer(0);
    simulated::RenderStream stream;

    Listener();
    /// Waits until as many bytes came through.
    QByteArray hear(qsizetype bytes);
};

/// Holds the first call of a name until a stop has asked the thread to end. What the hooks use
/// lives as long as they do.
class Hold
{
public:
    explicit Hold(const QString &call);
    [[nodiscard]] bool waitUntilHeld() { return state->entered.tryAcquire(1, 30000); }
    void endWithStop();

private:
    struct State
    {
        QSemaphore entered;
        QSemaphore leave;
        std::atomic<bool> isTaken{false};
    };
    std::shared_ptr<State> state = std::make_shared<State>();
};
