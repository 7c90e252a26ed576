// Hears what applications play into a virtual speaker.
#pragma once

#include "platform/pipewire/framering.h"
#include "platform/pipewire/serverstream.h"

#include <string>

/// A capture stream on the monitor of a sink, 48000 Hz stereo, into a ring. It is passive: while
/// nobody plays it gets nothing and wakes nobody. Everything with the loop locked.
class SpeakerTap final : private StreamHandler
{
public:
    /// The ring must outlive the tap.
    SpeakerTap(Connection &connection, const std::string &nodeName, FrameRing &ring);

private:
    void process(pw_stream *stream) noexcept override;

    FrameRing &ring;
    ServerStream stream;
};
