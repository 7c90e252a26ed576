// Samples from a client to the server.
#pragma once

#include "platform/pipewire/backlogwatch.h"
#include "platform/pipewire/samplering.h"
#include "platform/pipewire/streampath.h"

#include <chrono>
#include <vector>

/// The client fills one quantum ahead. The buffer has room for a second one: there waits sound that
/// the client was late with, and is cut when the graph never comes to need it.
///
/// The client's event comes when a quarter of the cycle is over: sound that came out of the graph
/// in this cycle has then reached the client and goes back into the next one, where an event at the
/// cycle's start would send silence and the sound one quantum later. A client that has no sound
/// then but had some before is called once more in the same cycle, since its sound may only be
/// late.
///
/// While the graph leaves the stream idle, an idle clock calls the client, and what it gives is
/// dropped: when the graph comes for sound, it gets the newest and no backlog.
class RenderPath final : public StreamPath
{
public:
    void prepare(const SampleFormat &format) override;
    void reset() override;
    void process(pw_stream *stream) noexcept override;
    void setRunning(bool now) override;
    /// The graph has not come for sound for so long: calls the client in its place. The loop's
    /// thread.
    void idle(std::chrono::milliseconds elapsed) noexcept;
    /// Whether the client has given no sound for some seconds. Any thread.
    [[nodiscard]] bool isSoundless() const noexcept;

    // The client's side; one thread at a time.

    /// Frames; may change from one call to the next, with the quantum.
    [[nodiscard]] UINT32 bufferSize();
    /// Frames that wait for the graph, at most bufferSize().
    [[nodiscard]] UINT32 padding() const;
    HRESULT getBuffer(UINT32 frames, BYTE **data);
    HRESULT releaseBuffer(UINT32 frames, DWORD flags);

private:
    void grant(uint32_t frames) noexcept;
    void callClient(pw_stream *stream, uint32_t frames) noexcept;
    void cutBacklog(uint32_t frames) noexcept;
    void keepNewest(UINT32 &frames);
    void callAgain() noexcept;

    uint32_t frameBytes = 0;
    uint32_t streamRate = 0;
    SampleRing ring;
    std::vector<BYTE> staging;
    BacklogWatch backlog{0, 0};               ///< the data thread's
    std::atomic<uint64_t> soundlessFrames{0}; ///< gone by since the client last gave sound
    std::atomic<uint32_t> grantedFrames{periodFrames};
    std::atomic<uint32_t> visibleFrames{periodFrames}; ///< what the client was last told
    std::atomic<bool> canDelay{false};                 ///< its event has a timer
    std::atomic<int64_t> cycleEnd{0};                  ///< nanoseconds on the monotonic clock
    std::atomic<bool> mayCallAgain{false};             ///< has not been in this cycle
    std::atomic<bool> isIdle{false}; ///< the graph has not come since idle() was called
    bool drops = false;              ///< the client's: what it has gathered while idle is old
    UINT32 requested = 0;            ///< of a GetBuffer that is not released
    bool isRequested = false;
};
