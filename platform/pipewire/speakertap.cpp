#include "platform/pipewire/speakertap.h"

#include <algorithm>

namespace
{
constexpr SampleFormat tapFormat{48000, 2, 0};

ServerStream::Request tapRequest(const std::string &nodeName)
{
    return {
        SPA_DIRECTION_INPUT,
        nodeName,
        "Quorvane reads " + nodeName,
        tapFormat,
        pw_properties_new(PW_KEY_STREAM_CAPTURE_SINK, "true", PW_KEY_NODE_PASSIVE, "true", nullptr),
        true};
}
} // namespace

SpeakerTap::SpeakerTap(Connection &connection, const std::string &nodeName, FrameRing &ring)
    : ring(ring), stream(connection, tapRequest(nodeName), *this)
{
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
        ring.write(reinterpret_cast<const int16_t *>(static_cast<const char *>(data.data) + offset),
                   bytes / FrameRing::frameBytes);
    }
    pw_stream_queue_buffer(source, buffer);
}
