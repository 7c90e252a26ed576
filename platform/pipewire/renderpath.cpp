#include "platform/pipewire/renderpath.h"

#include "platform/posix/events.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace
{
// The largest quantum of a graph, and room for a resampler that asks for more than one at once.
constexpr uint32_t largestBuffer = 4 * 8192;
// A resampler asks for a few frames more or less each time.
constexpr uint32_t resamplerSway = 16;
// So long a client must have been punctual, in seconds, to be trusted with half a cycle.
constexpr uint32_t probation = 10;
// Space that an idle endpoint offers, in milliseconds: all that its client can have gathered.
constexpr uint32_t idleSpace = 200;
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
    judgeClient(frames);
    grant(frames);
    if (isRunning())
        callClient(frames);
}

void RenderPath::judgeClient(uint32_t frames) noexcept
{
    const bool isLate = !hasAnswered.exchange(false) && hasEverAnswered.load();
    if (isLate)
        punctualFrames.store(0, std::memory_order_relaxed);
    else if (punctualFrames.load(std::memory_order_relaxed) < probation * streamRate)
        punctualFrames.fetch_add(frames, std::memory_order_relaxed);
}

void RenderPath::grant(uint32_t frames) noexcept
{
    const uint32_t before = grantedFrames.load(std::memory_order_relaxed);
    if (frames > before || frames + resamplerSway < before)
        grantedFrames.store(frames, std::memory_order_relaxed);
}

void RenderPath::callClient(uint32_t frames) noexcept
{
    const std::chrono::nanoseconds half(uint64_t(frames) * 1'000'000'000 / streamRate / 2);
    const bool isPunctual =
        punctualFrames.load(std::memory_order_relaxed) >= probation * streamRate;
    if (!isPunctual || !canDelay.load() || !posix::setEventAfter(clientEvent(), half))
        signalClient();
}

void RenderPath::setRunning(bool now)
{
    hasEverAnswered.store(false);
    punctualFrames.store(probation * streamRate);
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
    const uint32_t frames =
        drops ? streamRate * idleSpace / 1000 : grantedFrames.load(std::memory_order_relaxed);
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
    hasAnswered.store(true);
    hasEverAnswered.store(true);
    if ((flags & ~AUDCLNT_BUFFERFLAGS_SILENT) != 0)
        return E_INVALIDARG;
    if (!isRequested)
        return frames == 0 ? S_OK : AUDCLNT_E_OUT_OF_ORDER;
    if (frames > requested)
        return AUDCLNT_E_INVALID_SIZE;
    isRequested = false;
    if (std::exchange(drops, false)) {
        ring.discard();
        if (isIdle.load())
            return S_OK;
        keepNewest(frames);
    }
    const uint32_t bytes = frames * frameBytes;
    if (flags & AUDCLNT_BUFFERFLAGS_SILENT)
        std::memset(staging.data(), 0, bytes);
    ring.write(staging.data(), bytes);
    return S_OK;
}
