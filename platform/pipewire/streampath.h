// The way of samples between a client's thread and the data thread.
#pragma once

#include "platform/coreaudio.h"
#include "platform/pipewire/serverstream.h"

#include <atomic>

/// What the render and the capture path share: the client's event and the granted quantum.
class StreamPath : public StreamHandler
{
public:
    virtual ~StreamPath() = default;

    /// Before the stream is there.
    virtual void prepare(const SampleFormat &format) = 0;
    /// Forgets what waits. The client's thread, while the stream is stopped.
    virtual void reset() = 0;

    void stateChanged(pw_stream_state state) override;

    /// The client's event is set once each cycle of the graph while the path is running.
    void setEvent(HANDLE handle) { event.store(handle); }
    [[nodiscard]] bool hasEvent() const { return event.load() != nullptr; }
    /// From stopping on, and once the data thread is flushed, no event comes any more.
    virtual void setRunning(bool now) { running.store(now); }
    /// Takes back an event that is still to come.
    void cancelEvent();
    [[nodiscard]] bool isRunning() const { return running.load(); }

    /// Ends the stream for the client: its queries fail from now on, and its event is set once more
    /// for its thread to look. Any thread.
    void markLost();
    /// Before a stream is connected anew.
    void markFound() { lost.store(false); }
    [[nodiscard]] bool isLost() const { return lost.load(); }

protected:
    void signalClient() noexcept;
    [[nodiscard]] HANDLE clientEvent() const noexcept { return event.load(); }

private:
    std::atomic<HANDLE> event{nullptr};
    std::atomic<bool> running{false};
    std::atomic<bool> lost{false};
};

/// A quantum before the server has granted one: 10 ms at 48000 Hz, the period of a shared stream.
inline constexpr uint32_t periodFrames = 480;
inline constexpr uint32_t periodRate = 48000;
