#include "platform/pipewire/cardnode.h"

namespace
{
pw_properties *nodeProperties(const card::CardEndpoint &endpoint)
{
    // A source of class Audio/Source gets no inputs from this factory, only one of class
    // Audio/Source/Virtual does.
    const bool renders = endpoint.flow == eRender;
    const std::string name = endpoint.nodeName.toStdString();
    const std::string description = endpoint.description.toStdString();
    return pw_properties_new(
        PW_KEY_FACTORY_NAME, "support.null-audio-sink", PW_KEY_NODE_NAME, name.c_str(),
        PW_KEY_NODE_DESCRIPTION, description.c_str(), PW_KEY_NODE_NICK, description.c_str(),
        PW_KEY_MEDIA_CLASS, renders ? "Audio/Sink" : "Audio/Source/Virtual", "audio.position",
        "FL,FR", "audio.rate", "48000", PW_KEY_NODE_VIRTUAL, "true", PW_KEY_OBJECT_LINGER, "false",
        // What applications play into a speaker is read at full scale, whatever level the server
        // keeps; the level of a line is the server's to apply.
        "monitor.channel-volumes", renders ? "false" : "true",
        // An idle node costs nothing, and a suspended one takes longer to wake.
        "session.suspend-timeout-seconds", "0", nullptr);
}
} // namespace

const pw_proxy_events CardNode::events = [] {
    pw_proxy_events events{};
    events.version = PW_VERSION_PROXY_EVENTS;
    events.removed = [](void *data) { static_cast<CardNode *>(data)->gone = true; };
    events.error = [](void *data, int, int, const char *) {
        static_cast<CardNode *>(data)->gone = true;
    };
    return events;
}();

CardNode::CardNode(Connection &connection, const card::CardEndpoint &endpoint)
{
    pw_properties *properties = nodeProperties(endpoint);
    proxy = static_cast<pw_proxy *>(pw_core_create_object(connection.serverCore(), "adapter",
                                                          PW_TYPE_INTERFACE_Node, PW_VERSION_NODE,
                                                          &properties->dict, 0));
    pw_properties_free(properties);
    pw_proxy_add_listener(proxy, &listener, &events, this);
}

CardNode::~CardNode()
{
    spa_hook_remove(&listener);
    pw_proxy_destroy(proxy);
}
