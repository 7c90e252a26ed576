#include "tests/unit/engines/capturetest.h"

using namespace playerfixture;

void CaptureTest::init()
{
    simulated::reset();
    microphone = simulated::addEndpoint({.name = "Microphone", .flow = eCapture});
    capturer = WASAPIMicrophoneCapturer::create();
}

void CaptureTest::cleanup()
{
    capturer.reset();
    QCOMPARE(simulated::leakReport(), QString());
}

simulated::CaptureStream CaptureTest::start()
{
    simulated::clearCalls();
    (void)capturer->restartCapture(microphone, "Microphone", 2);
    if (!simulated::waitForCall("WaitForMultipleObjects"))
        return {};
    return simulated::waitForCaptureStream(microphone);
}

QStringList CaptureTest::threadCalls()
{
    const QString workersOwn = "requestRealtimeScheduling fed"; // at any moment
    QStringList theirs;
    for (const simulated::Call &call : simulated::callRecords()) {
        if (call.thread != std::this_thread::get_id() && call.text != workersOwn)
            theirs.append(call.text);
    }
    return theirs;
}

bool CaptureTest::waitForLine(const LogCapture &log, const QString &line)
{
    return QTest::qWaitFor([&] { return log.lines().contains(line); }, 30000);
}

Listener::Listener()
{
    stream = openPlaying(*player, simulated::addEndpoint({.name = "Headset"}));
}

QByteArray Listener::hear(qsizetype bytes)
{
    (void)QTest::qWaitFor(
        [&] {
            stream.turn(stream.bufferFrames());
            return soundOf(stream).size() >= bytes;
        },
        30000);
    return soundOf(stream);
}

Hold::Hold(const QString &call)
{
    simulated::onCall(call, [shared = state] {
        if (shared->isTaken.exchange(true))
            return;
        shared->entered.release();
        shared->leave.acquire();
    });
}

void Hold::endWithStop()
{
    simulated::onCall("SetEvent", [shared = state] { shared->leave.release(); });
}
