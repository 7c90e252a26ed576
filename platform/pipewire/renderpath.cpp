#include "platform/pipewire/renderpath.h"

#include "platform/pipewire/cycletime.h"
#include "platform/posix/events.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

using std::chrono::nanoseconds;

namespace
{
// The largest quantum of a graph, and room for a resampler that asks for more than one at once.
constexpr uint32_t largestBuffer = 4 * 8192;
// A resampler asks for a few frames more or less each time.
constexpr uint32_t resamplerSway = 16;
// Space that an idle endpoint offers, in milliseconds: all that its client can have gathered.
constexpr uint32_t idleSpace = 200;
// So long must a backlog have been of no use to be cut, in milliseconds: at first, and at most.
constexpr uint32_t firstCutAfter = 500;
constexpr uint32_t laterCutAfter = 20 * 60 * 1000;
// After so long without sound from the client, in milliseconds, what comes is a new beginning.
constexpr uint32_t newSoundAfter = 5000;

/// On the clock that the graph tells its cycles by.
nanoseconds monotonicTime() noexcept
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

/// What is left of the stream's cycle, by the graph's clock.
nanoseconds leftOfCycle(pw_stream *stream, nanoseconds now, nanoseconds period) noexcept
{
    pw_time time{};
    if (pw_stream_get_time_n(stream, &time, sizeof time) < 0 || time.now == 0)
        return period;
    return untilNextCycle(nanoseconds(time.now), now, period);
}
} // namespace

void RenderPath::prepare(const SampleFormat &format)
{
    frameBytes = format.frameBytes();
    streamRate = format.sampleRate;
    const auto frames = uint32_t(uint64_t(periodFrames) * streamRate / periodRate);
    grantedFrames.store(frames);
    visibleFrames.store(frames);
    ring.resize(largestBuffer * frameBytes);
    staging.resize(size_t(largestBuffer) * frameBytes);
    const uint64_t framesPerSecond = streamRate;
    backlog = BacklogWatch(framesPerSecond * firstCutAfter / 1000,
                           framesPerSecond * laterCutAfter / 1000);
}

void RenderPath::reset()
{
    ring.discard();
    isRequested = false;
}

void RenderPath::process(pw_stream *stream) noexcept
{
    pw_buffer *buffer = pw_stream_dequeue_buffer(stream);
    if (!buffer)
        return;
    spa_data &data = buffer->buffer->datas[0];
    const uint32_t most = std::min(data.maxsize / frameBytes, largestBuffer);
    const auto frames =
        buffer->requested ? uint32_t(std::min<uint64_t>(buffer->requested, most)) : most;
    const uint32_t bytes = frames * frameBytes;
    const uint32_t taken = data.data ? ring.read(data.data, bytes) : 0;
    if (data.data)
        std::memset(static_cast<BYTE *>(data.data) + taken, 0, bytes - taken);
    data.chunk->offset = 0;
    data.chunk->stride = int32_t(frameBytes);
    data.chunk->size = bytes;
    buffer->size = frames;
    pw_stream_queue_buffer(stream, buffer);

    isIdle.store(false);
    cutBacklog(frames);
    grant(frames);
    if (isRunning())
        callClient(stream, frames);
}

void RenderPath::cutBacklog(uint32_t frames) noexcept
{
    soundlessFrames.fetch_add(frames);
    if (isSoundless()) {
        backlog.restart();
        return;
    }
    const uint32_t left = ring.available() / frameBytes;
    ring.skip(backlog.surplusAfter(frames, left) * frameBytes);
}

void RenderPath::grant(uint32_t frames) noexcept
{
    const uint32_t before = grantedFrames.load(std::memory_order_relaxed);
    if (frames > before || frames + resamplerSway < before)
        grantedFrames.store(frames, std::memory_order_relaxed);
}

