// Where a thread that runs only once stands.
#pragma once

#include <atomic>

/// Stopped at first, running once it has begun, and stopped for good by `stop`, even if that comes
/// before the thread gets its turn. Callable from any thread.
class OneRun
{
public:
    /// What the thread does first; false if it was stopped before.
    [[nodiscard]] bool begin()
    {
        State expected = State::New;
        return state.compare_exchange_strong(expected, State::Running);
    }
    void stop() { state = State::Stopped; }
    [[nodiscard]] bool isStopped() const { return state != State::Running; }

private:
    enum class State
    {
        New,
        Running,
        Stopped
    };
    std::atomic<State> state{State::New};
};
