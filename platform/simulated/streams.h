// The streams that clients have opened, and the clock that drives them.
#pragma once

#include "platform/coreaudio.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <memory>

namespace simulated
{

struct StreamState;

/// How the client initialised its stream.
struct StreamSetup
{
    AUDCLNT_SHAREMODE shareMode = AUDCLNT_SHAREMODE_SHARED;
    DWORD flags = 0;
    REFERENCE_TIME bufferDuration = 0;
    REFERENCE_TIME periodicity = 0;
    /// Of InitializeSharedAudioStream; 0 for a stream made by Initialize.
    UINT32 periodFrames = 0;
    /// Its members beyond Format hold zeros for a plain format.
    WAVEFORMATEXTENSIBLE format = {};
    bool hasSession = false;
};

/// One stream of a client, from its initialisation on. Stays usable after the client let it go.
class Stream
{
public:
    /// Empty: every question is answered with nothing.
    Stream() = default;
    explicit Stream(std::shared_ptr<StreamState> state) : state(std::move(state)) {}

    explicit operator bool() const { return state != nullptr; }
    [[nodiscard]] QString endpointId() const;
    /// False once the client has released its IAudioClient.
    [[nodiscard]] bool isOpen() const;
    [[nodiscard]] bool isStarted() const;
    [[nodiscard]] StreamSetup setup() const;
    [[nodiscard]] UINT32 bufferFrames() const;

    /// Signals the client's event and nothing else.
    void signalEvent();
    /// Waits until the client has called ReleaseBuffer since the clock last turned (consume,
    /// pushPacket or signalEvent); false when the time is over.
    [[nodiscard]] bool waitForRelease(int timeoutMs = 5000);

protected:
    std::shared_ptr<StreamState> state;
};

/// One ReleaseBuffer of a render client.
struct ReleasedBuffer
{
    UINT32 frames = 0;
    DWORD flags = 0;
    /// What it held; zeros for a silent one.
    QByteArray data;

    [[nodiscard]] bool isSilent() const { return (flags & AUDCLNT_BUFFERFLAGS_SILENT) != 0; }
};

class RenderStream : public Stream
{
public:
    using Stream::Stream;

    /// Frames written and not yet played.
    [[nodiscard]] UINT32 padding() const;
    /// Turns the clock: plays at most `frames` of what was written and returns those bytes, then
    /// signals the client's event.
    QByteArray consume(UINT32 frames);
    /// consume, then waitForRelease; whether the client answered is told by `answered`.
    QByteArray turn(UINT32 frames, bool *answered = nullptr);
    /// All buffers released with frames in them, in order, since the last clear.
    [[nodiscard]] QList<ReleasedBuffer> releasedBuffers() const;
    void clearReleasedBuffers();
};

class CaptureStream : public Stream
{
public:
    using Stream::Stream;

    /// Queues one packet of whole frames in the stream's format and signals the client's event.
    void pushPacket(const QByteArray &data, DWORD flags = 0);
    /// The same without the signal, so that several packets can await one.
    void queuePacket(const QByteArray &data, DWORD flags = 0);
    [[nodiscard]] qsizetype pendingPackets() const;
};

/// The open, initialised streams of an endpoint, oldest first.
[[nodiscard]] QList<RenderStream> renderStreams(const QString &endpointId);
[[nodiscard]] QList<CaptureStream> captureStreams(const QString &endpointId);

/// Waits for an open stream that is started on the endpoint; an empty one when the time is over.
[[nodiscard]] RenderStream waitForRenderStream(const QString &endpointId, int timeoutMs = 5000);
[[nodiscard]] CaptureStream waitForCaptureStream(const QString &endpointId, int timeoutMs = 5000);

} // namespace simulated
