// The objects behind IAudioRenderClient and IAudioCaptureClient.
#pragma once

#include "platform/comptr.h"
#include "platform/pipewire/capturepath.h"
#include "platform/pipewire/renderpath.h"
#include "platform/posix/comobject.h"

/// Keeps its stream's client alive; takes no lock.
class RenderService final : public posix::ComObject<IAudioRenderClient>
{
public:
    RenderService(ComPtr<IAudioClient> owner, RenderPath &path)
        : owner(std::move(owner)), path(path)
    {
    }

    HRESULT GetBuffer(UINT32 frames, BYTE **data) override { return path.getBuffer(frames, data); }
    HRESULT ReleaseBuffer(UINT32 frames, DWORD flags) override
    {
        return path.releaseBuffer(frames, flags);
    }

private:
    ComPtr<IAudioClient> owner;
    RenderPath &path;
};

/// Keeps its stream's client alive; takes no lock. Positions are not told.
class CaptureService final : public posix::ComObject<IAudioCaptureClient>
{
public:
    CaptureService(ComPtr<IAudioClient> owner, CapturePath &path)
        : owner(std::move(owner)), path(path)
    {
    }

    HRESULT GetBuffer(BYTE **data, UINT32 *frames, DWORD *flags, UINT64 *devicePosition,
                      UINT64 *counterPosition) override
    {
        if (devicePosition)
            *devicePosition = 0;
        if (counterPosition)
            *counterPosition = 0;
        return path.getBuffer(data, frames, flags);
    }
    HRESULT ReleaseBuffer(UINT32 frames) override { return path.releaseBuffer(frames); }
    HRESULT GetNextPacketSize(UINT32 *frames) override
    {
        if (!frames)
            return E_POINTER;
        *frames = 0;
        if (path.isLost())
            return AUDCLNT_E_DEVICE_INVALIDATED;
        *frames = path.nextPacketSize();
        return S_OK;
    }

private:
    ComPtr<IAudioClient> owner;
    CapturePath &path;
};
