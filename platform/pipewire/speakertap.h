// Hears what applications play into a virtual speaker.
#pragma once

#include "platform/pipewire/framering.h"
#include "platform/pipewire/serverstream.h"

#include <atomic>
#include <string>

/// A capture stream on the monitor of a sink, 48000 Hz stereo, into a ring. It is passive: while
/// nobody plays it gets nothing and wakes nobody.
///
/// While an application plays, the tap is in the group of the program's streams, so that the
/// speaker follows the clock of the endpoint that it is routed to and the two never drift apart.
/// While none plays it must not be: whatever is in the group is kept running by any open player.
class SpeakerTap final : private StreamHandler
{
public:
    // With the loop locked. The ring must outlive the tap.
    SpeakerTap(Connection &connection, const std::string &nodeName, FrameRing &ring);
    ~SpeakerTap();

    /// Whether an application is linked to the speaker.
    void setClaimed(bool claimed);

private:
    void process(pw_stream *stream) noexcept override;
    void noteSound(const int16_t *samples, uint32_t frames) noexcept;
    void updateGroup();
    static void onSoundChanged(void *data, uint64_t);

    FrameRing &ring;
    pw_loop *loop;
    spa_source *soundChanged; ///< tells the loop's thread that isQuiet has changed
    std::atomic<bool> isQuiet{false};
    std::atomic<uint32_t> quietFrames{0};
    bool isClaimed = false;
    bool isGrouped = false;
    ServerStream stream;
};
