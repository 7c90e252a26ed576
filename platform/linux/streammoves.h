// Moves of streams that the server has not answered.
#pragma once

#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>

namespace pulse
{
/// The answers to a set of moves that were asked for together. Any thread.
class MoveAnswers
{
public:
    void expectOne();
    void answer(bool taken);
    /// True if all were taken within the bound.
    bool await(std::chrono::milliseconds bound);

private:
    std::mutex mutex;
    std::condition_variable answered;
    int left = 0;
    bool isRefused = false;
};

/// Those under way. Under the main loop's lock.
class StreamMoves
{
public:
    /// One of them; its address is the callback's data.
    struct Move
    {
        StreamMoves *owner;
        std::shared_ptr<MoveAnswers> answers;
    };

    Move &add(const std::shared_ptr<MoveAnswers> &answers);
    void settle(Move &move, bool taken);
    /// The connection is gone: whatever is under way is refused.
    void refuseAll();

private:
    std::list<Move> moves;
};
} // namespace pulse
