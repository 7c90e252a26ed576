#include "platform/pipewire/renderpath.h"

#include "platform/posix/events.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
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

/// A cycle that begins late does not end later: the graph keeps its clock.
nanoseconds untilNextCycle(pw_stream *stream, nanoseconds period) noexcept
{
    pw_time time{};
    timespec clock{};
    if (pw_stream_get_time_n(stream, &time, sizeof time) < 0 || time.now == 0 ||
        clock_gettime(CLOCK_MONOTONIC, &clock) != 0)
        return period;
    const nanoseconds now = std::chrono::seconds(clock.tv_sec) + nanoseconds(clock.tv_nsec);
    // The stream tells the start of this cycle or still of the one before.
    const nanoseconds gone = now - nanoseconds(time.now);
    return gone < nanoseconds(0) ? period : period - gone % period;
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
    if (soundlessFrames.fetch_add(frames) >= uint64_t(streamRate) * newSoundAfter / 1000) {
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
    const nanoseconds period(uint64_t(frames) * 1'000'000'000 / streamRate);
    if (!canDelay.load() ||
        !posix::setEventAfter(clientEvent(), untilNextCycle(stream, period) / 2))
        signalClient();
}

void RenderPath::setRunning(bool now)
{
    soundlessFrames.store(uint64_t(streamRate) * newSoundAfter / 1000);
    canDelay.store(now && posix::allowDelay(clientEvent()));
    StreamPath::setRunning(now);
    // The buffer is empty: a first event at once, which also makes a wait that has begun before
    // look at the event's timer from now on.
    if (now)
        signalClient();
}

void RenderPath::idle() noexcept
{
    isIdle.store(true);
    signalClient();
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

/// What the graph does not get is silence anyway: silence only fills up the next cycle, and never
/// stands before the sound that comes after it.
void RenderPath::limitSilence(UINT32 &frames) const
{
    const UINT32 quantum = grantedFrames.load(std::memory_order_relaxed);
    frames = std::min(frames, quantum - std::min(quantum, ring.available() / frameBytes));
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
    if (frames > 0 && !isSilent) {
        soundlessFrames.store(0);
        hasSounded.store(true);
    }
    if (std::exchange(drops, false)) {
        ring.discard();
        if (isIdle.load())
            return S_OK;
        keepNewest(frames);
    }
    if (isSilent) {
        limitSilence(frames);
        std::memset(staging.data(), 0, size_t(frames) * frameBytes);
    }
    ring.write(staging.data(), frames * frameBytes);
    return S_OK;
}
