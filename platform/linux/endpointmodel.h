// The table of endpoints: what the server last told, and what follows from it.
#pragma once

#include "platform/linux/dispatcher.h"
#include "platform/linux/trackedlevel.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

namespace pulse
{
/// A sink or source as the server tells it.
struct Node
{
    EDataFlow flow;
    quint32 index; ///< the server's number, for one connection
    QString name;
    QString description;
    bool plugged; ///< false when its active port is known to be unavailable
    bool muted;
    pa_cvolume volume;
    UINT32 sampleRate; ///< Hz
    WORD channels;
};

/// An endpoint as its readers see it.
struct Endpoint
{
    QString id;
    EDataFlow flow;
    QString nodeName;
    QString description; ///< the friendly name
    DWORD state;
    UINT32 sampleRate; ///< of the node, in Hz; 0 until it was listed once
    WORD channels;     ///< likewise
};

/// The levels of an endpoint, our own requests included.
struct Levels
{
    float volume; ///< scalar, 0.0 to 1.0
    bool muted;
};

/// What is to be sent to the server for a request, unless it failed.
struct LevelRequest
{
    HRESULT result = AUDCLNT_E_DEVICE_INVALIDATED; ///< for the caller
    EDataFlow flow = eRender;
    quint32 index = 0;
    pa_cvolume volume{}; ///< the channels keep their balance
    TrackedLevel::Ticket ticket = 0;
};

/// Answers all reads and turns what the server tells into events. Callable from any thread: one
/// lock, never held during a call that leaves the platform or waits for the server.
class EndpointModel
{
public:
    explicit EndpointModel(Dispatcher &dispatcher);

    /// Adds an endpoint of the virtual card: known for ever, hidden until it is expected.
    void addCardEndpoint(const QString &id, EDataFlow flow, const QString &nodeName,
                         const QString &description);

    // What the server tells.
    void serverFound();
    /// Ignored unless one was found: a failed attempt loses nothing.
    void serverLost();
    /// A node is new or changed.
    void nodeListed(const Node &node);
    /// An unknown index is ignored.
    void nodeRemoved(EDataFlow flow, quint32 index);
    /// The name of the default node of a flow; empty for none.
    void defaultNamed(EDataFlow flow, const QString &name);
    /// As last named.
    [[nodiscard]] QString defaultName(EDataFlow flow) const;

    // What is asked of the card.
    /// The endpoint's node was asked to come or go.
    void expectShown(const QString &id, bool shown);
    /// Waits until the server lists the node, or has lost it, as expected; at most `bound`, and
    /// not at all without a server. The endpoint's state is true from then on. False when the
    /// bound was reached.
    bool awaitShown(const QString &id, std::chrono::milliseconds bound);

    // Levels.
    // A request is read back from now on. It is to be sent even for the level that the endpoint
    // has: the table may not know yet that somebody has just changed it.
    [[nodiscard]] LevelRequest requestVolume(const QString &id, float scalar, const GUID &context);
    /// The result is S_FALSE for the state that it has.
    [[nodiscard]] LevelRequest requestMute(const QString &id, bool muted, const GUID &context);
    /// The server answered a request.
    void requestAnswered(const QString &id, TrackedLevel::Ticket ticket, bool taken);

    // Readers.
    /// In a stable order; `flow` may be eAll, `states` is a mask.
    [[nodiscard]] std::vector<Endpoint> endpoints(EDataFlow flow, DWORD states) const;
    [[nodiscard]] std::optional<Endpoint> endpoint(const QString &id) const;
    [[nodiscard]] std::optional<Endpoint> defaultEndpoint(EDataFlow flow) const;
    /// Nothing unless the server lists the endpoint.
    [[nodiscard]] std::optional<Levels> levels(const QString &id) const;

private:
    struct Entry
    {
        Endpoint endpoint;
        bool isCard = false;
        bool isShown = false;
        bool isExpected = false; ///< its node is on the way, in or out
        std::vector<Node> nodes; ///< those of this name; the first one counts
        TrackedLevel volume;
        TrackedLevel mute;
    };

    [[nodiscard]] Entry *find(const QString &id);
    [[nodiscard]] const Entry *find(const QString &id) const;
    [[nodiscard]] Entry *holderOf(EDataFlow flow, quint32 index);

    void removeNode(EDataFlow flow, quint32 index);
    void arrive(Entry &entry);
    void change(Entry &entry, const Node &before);
    void leave(const QString &id);
    void reportLevels(Entry &entry);
    void settleCard(Entry &entry);
    void settleDefault(EDataFlow flow);
    void setState(Entry &entry, DWORD state);

    Dispatcher &dispatcher;
    mutable std::mutex mutex;
    std::condition_variable listingChanged;
    std::vector<Entry> entries;
    std::array<QString, 2> defaultNames; ///< as the server names them, by flow
    std::array<QString, 2> defaultIds;   ///< as last announced, by flow
    TrackedLevel::Ticket lastTicket = 0;
    bool hasServer = false;
};
} // namespace pulse
