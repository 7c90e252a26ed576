// What a client, its services and the test share of one stream.
#pragma once

#include "platform/simulated/streams.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

namespace simulated
{

struct CapturePacket
{
    QByteArray data;
    DWORD flags = 0;
    UINT32 frames = 0;
    UINT64 position = 0; ///< of its first frame
};

/// Everything but the two constants is guarded by streamMutex().
struct StreamState
{
    QString endpointId;
    EDataFlow flow = eRender;

    bool open = true;
    bool initialised = false;
    bool started = false;
    bool invalidated = false;
    StreamSetup setup;
    UINT32 bufferFrames = 0;
    HANDLE event = nullptr;
    quint64 releases = 0;
    quint64 releasesAtTurn = 0;

    // Between GetBuffer and ReleaseBuffer.
    bool bufferTaken = false;
    UINT32 framesTaken = 0;

    // Render: what is written and not played, and the buffer that the client writes to.
    QByteArray queue;
    QByteArray buffer;
    QList<ReleasedBuffer> released;

    // Capture: what has been heard and not read.
    std::deque<CapturePacket> packets;
    UINT64 framesHeard = 0;

    [[nodiscard]] int frameBytes() const { return setup.format.Format.nBlockAlign; }
    [[nodiscard]] UINT32 padding() const
    {
        return frameBytes() > 0 ? static_cast<UINT32>(queue.size() / frameBytes()) : 0;
    }
};

/// Guards all streams; the tests' clock is the only hurry here.
std::mutex &streamMutex();
/// Notified at every change that a test can wait for.
std::condition_variable &streamsChanged();

/// Lists a stream that has been initialised.
void enlistStream(const std::shared_ptr<StreamState> &stream);
/// Makes the streams of the endpoint answer AUDCLNT_E_DEVICE_INVALIDATED from now on.
void invalidateStreams(const QString &endpointId);

void resetStreams();

} // namespace simulated
