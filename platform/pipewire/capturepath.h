// Samples from the server to a client.
#pragma once

#include "platform/pipewire/samplering.h"
#include "platform/pipewire/streampath.h"

#include <vector>

/// Packets of the graph's quantum, oldest first; when the client sleeps too long, the newest are
/// lost.
class CapturePath final : public StreamPath
{
public:
    void prepare(const SampleFormat &format) override;
    void reset() override;
    void process(pw_stream *stream) noexcept override;

    // The client's side; one thread at a time.

    /// Frames that the client may find waiting at most.
    [[nodiscard]] UINT32 bufferSize() const;
    [[nodiscard]] UINT32 padding() const;
    [[nodiscard]] UINT32 nextPacketSize() const;
    /// AUDCLNT_S_BUFFER_EMPTY when no packet waits.
    HRESULT getBuffer(BYTE **data, UINT32 *frames, DWORD *flags);
    HRESULT releaseBuffer(UINT32 frames);

private:
    uint32_t frameBytes = 0;
    SampleRing ring;
    std::vector<BYTE> staging;
    UINT32 stagedFrames = 0; ///< of the packet that the client looks at, or gave back unread
    bool isTaken = false;
    std::atomic<uint32_t> grantedFrames{periodFrames};
};
