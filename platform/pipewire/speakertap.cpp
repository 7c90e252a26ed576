#include "platform/pipewire/speakertap.h"

#include <algorithm>

namespace
{
constexpr SampleFormat tapFormat{48000, 2, 0};
// An application that is linked but has sent nothing but zeros for so long does not play.
constexpr uint32_t quietAfterFrames = 5 * 48000;

ServerStream::Request tapRequest(const std::string &nodeName)
{
    return {
        SPA_DIRECTION_INPUT,
        nodeName,
        "Quorvane reads " + nodeName,
        tapFormat,
        pw_properties_new(PW_KEY_STREAM_CAPTURE_SINK, "true", PW_KEY_NODE_PASSIVE, "true", nullptr),
        true,
        false};
}

} // namespace

void SpeakerTap::onSoundChanged(void *data, uint64_t)
{
    static_cast<SpeakerTap *>(data)->updateGroup();
}

SpeakerTap::SpeakerTap(Connection &connection, const std::string &nodeName, FrameRing &ring)
    : ring(ring), loop(connection.messageLoop()),
      soundChanged(pw_loop_add_event(loop, onSoundChanged, this)),
      stream(connection, tapRequest(nodeName), *this)
{
}

SpeakerTap::~SpeakerTap()
{
    // The stream goes before the event that its process callback signals.
    stream.close();
    pw_loop_destroy_source(loop, soundChanged);
}

void SpeakerTap::setClaimed(bool claimed)
{
    if (claimed && !isClaimed) {
        quietFrames.store(0, std::memory_order_relaxed);
        isQuiet.store(false);
    }
    isClaimed = claimed;
    updateGroup();
}

void SpeakerTap::updateGroup()
{
    const bool belongs = isClaimed && !isQuiet.load();
    if (belongs == isGrouped)
        return;
    isGrouped = belongs;
    stream.setGrouped(belongs);
}

void SpeakerTap::process(pw_stream *source) noexcept
{
    pw_buffer *buffer = pw_stream_dequeue_buffer(source);
    if (!buffer)
        return;
    const spa_data &data = buffer->buffer->datas[0];
    if (data.data && data.chunk) {
        const uint32_t offset = std::min(data.chunk->offset, data.maxsize);
        const uint32_t bytes = std::min(data.chunk->size, data.maxsize - offset);
        const auto *samples =
            reinterpret_cast<const int16_t *>(static_cast<const char *>(data.data) + offset);
        ring.write(samples, bytes / FrameRing::frameBytes);
        noteSound(samples, bytes / FrameRing::frameBytes);
    }
    pw_stream_queue_buffer(source, buffer);
}

void SpeakerTap::noteSound(const int16_t *samples, uint32_t frames) noexcept
{
    const bool hasSound = std::any_of(samples, samples + size_t(frames) * 2,
                                      [](int16_t sample) { return sample != 0; });
    const uint32_t quiet = hasSound ? 0 : quietFrames.load(std::memory_order_relaxed) + frames;
    quietFrames.store(std::min(quiet, quietAfterFrames), std::memory_order_relaxed);
    const bool nowQuiet = quiet >= quietAfterFrames;
    if (nowQuiet != isQuiet.exchange(nowQuiet))
        pw_loop_signal_event(loop, soundChanged);
}
