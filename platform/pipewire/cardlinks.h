// Links between two nodes of the card.
#pragma once

#include "platform/pipewire/connection.h"

#include <string>
#include <vector>

/// Carries the monitor of a sink to the input of a source, inside the server: no sample comes
/// through this process. The links are passive, so neither end is kept running by them.
/// Everything with the loop locked.
class CardLinks
{
public:
    CardLinks(Connection &connection, std::string sinkName, std::string sourceName);
    ~CardLinks() { clear(); }
    CardLinks(const CardLinks &) = delete;
    CardLinks &operator=(const CardLinks &) = delete;

    /// Makes the links once both nodes have their ports; drops them when a node is gone.
    void update();
    void clear();

private:
    void link(const ServerObjects::Port &output, const ServerObjects::Port &input);

    Connection &connection;
    std::string sinkName;
    std::string sourceName;
    std::vector<pw_proxy *> proxies;
};
