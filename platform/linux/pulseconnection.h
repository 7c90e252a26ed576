// The lasting connection to the PulseAudio server (PipeWire's, as a rule).
#pragma once

#include "platform/linux/endpointmodel.h"
#include "platform/linux/serverlisting.h"
#include "platform/linux/sessionlisting.h"
#include "platform/linux/socketwatch.h"
#include "platform/linux/streammoves.h"

#include <pulse/thread-mainloop.h>

#include <list>

namespace pulse
{
/// Keeps a connection to the server on a thread of its own and fills the endpoint table from it.
/// Without a server it waits for the next one and costs nothing meanwhile. Functions are callable
/// from any thread but that one; none waits for the server unless it says so.
class PulseConnection
{
public:
    PulseConnection(EndpointModel &model, SessionModel &sessions);
    ~PulseConnection();

    void start();
    /// Disconnects and ends the thread. Requests fail from then on.
    void stop();

    /// Waits until the server's first lists are in the table or there is no server; at most
    /// `bound`.
    void waitForFirstListing(std::chrono::milliseconds bound);

    /// S_OK when the request is on its way; AUDCLNT_E_DEVICE_INVALIDATED for an endpoint that is
    /// not listed.
    HRESULT setVolume(const QString &id, float scalar, const GUID &context);
    /// The same; S_FALSE when the endpoint seems to be so already.
    HRESULT setMute(const QString &id, bool muted, const GUID &context);
    /// The same for a session, by its instance identifier.
    HRESULT setStreamVolume(const QString &session, float scalar, const GUID &context);
    HRESULT setStreamMute(const QString &session, bool muted, const GUID &context);
    /// Moves the streams of these sessions and waits for the server, a bounded time.
    /// E_ACCESSDENIED when it refuses one or doesn't answer.
    HRESULT moveStreams(const std::vector<Session> &streams, const Endpoint &target);
    /// Moves one stream, on the connection's own thread, and leaves it at that.
    void moveStreamHere(const Session &stream, const Endpoint &target);
    /// S_OK when the request is on its way; E_NOTFOUND for an unknown endpoint,
    /// AUDCLNT_E_DEVICE_INVALIDATED for one that is not active.
    HRESULT setDefault(const QString &id);

private:
    /// A request for a level that the server has not answered.
    struct Reply
    {
        PulseConnection *connection;
        QString id;
        LevelRequest request;
    };

    void connect();
    void onState();
    void onLost(int error);
    void dropContext();
    void retryIn(std::chrono::milliseconds delay);
    void cancelRetry();
    void settleFirst();

    template <typename SendToSink, typename SendToSource>
    HRESULT send(const QString &id, const LevelRequest &request, SendToSink toSink,
                 SendToSource toSource);
    void subscribe();
    void onEvent(pa_subscription_event_type_t event, quint32 index);
    void listFinished();
    static void onReply(pa_context *, int success, void *reply);

    EndpointModel &model;
    SessionModel &sessions;
    pa_threaded_mainloop *mainloop;
    pa_mainloop_api *api;
    ServerListing listing;
    SessionListing sessionListing;
    SocketWatch watch;
    pa_context *context = nullptr;
    pa_time_event *retry = nullptr;
    int listingsToCome = 0;   ///< of the first two after connecting
    std::size_t attempts = 0; ///< failed in a row since something happened
    StreamMoves moves;
    std::list<Reply> replies; ///< their addresses are the callbacks' data

    std::mutex firstMutex;
    std::condition_variable firstSettled;
    bool isFirstSettled = false;
};
} // namespace pulse
