// The clock of an endpoint that the graph leaves idle.
#pragma once

#include "platform/pipewire/connection.h"
#include "platform/pipewire/renderpath.h"

#include <chrono>

/// Stands between a stream and its path, and lets the path's client go on giving sound while the
/// graph does not ask for it, often enough that no queue of 60 ms overflows; a client that has
/// none is asked now and then only. With the loop locked but for process().
class IdleClock final : public StreamHandler
{
public:
    /// `path` must outlive the clock.
    IdleClock(Connection &connection, RenderPath &path);
    ~IdleClock();
    IdleClock(const IdleClock &) = delete;
    IdleClock &operator=(const IdleClock &) = delete;

    /// Whether the client is to be called at all.
    void setRunning(bool now);

    void process(pw_stream *stream) noexcept override { path.process(stream); }
    void stateChanged(pw_stream_state state) override;

private:
    static void onTime(void *data, uint64_t);
    void onTick();
    [[nodiscard]] std::chrono::milliseconds wantedInterval() const;
    void arm();

    RenderPath &path;
    pw_loop *const loop;
    spa_source *const timer;
    bool isRunning = false;
    bool isStreaming = false;
    std::chrono::milliseconds interval{0}; ///< of the timer
};
