// A card endpoint's node on the server.
#pragma once

#include "platform/pipewire/card.h"
#include "platform/pipewire/connection.h"

/// Exists on the server from construction to destruction, and never longer than our connection.
/// Everything with the loop locked.
class CardNode
{
public:
    CardNode(Connection &connection, const card::CardEndpoint &endpoint);
    ~CardNode();
    CardNode(const CardNode &) = delete;
    CardNode &operator=(const CardNode &) = delete;

    /// The server took the node away, or refused it.
    [[nodiscard]] bool isGone() const { return gone; }

private:
    static const pw_proxy_events events;

    pw_proxy *proxy = nullptr;
    spa_hook listener{};
    bool gone = false;
};
