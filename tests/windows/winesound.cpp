// The engines and the endpoint monitor on the system's real audio, for a test that listens from
// outside.
//
//   winesound list                             the endpoints, as one JSON object
//   winesound play OUTPUT HERTZ SECONDS        a sine tone, half the full scale
//   winesound replay OUTPUT HERTZ SECONDS      the same, after others that played its octave
//   winesound capture INPUT OUTPUT SECONDS     passes a microphone on
//
// Endpoints go by their names. Playing and capturing end early when the standard input ends. COM
// stands as in Quorvane: the main thread is an apartment of its own, in which all are made.
#include "endpoints/systemsoundmonitor.h"
#include "engines/wasapiaudioplayer.h"
#include "engines/wasapimicrophonecapturer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTimer>

#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>
#include <thread>

namespace
{

constexpr int rate = 48000;
constexpr int channels = 2;
constexpr int frameBytes = channels * sizeof(qint16);

struct EndMonitor
{
    void operator()(SystemSoundMonitor *monitor) const { SystemSoundMonitor::end(monitor); }
};
using Monitor = std::unique_ptr<SystemSoundMonitor, EndMonitor>;

/// Empty if no endpoint has the name.
QString idOf(const QJsonArray &infos, const QString &name)
{
    for (const QJsonValue info : infos) {
        if (info["deviceName"].toString() == name)
            return info["deviceID"].toString();
    }
    std::fprintf(stderr, "no endpoint \"%s\"\n", qPrintable(name));
    return {};
}

void list(SystemSoundMonitor &monitor)
{
    const QJsonObject all{{"outputs", monitor.getOutputDeviceInfos()},
                          {"inputs", monitor.getInputDeviceInfos()},
                          {"defaultOutput", monitor.getDefaultOutputDeviceInfo()},
                          {"defaultInput", monitor.getDefaultInputDeviceInfo()}};
    std::puts(QJsonDocument(all).toJson(QJsonDocument::Compact).constData());
}

/// A second of the tone, twice, so that any second's beginning is in one piece.
QByteArray tone(int hertz)
{
    QByteArray second(rate * frameBytes, Qt::Uninitialized);
    auto *sample = reinterpret_cast<qint16 *>(second.data());
    for (int frame = 0; frame < rate; ++frame) {
        const double angle = 2 * std::numbers::pi * hertz * frame / rate;
        for (int channel = 0; channel < channels; ++channel)
            *sample++ = static_cast<qint16>(std::lround(16384 * std::sin(angle)));
    }
    return second + second;
}

int runFor(int seconds)
{
    QTimer::singleShot(seconds * 1000, qApp, &QCoreApplication::quit);
    // A read cannot be given up: the thread ends with the program.
    std::thread([] {
        while (std::getchar() != EOF)
            continue;
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    }).detach();
    return QCoreApplication::exec();
}

int play(SystemSoundMonitor &monitor, const QString &output, int hertz, int seconds)
{
    const QString id = idOf(monitor.getOutputDeviceInfos(), output);
    if (id.isEmpty())
        return 1;
    const auto player = WASAPIAudioPlayer::create();
    player->setMaximumAudioDataDuration(60);
    player->openDevice(id, output);

    const QByteArray sound = tone(hertz);
    QElapsedTimer clock;
    clock.start();
    qint64 played = 0;
    QTimer feed;
    feed.setTimerType(Qt::PreciseTimer);
    // 20 ms ahead of the clock, which the player's queue has room for.
    QObject::connect(&feed, &QTimer::timeout, &feed, [&] {
        const qint64 due = clock.elapsed() * rate / 1000 + rate / 50;
        const qint64 frames = qMin(due - played, qint64(rate));
        QMetaObject::invokeMethod(
            player.get(), "play", Qt::QueuedConnection,
            Q_ARG(QByteArray, sound.mid(played % rate * frameBytes, frames * frameBytes)),
            Q_ARG(int, rate), Q_ARG(int, channels));
        played = due;
    });
    feed.start(10);
    const int code = runFor(seconds);
    player->closeDevice();
    return code;
}

/// More of them than the main thread has initialised COM: each takes one back at its end.
int replay(SystemSoundMonitor &monitor, const QString &output, int hertz, int seconds)
{
    constexpr int others = 4;
    for (int other = 0; other < others; ++other) {
        const int code = play(monitor, output, 2 * hertz, 1);
        if (code != 0)
            return code;
    }
    return play(monitor, output, hertz, seconds);
}

int capture(SystemSoundMonitor &monitor, const QString &input, const QString &output, int seconds)
{
    const QString inputId = idOf(monitor.getInputDeviceInfos(), input);
    const QString outputId = idOf(monitor.getOutputDeviceInfos(), output);
    if (inputId.isEmpty() || outputId.isEmpty())
        return 1;
    const auto player = WASAPIAudioPlayer::create();
    player->setMaximumAudioDataDuration(60);
    player->openDevice(outputId, output);
    const auto capturer = WASAPIMicrophoneCapturer::create();
    capturer->setAudioOutput(player);
    capturer->restartCapture(inputId, input, channels);
    const int code = runFor(seconds);
    capturer->stopCapture();
    player->closeDevice();
    return code;
}

int run(const QStringList &arguments)
{
    const Monitor monitor(new SystemSoundMonitor(true));
    const QString command = arguments.value(1);
    if (command == "list") {
        list(*monitor);
        return 0;
    }
    if (command == "play" && arguments.size() == 5)
        return play(*monitor, arguments[2], arguments[3].toInt(), arguments[4].toInt());
    if (command == "replay" && arguments.size() == 5)
        return replay(*monitor, arguments[2], arguments[3].toInt(), arguments[4].toInt());
    if (command == "capture" && arguments.size() == 5)
        return capture(*monitor, arguments[2], arguments[3], arguments[4].toInt());
    std::fputs("winesound: see the head of its source\n", stderr);
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)))
        return 1;
    const QCoreApplication application(argc, argv);
    const int code = run(QCoreApplication::arguments());
    CoUninitialize();
    return code;
}
