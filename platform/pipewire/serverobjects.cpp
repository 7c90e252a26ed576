#include "platform/pipewire/serverobjects.h"

#include <pipewire/pipewire.h>

#include <algorithm>
#include <cstdlib>

namespace
{
std::string property(const spa_dict *properties, const char *key)
{
    const char *value = properties ? spa_dict_lookup(properties, key) : nullptr;
    return value ? value : "";
}

uint32_t idProperty(const spa_dict *properties, const char *key)
{
    return uint32_t(std::strtoul(property(properties, key).c_str(), nullptr, 10));
}
} // namespace

void ServerObjects::add(uint32_t id, std::string_view type, const spa_dict *properties)
{
    if (type == PW_TYPE_INTERFACE_Node) {
        nodes[id] = property(properties, PW_KEY_NODE_NAME);
    } else if (type == PW_TYPE_INTERFACE_Port) {
        portTable[id] = Port{id, idProperty(properties, PW_KEY_NODE_ID),
                             property(properties, PW_KEY_PORT_DIRECTION) == "out",
                             property(properties, PW_KEY_AUDIO_CHANNEL)};
    } else if (type == PW_TYPE_INTERFACE_Link) {
        links[id] = Link{idProperty(properties, PW_KEY_LINK_OUTPUT_NODE),
                         idProperty(properties, PW_KEY_LINK_INPUT_NODE)};
    }
}

void ServerObjects::remove(uint32_t id)
{
    nodes.erase(id);
    portTable.erase(id);
    links.erase(id);
}

void ServerObjects::clear()
{
    nodes.clear();
    portTable.clear();
    links.clear();
}

std::optional<uint32_t> ServerObjects::nodeOfName(std::string_view name) const
{
    const auto found = std::find_if(nodes.begin(), nodes.end(),
                                    [&](const auto &node) { return node.second == name; });
    return found == nodes.end() ? std::nullopt : std::optional(found->first);
}

std::vector<ServerObjects::Port> ServerObjects::ports(uint32_t node, bool isOutput) const
{
    std::vector<Port> result;
    for (const auto &[id, port] : portTable)
        if (port.node == node && port.isOutput == isOutput)
            result.push_back(port);
    return result;
}

bool ServerObjects::hasLinkInto(uint32_t node) const
{
    return std::any_of(links.begin(), links.end(),
                       [node](const auto &link) { return link.second.inputNode == node; });
}

bool ServerObjects::hasLinkFrom(uint32_t node) const
{
    return std::any_of(links.begin(), links.end(),
                       [node](const auto &link) { return link.second.outputNode == node; });
}

bool ServerObjects::hasLinkBetween(uint32_t one, uint32_t other) const
{
    return std::any_of(links.begin(), links.end(), [&](const auto &entry) {
        const Link &link = entry.second;
        return (link.outputNode == one && link.inputNode == other) ||
               (link.outputNode == other && link.inputNode == one);
    });
}

bool ServerObjects::isLinkable(uint32_t node) const
{
    return std::any_of(portTable.begin(), portTable.end(),
                       [node](const auto &port) { return port.second.node == node; });
}
