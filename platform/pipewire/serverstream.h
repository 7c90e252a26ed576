// One pw_stream of 16-bit samples.
#pragma once

#include "platform/pipewire/connection.h"

#include <cstdint>
#include <memory>
#include <string>

/// Interleaved 16-bit little-endian samples.
struct SampleFormat
{
    uint32_t sampleRate;
    uint32_t channels;
    uint32_t channelMask; ///< speaker positions by the bits of dwChannelMask; 0 for the usual ones

    [[nodiscard]] uint32_t frameBytes() const { return channels * 2; }
};

/// What a stream does with its buffers.
class StreamHandler
{
public:
    /// On the data thread, once a cycle of the graph: real-time rules hold.
    virtual void process(pw_stream *stream) noexcept = 0;
    /// On the loop's thread with the loop locked.
    virtual void stateChanged(pw_stream_state) {}

protected:
    ~StreamHandler() = default;
};

/// Connected from construction to destruction. Everything with the loop locked.
class ServerStream
{
public:
    struct Request
    {
        spa_direction direction; ///< SPA_DIRECTION_OUTPUT plays, SPA_DIRECTION_INPUT captures
        std::string targetNode;  ///< node.name
        std::string name;        ///< what a person reads
        SampleFormat format;
        pw_properties *properties; ///< further ones, taken over; may be null
        bool startsActive;
        bool startsGrouped;
    };

    /// `handler` must outlive the stream.
    ServerStream(Connection &connection, const Request &request, StreamHandler &handler);
    ~ServerStream() { close(); }
    ServerStream(const ServerStream &) = delete;
    ServerStream &operator=(const ServerStream &) = delete;

    /// The handler is not called any more afterwards, and nothing else may be called.
    void close();

    /// The stream's own node; meaningless before the server has made it.
    [[nodiscard]] uint32_t nodeId() const;
    void setActive(bool active);
    /// In the group, all streams of the program and what they are linked to follow one clock.
    void setGrouped(bool grouped);

private:
    struct Live;

    Connection &connection;
    std::shared_ptr<Live> live; ///< null once closed
};
