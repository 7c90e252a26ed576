#include "platform/pipewire/serverstream.h"

#include "platform/pipewire/waveformat.h"

#include <spa/param/audio/format-utils.h>

#include <atomic>
#include <bit>
#include <iterator>

namespace
{
// Bit n of dwChannelMask is position n.
constexpr spa_audio_channel positions[] = {
    SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_FC,  SPA_AUDIO_CHANNEL_LFE,
    SPA_AUDIO_CHANNEL_RL, SPA_AUDIO_CHANNEL_RR, SPA_AUDIO_CHANNEL_FLC, SPA_AUDIO_CHANNEL_FRC,
    SPA_AUDIO_CHANNEL_RC, SPA_AUDIO_CHANNEL_SL, SPA_AUDIO_CHANNEL_SR,
};
constexpr char groupName[] = "quorvane";

uint32_t maskOf(const SampleFormat &format)
{
    if (std::popcount(format.channelMask) == int(format.channels))
        return format.channelMask;
    return usualChannelMask(format.channels);
}

spa_audio_info_raw rawFormat(const SampleFormat &format)
{
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_S16_LE;
    info.rate = format.sampleRate;
    info.channels = format.channels;
    uint32_t channel = 0;
    const uint32_t mask = maskOf(format);
    for (size_t bit = 0; bit < std::size(positions); ++bit)
        if (mask & (1u << bit))
            info.position[channel++] = positions[bit];
    if (format.channels == 1)
        info.position[0] = SPA_AUDIO_CHANNEL_MONO;
    else if (channel != format.channels)
        info.flags = SPA_AUDIO_FLAG_UNPOSITIONED;
    return info;
}

pw_properties *allProperties(const ServerStream::Request &request)
{
    const bool plays = request.direction == SPA_DIRECTION_OUTPUT;
    pw_properties *properties = pw_properties_new(
        PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, plays ? "Playback" : "Capture",
        PW_KEY_MEDIA_NAME, request.name.c_str(), PW_KEY_NODE_DESCRIPTION, request.name.c_str(),
        PW_KEY_APP_NAME, "Quorvane", PW_KEY_TARGET_OBJECT, request.targetNode.c_str(),
        // The routes and levels are ours to keep: the session manager must not bring back others.
        "state.restore-target", "false", "state.restore-props", "false", nullptr);
    if (request.startsGrouped)
        pw_properties_set(properties, PW_KEY_NODE_GROUP, groupName);
    if (request.properties) {
        pw_properties_update(properties, &request.properties->dict);
        pw_properties_free(request.properties);
    }
    return properties;
}
} // namespace

/// The stream at the server, which goes a moment after its owner.
struct ServerStream::Live
{
    Live(Connection &connection, StreamHandler &handler) : connection(connection), handler(&handler)
    {
    }
    ~Live()
    {
        // The listener goes with the stream: the data thread may be calling it until then.
        pw_stream_destroy(stream);
    }
    Live(const Live &) = delete;
    Live &operator=(const Live &) = delete;

    static const pw_stream_events events;

    Connection &connection;
    std::atomic<StreamHandler *> handler; ///< null once the owner has closed the stream
    pw_stream *stream = nullptr;
    spa_hook listener{};
    /// Orders construction before the first cycle and the last cycle before destruction in the
    /// language's terms; libpipewire does so in its own.
    std::atomic<uint32_t> cycles{0};
};

const pw_stream_events ServerStream::Live::events = [] {
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.state_changed = [](void *data, pw_stream_state, pw_stream_state state, const char *) {
        auto *self = static_cast<Live *>(data);
        if (StreamHandler *handler = self->handler.load())
            handler->stateChanged(state);
        self->connection.signal();
    };
    events.process = [](void *data) {
        auto *self = static_cast<Live *>(data);
        (void)self->cycles.load(std::memory_order_acquire);
        if (StreamHandler *handler = self->handler.load())
            handler->process(self->stream);
        self->cycles.fetch_add(1, std::memory_order_release);
    };
    return events;
}();

ServerStream::ServerStream(Connection &connection, const Request &request, StreamHandler &handler)
    : connection(connection), live(std::make_shared<Live>(connection, handler))
{
    live->stream =
        pw_stream_new(connection.serverCore(), request.name.c_str(), allProperties(request));
    pw_stream_add_listener(live->stream, &live->listener, &Live::events, live.get());

    uint8_t buffer[1024];
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, buffer, sizeof buffer);
    spa_audio_info_raw info = rawFormat(request.format);
    const spa_pod *parameters[] = {
        spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info)};
    uint32_t flags = PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                     PW_STREAM_FLAG_RT_PROCESS | PW_STREAM_FLAG_DONT_RECONNECT;
    if (!request.startsActive)
        flags |= PW_STREAM_FLAG_INACTIVE;
    connection.lowerDataThread();
    live->cycles.store(0, std::memory_order_release);
    pw_stream_connect(live->stream, request.direction, PW_ID_ANY, pw_stream_flags(flags),
                      parameters, std::size(parameters));
}

void ServerStream::close()
{
    if (!live)
        return;
    live->handler.store(nullptr);
    connection.flushDataThread();
    (void)live->cycles.load(std::memory_order_acquire);
    // libpipewire drops what is still under way to a stream that is gone, and with it the file
    // descriptors in there, which then stay open for good: the stream stays for a moment.
    pw_stream_set_active(live->stream, false);
    connection.releaseLater(std::move(live));
}

uint32_t ServerStream::nodeId() const
{
    return pw_stream_get_node_id(live->stream);
}

void ServerStream::setActive(bool active)
{
    pw_stream_set_active(live->stream, active);
}

void ServerStream::setGrouped(bool grouped)
{
    // An empty value leaves the group: a property can be changed, but not taken away.
    const spa_dict_item items[] = {{PW_KEY_NODE_GROUP, grouped ? groupName : ""}};
    const spa_dict dictionary{0, std::size(items), items};
    pw_stream_update_properties(live->stream, &dictionary);
}
