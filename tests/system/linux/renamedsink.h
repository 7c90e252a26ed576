// A sink of another program that changes its description while it lives.
#pragma once

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

class RenamedSink
{
public:
    RenamedSink()
    {
        pw_init(nullptr, nullptr);
        loop = pw_thread_loop_new("renamed", nullptr);
        pw_thread_loop_start(loop);
        pw_thread_loop_lock(loop);
        pw_properties *properties = pw_properties_new(
            PW_KEY_MEDIA_CLASS, "Audio/Sink", PW_KEY_NODE_NAME, "renamed", PW_KEY_NODE_DESCRIPTION,
            "Before", PW_KEY_NODE_VIRTUAL, "true", nullptr);
        static const pw_stream_events events = [] {
            pw_stream_events none{};
            none.version = PW_VERSION_STREAM_EVENTS;
            return none;
        }();
        stream = pw_stream_new_simple(pw_thread_loop_get_loop(loop), "renamed", properties, &events,
                                      nullptr);
        uint8_t buffer[1024];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
        spa_audio_info_raw format{};
        format.format = SPA_AUDIO_FORMAT_F32;
        format.rate = 48000;
        format.channels = 2;
        format.position[0] = SPA_AUDIO_CHANNEL_FL;
        format.position[1] = SPA_AUDIO_CHANNEL_FR;
        const spa_pod *parameter =
            spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format);
        pw_stream_connect(stream, PW_DIRECTION_INPUT, PW_ID_ANY, PW_STREAM_FLAG_MAP_BUFFERS,
                          &parameter, 1);
        pw_thread_loop_unlock(loop);
    }
    ~RenamedSink()
    {
        pw_thread_loop_lock(loop);
        pw_stream_destroy(stream);
        pw_thread_loop_unlock(loop);
        pw_thread_loop_stop(loop);
        pw_thread_loop_destroy(loop);
    }
    void rename(const char *description)
    {
        const spa_dict_item item = SPA_DICT_ITEM_INIT(PW_KEY_NODE_DESCRIPTION, description);
        const spa_dict properties = SPA_DICT_INIT(&item, 1);
        pw_thread_loop_lock(loop);
        pw_stream_update_properties(stream, &properties);
        pw_thread_loop_unlock(loop);
    }

private:
    pw_thread_loop *loop;
    pw_stream *stream;
};
