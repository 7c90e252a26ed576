// What playing and capturing have in common with the platform.
#pragma once

#include "platform/coreaudio.h"

#include <utility>

/// Logs the words of a failed step and its code at critical level; false, for the step to return.
bool failed(const char *words, HRESULT code);

/// Initialises a client in shared mode at the endpoint's minimum period, driven by its event. The
/// engine converts from or to the format, so none is asked for first.
[[nodiscard]] HRESULT initializeShared(IAudioClient &client, const WAVEFORMATEX &format);

/// Null is legal.
template <typename T>
void releaseAndClear(T *&pointer)
{
    if (T *old = std::exchange(pointer, nullptr))
        old->Release();
}
