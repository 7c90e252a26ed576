#include "client/interrupt.h"

#include <csignal>

namespace
{
volatile std::sig_atomic_t interrupted = 0;

void note(int)
{
    interrupted = 1;
}
} // namespace

void noteInterrupts()
{
    std::signal(SIGINT, note);
    std::signal(SIGTERM, note);
}

bool isInterrupted()
{
    return interrupted != 0;
}
