// The nodes, ports and links that the server lists.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct spa_dict;

/// A mirror of the server's registry as far as the card and the streams look at it. Lives on the
/// connection's loop: touch it with the loop locked.
class ServerObjects
{
public:
    struct Port
    {
        uint32_t id;
        uint32_t node;
        bool isOutput;
        std::string channel; ///< audio.channel, such as "FL"
    };

    struct Link
    {
        uint32_t outputNode;
        uint32_t inputNode;
    };

    /// Takes an object that the server announces; other types are passed over.
    void add(uint32_t id, std::string_view type, const spa_dict *properties);
    void remove(uint32_t id);
    void clear();

    /// The global ID of the node with this node.name.
    [[nodiscard]] std::optional<uint32_t> nodeOfName(std::string_view name) const;
    [[nodiscard]] bool hasNode(uint32_t id) const { return nodes.contains(id); }
    [[nodiscard]] std::vector<Port> ports(uint32_t node, bool isOutput) const;
    /// Whether anything plays into the node, or could at any moment.
    [[nodiscard]] bool hasLinkInto(uint32_t node) const;
    /// Whether anything hears the node, or could at any moment.
    [[nodiscard]] bool hasLinkFrom(uint32_t node) const;
    [[nodiscard]] bool hasLinkBetween(uint32_t one, uint32_t other) const;
    /// Whether the session manager has given the node its ports: before, it can't be linked.
    [[nodiscard]] bool isLinkable(uint32_t node) const;

private:
    std::map<uint32_t, std::string> nodes;
    std::map<uint32_t, Port> portTable;
    std::map<uint32_t, Link> links;
};
