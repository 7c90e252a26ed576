// The user's wish to stop.
#pragma once

/// From now on Ctrl-C and SIGTERM are noted instead of ending the process on the spot.
void noteInterrupts();
[[nodiscard]] bool isInterrupted();
