// The least that a route is made of: a reader thread on the Gaming speaker's device file, a queued
// call for each block, and a play thread on the target. Measures the platform without the program.
//
//   minimalroute TARGET-NODE [SECONDS]
//
// Prints "ready" when the route stands. At the end, or at SIGTERM, it prints what went wrong:
// silent fills between blocks and trimmed queues.
#include "platform/comptr.h"
#include "platform/pipewire/audiostream.h"
#include "platform/pipewire/card.h"
#include "platform/posix/events.h"
#include "platform/posix/handletable.h"
#include "platform/posix/taskmemory.h"
#include "realtime.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMutex>
#include <QThread>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <utility>

namespace
{
constexpr int priority = 40;
constexpr int frameBytes = 4;
constexpr qsizetype queueLimit = 11520; // 60 ms
constexpr DWORD blockBytes = 19200;

std::atomic<bool> stopping{false};

/// The queue between the blocks and the play thread, as long as the player's.
class Queue : public QObject
{
    Q_OBJECT
public slots:
    void play(const QByteArray &block)
    {
        const QMutexLocker locker(&mutex);
        // A fill that was too short matters only if the sound went on.
        if (!lastBlock.isValid() || lastBlock.restart() > 200)
            openShortFills = 0;
        lastBlock.start();
        shortFills += std::exchange(openShortFills, 0);
        bytes.append(block);
    }

public:
    /// Fills `frames` frames or as many as there are; returns their number.
    UINT32 take(BYTE *to, UINT32 frames)
    {
        const QMutexLocker locker(&mutex);
        if (bytes.size() > queueLimit) {
            ++trims;
            bytes.remove(0, bytes.size() - queueLimit);
        }
        const auto taken = std::min<UINT32>(frames, UINT32(bytes.size() / frameBytes));
        if (taken < frames)
            ++openShortFills;
        std::memcpy(to, bytes.constData(), size_t(taken) * frameBytes);
        bytes.remove(0, qsizetype(taken) * frameBytes);
        return taken;
    }

    int trims = 0;
    int shortFills = 0;

private:
    int openShortFills = 0;
    QMutex mutex;
    QByteArray bytes;
    QElapsedTimer lastBlock;
};

void readSpeaker(HANDLE file, Queue *queue)
{
    requestRealtime(priority);
    char buffer[blockBytes];
    while (!stopping) {
        DWORD count = 0;
        if (!ReadFile(file, buffer, blockBytes, &count, nullptr))
            return;
        if (count != 0)
            QMetaObject::invokeMethod(queue, "play", Qt::QueuedConnection,
                                      Q_ARG(QByteArray, QByteArray(buffer, int(count))));
    }
}

void playTarget(IAudioClient *client, IAudioRenderClient *render, HANDLE event, Queue *queue)
{
    requestRealtime(priority);
    while (!stopping && posix::waitForMultiple(1, &event, INFINITE) == WAIT_OBJECT_0) {
        UINT32 size = 0;
        UINT32 padding = 0;
        if (FAILED(client->GetBufferSize(&size)) || FAILED(client->GetCurrentPadding(&padding)))
            return;
        UINT32 frames = size - padding;
        BYTE *data = nullptr;
        if (frames == 0)
            continue;
        if (FAILED(render->GetBuffer(frames, &data)))
            return;
        const UINT32 taken = queue->take(data, frames);
        render->ReleaseBuffer(taken ? taken : frames, taken ? 0 : AUDCLNT_BUFFERFLAGS_SILENT);
    }
}

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "minimalroute: %s failed\n", what);
    std::exit(1);
}
} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc < 2)
        fail("reading the arguments");
    const Channel &game = *channelOfType(tavoriGame);
    if (FAILED(card::setShown(card::endpointOfNodeName(game.renderSuffix)->id, true)))
        fail("showing the speaker");
    const std::wstring path = deviceFilePath(0, game.fileSuffix).toStdWString();
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);

    ComPtr<IAudioClient> client;
    createAudioClient({argv[1], eRender, 48000, 2}, client.receive());
    const WAVEFORMATEX format{WAVE_FORMAT_PCM, 2, 48000, 192000, frameBytes, 16, 0};
    if (FAILED(client->Initialize(AUDCLNT_SHAREMODE_SHARED, AUDCLNT_STREAMFLAGS_EVENTCALLBACK, 0, 0,
                                  &format, nullptr)))
        fail("opening the target");
    HANDLE event = posix::createEvent(false, false);
    client->SetEventHandle(event);
    ComPtr<IAudioRenderClient> render;
    if (FAILED(client->GetService(IID_IAudioRenderClient, render.receiveVoid())))
        fail("getting the render client");

    QThread worker;
    Queue queue;
    queue.moveToThread(&worker);
    worker.start();
    QMetaObject::invokeMethod(&queue, [] { requestRealtime(priority); });
    const std::unique_ptr<QThread> player(
        QThread::create(playTarget, client.get(), render.get(), event, &queue));
    player->start(QThread::TimeCriticalPriority);
    client->Start();
    const std::unique_ptr<QThread> reader(QThread::create(readSpeaker, file, &queue));
    reader->start(QThread::TimeCriticalPriority);

    std::signal(SIGTERM, [](int) { stopping = true; });
    std::signal(SIGINT, [](int) { stopping = true; });
    std::puts("ready");
    std::fflush(stdout);
    const int seconds = argc > 2 ? std::atoi(argv[2]) : 1'000'000;
    for (int i = 0; i < seconds * 10 && !stopping; ++i)
        QThread::msleep(100);

    stopping = true;
    posix::setEvent(event);
    posix::closeHandle(file);
    player->wait();
    reader->wait();
    client->Stop();
    worker.quit();
    worker.wait();
    std::printf("short fills %d, trims %d\n", queue.shortFills, queue.trims);
    return 0;
}

#include "minimalroute.moc"
