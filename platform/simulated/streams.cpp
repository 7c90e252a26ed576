#include "platform/simulated/streams.h"

#include "platform/posix/events.h"
#include "platform/simulated/immortal.h"
#include "platform/simulated/streamstate.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace simulated
{

namespace
{

struct Streams
{
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::shared_ptr<StreamState>> enlisted;
};

std::vector<std::shared_ptr<StreamState>> &enlisted()
{
    return immortal<Streams>().enlisted;
}

template <typename Answer>
Answer ask(const std::shared_ptr<StreamState> &state, Answer StreamState::*member)
{
    if (!state)
        return {};
    const std::lock_guard lock(streamMutex());
    return (*state).*member;
}

/// Signals the event of a stream. Call with the lock held, release it after: the client may close
/// its event at any time, and a closed handle is refused.
void turnClock(StreamState &state)
{
    state.releasesAtTurn = state.releases;
    posix::setEvent(state.event);
}

template <typename Kind>
QList<Kind> streamsOf(const QString &endpointId, EDataFlow flow, bool startedOnly)
{
    QList<Kind> found;
    for (const auto &stream : enlisted()) {
        if (stream->open && stream->flow == flow && stream->endpointId == endpointId &&
            (stream->started || !startedOnly))
            found.append(Kind(stream));
    }
    return found;
}

template <typename Kind>
Kind waitForStream(const QString &endpointId, EDataFlow flow, int timeoutMs)
{
    std::unique_lock lock(streamMutex());
    QList<Kind> found;
    streamsChanged().wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        found = streamsOf<Kind>(endpointId, flow, true);
        return !found.isEmpty();
    });
    return found.isEmpty() ? Kind() : found.last();
}

} // namespace

std::mutex &streamMutex()
{
    return immortal<Streams>().mutex;
}

std::condition_variable &streamsChanged()
{
    return immortal<Streams>().changed;
}

void enlistStream(const std::shared_ptr<StreamState> &stream)
{
    enlisted().push_back(stream);
    streamsChanged().notify_all();
}

void invalidateStreams(const QString &endpointId)
{
    const std::lock_guard lock(streamMutex());
    for (const auto &stream : enlisted()) {
        if (stream->endpointId == endpointId)
            stream->invalidated = true;
    }
}

void resetStreams()
{
    const std::lock_guard lock(streamMutex());
    enlisted().clear();
}

QString Stream::endpointId() const
{
    return state ? state->endpointId : QString();
}

bool Stream::isOpen() const
{
    return ask(state, &StreamState::open);
}

bool Stream::isStarted() const
{
    return ask(state, &StreamState::started);
}

StreamSetup Stream::setup() const
{
    return ask(state, &StreamState::setup);
}

UINT32 Stream::bufferFrames() const
{
    return ask(state, &StreamState::bufferFrames);
}

void Stream::signalEvent()
{
    if (!state)
        return;
    const std::lock_guard lock(streamMutex());
    turnClock(*state);
}

bool Stream::waitForRelease(int timeoutMs)
{
    if (!state)
        return false;
    std::unique_lock lock(streamMutex());
    return streamsChanged().wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                     [&] { return state->releases > state->releasesAtTurn; });
}

UINT32 RenderStream::padding() const
{
    if (!state)
        return 0;
    const std::lock_guard lock(streamMutex());
    return state->padding();
}

QByteArray RenderStream::consume(UINT32 frames)
{
    if (!state)
        return {};
    const std::lock_guard lock(streamMutex());
    const qsizetype bytes = std::min<qsizetype>(
        static_cast<qsizetype>(frames) * state->frameBytes(), state->queue.size());
    const QByteArray played = state->queue.first(bytes);
    state->queue.remove(0, bytes);
    turnClock(*state);
    return played;
}

QByteArray RenderStream::turn(UINT32 frames, bool *answered)
{
    const QByteArray played = consume(frames);
    const bool released = waitForRelease();
    if (answered)
        *answered = released;
    return played;
}

QList<ReleasedBuffer> RenderStream::releasedBuffers() const
{
    if (!state)
        return {};
    const std::lock_guard lock(streamMutex());
    return {state->released.begin(), state->released.end()};
}

void RenderStream::clearReleasedBuffers()
{
    if (!state)
        return;
    const std::lock_guard lock(streamMutex());
    state->released.clear();
}

void CaptureStream::pushPacket(const QByteArray &data, DWORD flags)
{
    queuePacket(data, flags);
    signalEvent();
}

void CaptureStream::queuePacket(const QByteArray &data, DWORD flags)
{
    if (!state)
        return;
    const std::lock_guard lock(streamMutex());
    const int frameBytes = std::max(state->frameBytes(), 1);
    const auto frames = static_cast<UINT32>(data.size() / frameBytes);
    // A copy of its own, since the client is handed a pointer that it may write through.
    const QByteArray own(data.constData(), data.size());
    state->packets.push_back({own, flags, frames, state->framesHeard});
    state->framesHeard += frames;
}

qsizetype CaptureStream::pendingPackets() const
{
    if (!state)
        return 0;
    const std::lock_guard lock(streamMutex());
    return static_cast<qsizetype>(state->packets.size());
}

QList<RenderStream> renderStreams(const QString &endpointId)
{
    const std::lock_guard lock(streamMutex());
    return streamsOf<RenderStream>(endpointId, eRender, false);
}

QList<CaptureStream> captureStreams(const QString &endpointId)
{
    const std::lock_guard lock(streamMutex());
    return streamsOf<CaptureStream>(endpointId, eCapture, false);
}

RenderStream waitForRenderStream(const QString &endpointId, int timeoutMs)
{
    return waitForStream<RenderStream>(endpointId, eRender, timeoutMs);
}

CaptureStream waitForCaptureStream(const QString &endpointId, int timeoutMs)
{
    return waitForStream<CaptureStream>(endpointId, eCapture, timeoutMs);
}

} // namespace simulated
