#include "platform/simulated/objects.h"
#include "platform/simulated/recordedobject.h"
#include "platform/simulated/streamstate.h"

namespace simulated
{

namespace
{

constexpr HRESULT bufferEmpty = 0x08890001; // AUDCLNT_S_BUFFER_EMPTY

void noteRelease(StreamState &stream)
{
    ++stream.releases;
    streamsChanged().notify_all();
}

class RenderClient final : public RecordedObject<IAudioRenderClient>
{
public:
    explicit RenderClient(std::shared_ptr<StreamState> stream)
        : RecordedObject("IAudioRenderClient", stream->endpointId), stream(std::move(stream))
    {
    }

    HRESULT STDMETHODCALLTYPE GetBuffer(UINT32 NumFramesRequested, BYTE **ppData) override
    {
        if (!ppData)
            return E_POINTER;
        *ppData = nullptr;
        if (const auto fault = called("GetBuffer", QString::number(NumFramesRequested)))
            return *fault;
        const std::lock_guard lock(streamMutex());
        if (stream->invalidated)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        if (stream->bufferTaken)
            return AUDCLNT_E_OUT_OF_ORDER;
        if (NumFramesRequested == 0)
            return S_OK;
        if (NumFramesRequested > stream->bufferFrames - stream->padding())
            return AUDCLNT_E_BUFFER_TOO_LARGE;
        stream->bufferTaken = true;
        stream->framesTaken = NumFramesRequested;
        // Not zeros: a client that leaves part of the buffer unwritten is to be heard.
        stream->buffer.fill('\x55',
                            static_cast<qsizetype>(NumFramesRequested) * stream->frameBytes());
        *ppData = reinterpret_cast<BYTE *>(stream->buffer.data());
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32 NumFramesWritten, DWORD dwFlags) override
    {
        const QString arguments = QStringLiteral("%1 %2").arg(NumFramesWritten).arg(dwFlags);
        const auto fault = called("ReleaseBuffer", arguments);
        const std::lock_guard lock(streamMutex());
        const HRESULT result = fault ? *fault : release(NumFramesWritten, dwFlags);
        noteRelease(*stream);
        return result;
    }

private:
    HRESULT release(UINT32 frames, DWORD flags)
    {
        if (stream->invalidated)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        if (frames > 0 && !stream->bufferTaken)
            return AUDCLNT_E_OUT_OF_ORDER;
        if (frames > stream->framesTaken)
            return AUDCLNT_E_INVALID_SIZE;
        stream->bufferTaken = false;
        stream->framesTaken = 0;
        if (frames == 0)
            return S_OK;
        QByteArray written =
            stream->buffer.first(static_cast<qsizetype>(frames) * stream->frameBytes());
        if ((flags & AUDCLNT_BUFFERFLAGS_SILENT) != 0)
            written.fill('\0');
        stream->queue.append(written.constData(), written.size()); // shares nothing
        stream->released.append({frames, flags, written});
        return S_OK;
    }

    const std::shared_ptr<StreamState> stream;
};

class CaptureClient final : public RecordedObject<IAudioCaptureClient>
{
public:
    explicit CaptureClient(std::shared_ptr<StreamState> stream)
        : RecordedObject("IAudioCaptureClient", stream->endpointId), stream(std::move(stream))
    {
    }

    HRESULT STDMETHODCALLTYPE GetBuffer(BYTE **ppData, UINT32 *pNumFramesToRead, DWORD *pdwFlags,
                                        UINT64 *pu64DevicePosition,
                                        UINT64 *pu64QPCPosition) override
    {
        if (!ppData || !pNumFramesToRead || !pdwFlags)
            return E_POINTER;
        *ppData = nullptr;
        *pNumFramesToRead = 0;
        *pdwFlags = 0;
        if (const auto fault = called("GetBuffer"))
            return *fault;
        const std::lock_guard lock(streamMutex());
        if (stream->invalidated)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        if (stream->bufferTaken)
            return AUDCLNT_E_OUT_OF_ORDER;
        if (stream->packets.empty())
            return bufferEmpty;
        CapturePacket &packet = stream->packets.front();
        stream->bufferTaken = true;
        stream->framesTaken = packet.frames;
        *ppData = reinterpret_cast<BYTE *>(packet.data.data());
        *pNumFramesToRead = packet.frames;
        *pdwFlags = packet.flags;
        if (pu64DevicePosition)
            *pu64DevicePosition = packet.position;
        if (pu64QPCPosition)
            *pu64QPCPosition = 0;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32 NumFramesRead) override
    {
        const auto fault = called("ReleaseBuffer", QString::number(NumFramesRead));
        const std::lock_guard lock(streamMutex());
        const HRESULT result = fault ? *fault : release(NumFramesRead);
        noteRelease(*stream);
        return result;
    }

    HRESULT STDMETHODCALLTYPE GetNextPacketSize(UINT32 *pNumFramesInNextPacket) override
    {
        if (const auto fault = called("GetNextPacketSize"))
            return *fault;
        if (!pNumFramesInNextPacket)
            return E_POINTER;
        const std::lock_guard lock(streamMutex());
        if (stream->invalidated)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        *pNumFramesInNextPacket = stream->packets.empty() ? 0 : stream->packets.front().frames;
        return S_OK;
    }

private:
    /// A packet is read whole or, with 0 frames, left for the next GetBuffer.
    HRESULT release(UINT32 frames)
    {
        if (stream->invalidated)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        if (!stream->bufferTaken)
            return frames == 0 ? S_OK : AUDCLNT_E_OUT_OF_ORDER;
        if (frames != 0 && frames != stream->framesTaken)
            return AUDCLNT_E_INVALID_SIZE;
        stream->bufferTaken = false;
        if (frames == stream->framesTaken)
            stream->packets.pop_front();
        stream->framesTaken = 0;
        return S_OK;
    }

    const std::shared_ptr<StreamState> stream;
};

} // namespace

IAudioRenderClient *makeRenderClient(const std::shared_ptr<StreamState> &stream)
{
    return new RenderClient(stream);
}

IAudioCaptureClient *makeCaptureClient(const std::shared_ptr<StreamState> &stream)
{
    return new CaptureClient(stream);
}

} // namespace simulated
