// The virtual sound card: its endpoints and which of them are shown. Endpoints and their IDs
// exist with and without a server; their nodes exist while they are shown and a server is there.
#pragma once

#include "common/channels.h"
#include "platform/coreaudio.h"

#include <QString>

#include <span>

namespace card
{
/// One endpoint of the card.
struct CardEndpoint
{
    const Channel *channel;
    EDataFlow flow;
    QString nodeName;    ///< node.name on the server, the name of the sink or source there
    QString id;          ///< endpoint ID
    QString description; ///< the channel's full name, which is the display name
};

/// All eleven: nine render endpoints in the order of the channel table, then two capture ones.
[[nodiscard]] std::span<const CardEndpoint> endpoints();

/// The endpoint with this ID, compared exactly; null if it is none of the card's.
[[nodiscard]] const CardEndpoint *endpointOfId(const QString &id);
/// The endpoint with this node name, compared exactly; null if it is none of the card's.
[[nodiscard]] const CardEndpoint *endpointOfNodeName(const QString &nodeName);

/// The node from which a line is recorded whose sound is played into the node with this name;
/// empty if that is no line's.
[[nodiscard]] QString lineOutputOf(const QString &nodeName);

/// Whether the endpoint was last asked to be shown. All start hidden. False for an unknown ID.
[[nodiscard]] bool isShown(const QString &id);

/// Shows or hides an endpoint. With a server it returns when the server's registry lists the node
/// or has lost it, after two seconds at most; without one it only remembers, and the node comes
/// with the server. Callable from any thread but a real-time one. S_OK; E_NOTFOUND for an unknown
/// ID; E_FAIL when the server did not follow in time (it may still do so).
HRESULT setShown(const QString &id, bool shown);
} // namespace card
