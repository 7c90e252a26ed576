#include "platform/linux/streammoves.h"

namespace pulse
{
void MoveAnswers::expectOne()
{
    const std::lock_guard lock(mutex);
    ++left;
}

void MoveAnswers::answer(bool taken)
{
    const std::lock_guard lock(mutex);
    --left;
    isRefused = isRefused || !taken;
    answered.notify_all();
}

bool MoveAnswers::await(std::chrono::milliseconds bound)
{
    std::unique_lock lock(mutex);
    return answered.wait_for(lock, bound, [this] { return left == 0; }) && !isRefused;
}

StreamMoves::Move &StreamMoves::add(const std::shared_ptr<MoveAnswers> &answers)
{
    answers->expectOne();
    return moves.emplace_back(Move{this, answers});
}

void StreamMoves::settle(Move &move, bool taken)
{
    move.answers->answer(taken);
    moves.remove_if([&move](const Move &each) { return &each == &move; });
}

void StreamMoves::refuseAll()
{
    for (const Move &move : moves)
        move.answers->answer(false);
    moves.clear();
}
} // namespace pulse
