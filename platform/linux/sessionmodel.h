// The table of sessions: the streams of all applications, by the endpoint that they are at.
#pragma once

#include "platform/linux/dispatcher.h"
#include "platform/linux/trackedlevel.h"

#include <QHash>

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace pulse
{
/// A sink input (eRender) or source output (eCapture) as the server tells it.
struct Stream
{
    EDataFlow flow;
    quint32 index;     ///< the server's number, for one connection
    quint32 client;    ///< its client's number
    quint32 node;      ///< the number of its sink or source
    quint32 processId; ///< by its own properties; 0 if they don't tell
    QString name;      ///< of the application; may be empty
    QString icon;      ///< likewise
    bool isEvent;      ///< a sound of the desktop itself
    bool corked;
    bool muted;
    pa_cvolume volume;
};

/// A client of the server.
struct Client
{
    quint32 index;
    quint32 processId;
    QString name;
    QString icon;
};

/// A session as its readers see it.
struct Session
{
    QString endpointId;
    QString identifier;         ///< the same for all sessions of one executable
    QString instanceIdentifier; ///< of this session alone, for ever
    EDataFlow flow;
    quint32 stream;
    quint32 processId;
    QString displayName;
    QString iconPath;
    bool isSystemSounds;
    AudioSessionState state;
    bool muted;
    pa_cvolume volume;
};

/// What is to be sent to the server for a change of a session's level.
struct StreamRequest
{
    EDataFlow flow;
    quint32 index;
    pa_cvolume volume; ///< the channels keep their balance
};

/// Answers all reads and turns what the server tells into events. A stream is a session once its
/// endpoint and its process are known; one that moves is a new session at its new endpoint.
/// Callable from any thread: one lock, never held during a call that leaves the platform.
class SessionModel
{
public:
    /// Called on the thread that lists a stream, with no lock held, when it is first seen.
    using NewStream = std::function<void(const Session &)>;

    explicit SessionModel(Dispatcher &dispatcher);
    void whenNewStream(NewStream action) { newStream = std::move(action); }

    // What the server tells.
    void nodeListed(EDataFlow flow, quint32 index, const QString &endpointId);
    void nodeRemoved(EDataFlow flow, quint32 index);
    void clientListed(const Client &client);
    void clientRemoved(quint32 index);
    void streamListed(const Stream &stream);
    void streamRemoved(EDataFlow flow, quint32 index);
    void serverLost();

    // Levels. Nothing for a session that is over.
    [[nodiscard]] std::optional<StreamRequest> requestVolume(const QString &instanceIdentifier,
                                                             float scalar, const GUID &context);
    [[nodiscard]] std::optional<StreamRequest> requestMute(const QString &instanceIdentifier,
                                                           bool muted, const GUID &context);

    // Readers.
    /// The sessions of an endpoint, oldest first.
    [[nodiscard]] std::vector<Session> sessionsAt(const QString &endpointId) const;
    /// Nothing once it is over.
    [[nodiscard]] std::optional<Session> session(const QString &instanceIdentifier) const;
    /// All sessions of a process in one direction.
    [[nodiscard]] std::vector<Session> sessionsOf(quint32 processId, EDataFlow flow) const;

private:
    using Key = std::pair<EDataFlow, quint32>;
    struct Entry
    {
        Stream stream;
        bool wasSeen = false;           ///< it has been a session before
        std::optional<Session> session; ///< nothing while its place isn't known
        quint64 order = 0;              ///< rises from session to session
        TrackedLevel volume;
        TrackedLevel mute;
    };

    [[nodiscard]] QString endpointOf(const Stream &stream) const;
    [[nodiscard]] quint32 processOf(const Stream &stream) const;
    [[nodiscard]] Session sessionOf(const Stream &stream) const;
    template <typename Concerned>
    void settleAll(Concerned concerned);
    /// The session that the stream has become for the first time.
    std::optional<Session> settle(Entry &entry);
    void begin(Entry &entry, Session session);
    void change(Entry &entry, const Session &now);
    void reportLevels(Entry &entry);
    void expire(Entry &entry);
    void disconnect(Entry &entry, AudioSessionDisconnectReason reason);
    /// The session is over.
    void leave(Entry &entry, const SessionEvent &last);
    [[nodiscard]] const Entry *find(const QString &instanceIdentifier) const;
    [[nodiscard]] Entry *find(const QString &instanceIdentifier);

    Dispatcher &dispatcher;
    NewStream newStream;
    mutable std::mutex mutex;
    std::map<Key, QString> nodes; ///< endpoint IDs
    std::map<quint32, Client> clients;
    std::map<Key, Entry> entries;
    QHash<QString, Key> sessionKeys; ///< by instance identifier
    quint64 lastOrder = 0;
    TrackedLevel::Ticket lastTicket = 0;
};
} // namespace pulse
