// The 16-bit format that a capture endpoint is opened with.
#pragma once

#include "platform/coreaudio.h"

/// A 16-bit PCM format with the channel count and rate of the mix format: plain for one or two
/// channels, extensible with a channel mask for more. The caller's, to be freed with
/// CoTaskMemFree; null when the mix format lacks either number or nothing could be allocated, and
/// the mix format is to be used as it is.
[[nodiscard]] WAVEFORMATEX *makeCaptureFormat(const WAVEFORMATEX &mixFormat);
