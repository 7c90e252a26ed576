#include "platform/pipewire/capturepath.h"

#include <algorithm>

namespace
{
constexpr uint32_t largestPacket = 8192;
constexpr uint32_t ringFrames = 4 * largestPacket;
} // namespace

void CapturePath::prepare(const SampleFormat &format)
{
    frameBytes = format.frameBytes();
    grantedFrames.store(uint32_t(uint64_t(periodFrames) * format.sampleRate / periodRate));
    ring.resize(ringFrames * frameBytes);
    staging.resize(size_t(largestPacket) * frameBytes);
}

void CapturePath::reset()
{
    while (ring.read(staging.data(), uint32_t(staging.size())) != 0)
        ;
    stagedFrames = 0;
    isTaken = false;
}

void CapturePath::process(pw_stream *stream) noexcept
{
    pw_buffer *buffer = pw_stream_dequeue_buffer(stream);
    if (!buffer)
        return;
    const spa_data &data = buffer->buffer->datas[0];
    uint32_t frames = 0;
    if (data.data && data.chunk) {
        const uint32_t offset = std::min(data.chunk->offset, data.maxsize);
        frames = std::min(data.chunk->size, data.maxsize - offset) / frameBytes;
        // All or nothing: half a frame would exchange the channels of all that follows.
        if (ring.room() >= frames * frameBytes)
            ring.write(static_cast<const BYTE *>(data.data) + offset, frames * frameBytes);
    }
    pw_stream_queue_buffer(stream, buffer);
    if (frames == 0)
        return;
    grantedFrames.store(std::min(frames, largestPacket), std::memory_order_relaxed);
    if (isRunning())
        signalClient();
}

UINT32 CapturePath::bufferSize() const
{
    return ringFrames;
}

UINT32 CapturePath::padding() const
{
    return stagedFrames + ring.available() / frameBytes;
}

UINT32 CapturePath::nextPacketSize() const
{
    if (stagedFrames != 0)
        return stagedFrames;
    return std::min(ring.available() / frameBytes, grantedFrames.load(std::memory_order_relaxed));
}

HRESULT CapturePath::getBuffer(BYTE **data, UINT32 *frames, DWORD *flags)
{
    if (!data || !frames || !flags)
        return E_POINTER;
    *data = nullptr;
    *frames = 0;
    *flags = 0;
    if (isTaken)
        return AUDCLNT_E_OUT_OF_ORDER;
    if (isLost())
        return AUDCLNT_E_DEVICE_INVALIDATED;
    if (stagedFrames == 0)
        stagedFrames = ring.read(staging.data(), nextPacketSize() * frameBytes) / frameBytes;
    if (stagedFrames == 0)
        return AUDCLNT_S_BUFFER_EMPTY;
    isTaken = true;
    *data = staging.data();
    *frames = stagedFrames;
    return S_OK;
}

HRESULT CapturePath::releaseBuffer(UINT32 frames)
{
    if (!isTaken)
        return frames == 0 ? S_OK : AUDCLNT_E_OUT_OF_ORDER;
    // A packet is read whole, or left for the next GetBuffer.
    if (frames != 0 && frames != stagedFrames)
        return AUDCLNT_E_INVALID_SIZE;
    isTaken = false;
    if (frames != 0)
        stagedFrames = 0;
    return S_OK;
}