void RenderPath::callClient(pw_stream *stream, uint32_t frames) noexcept
{
    if (frames == 0 || !canDelay.load()) {
        signalClient();
        return;
    }
    const nanoseconds period(uint64_t(frames) * 1'000'000'000 / streamRate);
    const nanoseconds now = monotonicTime();
    const nanoseconds left = leftOfCycle(stream, now, period);
    cycleEnd.store((now + left).count());
    mayCallAgain.store(true);
    if (!posix::setEventAfter(clientEvent(), std::max(left / 4, nanoseconds(1))))
        signalClient();
}

void RenderPath::callAgain() noexcept
{
    if (!isRunning() || isSoundless() || !mayCallAgain.exchange(false))
        return;
    const nanoseconds left = nanoseconds(cycleEnd.load()) - monotonicTime();
    if (left.count() > 0)
        posix::setEventAfter(clientEvent(), left / 2);
}

void RenderPath::setRunning(bool now)
{
    soundlessFrames.store(0);
    canDelay.store(now && posix::allowDelay(clientEvent()));
    mayCallAgain.store(false);
    StreamPath::setRunning(now);
    // The buffer is empty: a first event at once, which also makes a wait that has begun before
    // look at the event's timer from now on.
    if (now)
        signalClient();
}

void RenderPath::idle(std::chrono::milliseconds elapsed) noexcept
{
    soundlessFrames.fetch_add(uint64_t(streamRate) * uint64_t(elapsed.count()) / 1000);
    isIdle.store(true);
    signalClient();
}

bool RenderPath::isSoundless() const noexcept
{
    return soundlessFrames.load() >= uint64_t(streamRate) * newSoundAfter / 1000;
}

UINT32 RenderPath::bufferSize()
{
    drops = drops || isIdle.load();
    const uint32_t quantum = grantedFrames.load(std::memory_order_relaxed);
    const uint32_t frames =
        drops ? streamRate * idleSpace / 1000 : std::min(2 * quantum, largestBuffer);
    visibleFrames.store(frames, std::memory_order_relaxed);
    return frames;
}

UINT32 RenderPath::padding() const
{
    if (drops)
        return 0;
    return std::min(ring.available() / frameBytes, visibleFrames.load(std::memory_order_relaxed));
}

HRESULT RenderPath::getBuffer(UINT32 frames, BYTE **data)
{
    if (!data)
        return E_POINTER;
    *data = nullptr;
    if (isRequested)
        return AUDCLNT_E_OUT_OF_ORDER;
    if (isLost())
        return AUDCLNT_E_DEVICE_INVALIDATED;
    // Against what the client was told, not against a quantum that has changed since.
    if (frames > visibleFrames.load(std::memory_order_relaxed) - padding())
        return AUDCLNT_E_BUFFER_TOO_LARGE;
    requested = frames;
    isRequested = frames != 0;
    *data = frames != 0 ? staging.data() : nullptr;
    return S_OK;
}

/// Leaves in the staging buffer what the next cycle takes, and makes `frames` that many.
void RenderPath::keepNewest(UINT32 &frames)
{
    const UINT32 kept = std::min(frames, grantedFrames.load(std::memory_order_relaxed));
    std::memmove(staging.data(), staging.data() + size_t(frames - kept) * frameBytes,
                 size_t(kept) * frameBytes);
    frames = kept;
}

HRESULT RenderPath::releaseBuffer(UINT32 frames, DWORD flags)
{
    if ((flags & ~AUDCLNT_BUFFERFLAGS_SILENT) != 0)
        return E_INVALIDARG;
    if (!isRequested)
        return frames == 0 ? S_OK : AUDCLNT_E_OUT_OF_ORDER;
    if (frames > requested)
        return AUDCLNT_E_INVALID_SIZE;
    isRequested = false;
    const bool isSilent = (flags & AUDCLNT_BUFFERFLAGS_SILENT) != 0;
    if (frames > 0 && !isSilent)
        soundlessFrames.store(0);
    if (std::exchange(drops, false)) {
        ring.discard();
        if (isIdle.load())
            return S_OK;
        keepNewest(frames);
    }
    // What the graph does not get is silence anyway, which thus never stands before the sound that
    // comes after it.
    if (isSilent)
        callAgain();
    else
        ring.write(staging.data(), frames * frameBytes);
    return S_OK;
}
