// The object behind IAudioClient.
#pragma once

#include "platform/pipewire/audiostream.h"
#include "platform/pipewire/capturepath.h"
#include "platform/pipewire/idleclock.h"
#include "platform/pipewire/renderpath.h"
#include "platform/posix/comobject.h"

#include <atomic>
#include <memory>

/// One stream in shared mode. The queries and the services may be used by another thread than the
/// one that initializes, starts and stops; they take no lock.
class StreamClient final : public posix::ComObject<IAudioClient3>, private ConnectionObserver
{
public:
    explicit StreamClient(const StreamTarget &target);
    ~StreamClient() override;

    /// Shared mode and 16-bit PCM only. AUDCLNT_E_SERVICE_NOT_RUNNING without a server,
    /// AUDCLNT_E_DEVICE_INVALIDATED when the node is not there.
    HRESULT Initialize(AUDCLNT_SHAREMODE shareMode, DWORD flags, REFERENCE_TIME duration,
                       REFERENCE_TIME periodicity, const WAVEFORMATEX *format,
                       LPCGUID session) override;
    HRESULT GetBufferSize(UINT32 *frames) override;
    HRESULT GetCurrentPadding(UINT32 *frames) override;
    HRESULT GetMixFormat(WAVEFORMATEX **format) override;
    HRESULT GetDevicePeriod(REFERENCE_TIME *usual, REFERENCE_TIME *minimum) override;
    HRESULT Start() override;
    HRESULT Stop() override;
    HRESULT Reset() override;
    HRESULT SetEventHandle(HANDLE handle) override;
    HRESULT GetService(REFIID id, void **service) override;
    HRESULT GetSharedModeEnginePeriod(const WAVEFORMATEX *format, UINT32 *usual,
                                      UINT32 *fundamental, UINT32 *minimum,
                                      UINT32 *maximum) override;
    HRESULT InitializeSharedAudioStream(DWORD flags, UINT32 period, const WAVEFORMATEX *format,
                                        LPCGUID session) override;

private:
    void serverLost() override;
    void objectsChanged() override;

    HRESULT open(const SampleFormat &format);
    bool connect(const SampleFormat &format);
    [[nodiscard]] bool isOnLine() const { return idleClock != nullptr; }
    void joinWhileRecorded();
    [[nodiscard]] HRESULT usable() const;

    const StreamTarget target;
    Connection &connection;
    RenderPath render;
    CapturePath capture;
    StreamPath &path;             ///< the one of the target's flow
    const std::string lineOutput; ///< where the line that it plays into is recorded, if it does
    std::unique_ptr<ServerStream> stream;
    std::unique_ptr<IdleClock> idleClock; ///< for an endpoint that the graph may leave idle
    uint32_t targetNode = 0;
    bool wasRecorded = false; ///< the line, when it was last looked at
    DWORD streamFlags = 0;
    std::atomic<bool> isInitialized{false};
    std::atomic<bool> isStarted{false};
};
