#include "platform/pipewire/card.h"

#include "platform/pipewire/cardlinks.h"
#include "platform/pipewire/cardnode.h"
#include "platform/pipewire/speakerrings.h"
#include "platform/pipewire/speakertap.h"

#include <memory>
#include <vector>

namespace
{
constexpr std::chrono::seconds followTimeout(2);

/// What one endpoint has on the server while it is shown there.
struct Presence
{
    const card::CardEndpoint *endpoint;
    bool isShown = false;
    std::unique_ptr<CardNode> node;
    std::unique_ptr<SpeakerTap> tap;
};

class Card final : private ConnectionObserver
{
public:
    static Card &instance();

    [[nodiscard]] bool isShown(const card::CardEndpoint &endpoint);
    HRESULT setShown(const card::CardEndpoint &endpoint, bool shown);

private:
    explicit Card(Connection &connection);

    void serverCame() override;
    void serverLost() override;
    void objectsChanged() override;

    Presence &presenceOf(const card::CardEndpoint &endpoint);
    void outlastPredecessor(const Presence &presence);
    void appear(Presence &presence);
    void updateTap(Presence &presence);
    void vanish(Presence &presence);
    [[nodiscard]] bool isNamed(const card::CardEndpoint &endpoint) const;
    [[nodiscard]] bool isListed(const card::CardEndpoint &endpoint) const;

    Connection &connection;
    std::vector<Presence> presences;
    std::vector<std::unique_ptr<CardLinks>> lines;
};

Card &Card::instance()
{
    // Never destroyed, like the connection that calls it.
    static Card *card = new Card(Connection::instance());
    return *card;
}

Card::Card(Connection &connection) : connection(connection)
{
    for (const card::CardEndpoint &endpoint : card::endpoints()) {
        presences.push_back({&endpoint, false, nullptr, nullptr});
        if (endpoint.flow == eCapture)
            lines.push_back(std::make_unique<CardLinks>(connection,
                                                        endpoint.channel->renderSuffix.data(),
                                                        endpoint.nodeName.toStdString()));
    }
    const Connection::Lock lock(connection);
    connection.addObserver(this);
}

bool Card::isShown(const card::CardEndpoint &endpoint)
{
    const Connection::Lock lock(connection);
    return presenceOf(endpoint).isShown;
}

HRESULT Card::setShown(const card::CardEndpoint &endpoint, bool shown)
{
    const Connection::Lock lock(connection);
    Presence &presence = presenceOf(endpoint);
    presence.isShown = shown;
    if (shown)
        outlastPredecessor(presence);
    if (!connection.isConnected())
        return S_OK;
    if (shown)
        appear(presence);
    else
        vanish(presence);
    const auto followed = [&] { return isListed(endpoint) == shown || !connection.isConnected(); };
    return connection.waitUntil(followed, followTimeout) ? S_OK : E_FAIL;
}

void Card::serverCame()
{
    for (Presence &presence : presences)
        if (presence.isShown)
            appear(presence);
}

void Card::serverLost()
{
    for (auto &line : lines)
        line->clear();
    for (Presence &presence : presences)
        vanish(presence);
}

void Card::objectsChanged()
{
    for (Presence &presence : presences)
        updateTap(presence);
    for (auto &line : lines)
        line->update();
}

Presence &Card::presenceOf(const card::CardEndpoint &endpoint)
{
    return presences[size_t(&endpoint - card::endpoints().data())];
}

/// A program that was killed just now has left nodes that the server is about to take away. They
/// bear our names, by which streams find their target: ours come after them.
void Card::outlastPredecessor(const Presence &presence)
{
    const auto isOver = [&] {
        const bool isOurs = presence.node && !presence.node->isGone();
        return isOurs || !isNamed(*presence.endpoint) || !connection.isConnected();
    };
    connection.waitUntil(isOver, followTimeout);
}

void Card::appear(Presence &presence)
{
    if (presence.node && !presence.node->isGone())
        return;
    vanish(presence);
    presence.node = std::make_unique<CardNode>(connection, *presence.endpoint);
}

void Card::updateTap(Presence &presence)
{
    const card::CardEndpoint &endpoint = *presence.endpoint;
    FrameRing *ring =
        endpoint.flow == eRender ? speakerRing(endpoint.channel->fileSuffix) : nullptr;
    // A stream whose target the session manager has not prepared yet would be refused for good.
    if (!presence.node || !ring || !isListed(endpoint))
        return;
    const std::string name = endpoint.nodeName.toStdString();
    if (!presence.tap)
        presence.tap = std::make_unique<SpeakerTap>(connection, name, *ring);
    presence.tap->setClaimed(
        connection.objects().hasLinkInto(*connection.objects().nodeOfName(name)));
}

void Card::vanish(Presence &presence)
{
    presence.tap.reset();
    presence.node.reset();
}

bool Card::isNamed(const card::CardEndpoint &endpoint) const
{
    return connection.objects().nodeOfName(endpoint.nodeName.toStdString()).has_value();
}

bool Card::isListed(const card::CardEndpoint &endpoint) const
{
    // A node without ports is not listed yet by the session manager, nor by its clients.
    const auto node = connection.objects().nodeOfName(endpoint.nodeName.toStdString());
    return node && connection.objects().isLinkable(*node);
}
} // namespace

bool card::isShown(const QString &id)
{
    const CardEndpoint *endpoint = endpointOfId(id);
    return endpoint && Card::instance().isShown(*endpoint);
}

HRESULT card::setShown(const QString &id, bool shown)
{
    const CardEndpoint *endpoint = endpointOfId(id);
    return endpoint ? Card::instance().setShown(*endpoint, shown) : E_NOTFOUND;
}
