#include "platform/pipewire/cardlinks.h"

#include <utility>

namespace
{
constexpr size_t channelCount = 2;
}

CardLinks::CardLinks(Connection &connection, std::string sinkName, std::string sourceName)
    : connection(connection), sinkName(std::move(sinkName)), sourceName(std::move(sourceName))
{
}

void CardLinks::update()
{
    const ServerObjects &objects = connection.objects();
    const auto sink = objects.nodeOfName(sinkName);
    const auto source = objects.nodeOfName(sourceName);
    if (!sink || !source) {
        clear();
        return;
    }
    if (!proxies.empty())
        return;
    const auto outputs = objects.ports(*sink, true);
    const auto inputs = objects.ports(*source, false);
    if (outputs.size() < channelCount || inputs.size() < channelCount)
        return;
    for (const ServerObjects::Port &output : outputs)
        for (const ServerObjects::Port &input : inputs)
            if (output.channel == input.channel)
                link(output, input);
}

void CardLinks::link(const ServerObjects::Port &output, const ServerObjects::Port &input)
{
    pw_properties *properties =
        pw_properties_new(PW_KEY_LINK_PASSIVE, "true", PW_KEY_OBJECT_LINGER, "false", nullptr);
    pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_NODE, "%u", output.node);
    pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_PORT, "%u", output.id);
    pw_properties_setf(properties, PW_KEY_LINK_INPUT_NODE, "%u", input.node);
    pw_properties_setf(properties, PW_KEY_LINK_INPUT_PORT, "%u", input.id);
    void *proxy =
        pw_core_create_object(connection.serverCore(), "link-factory", PW_TYPE_INTERFACE_Link,
                              PW_VERSION_LINK, &properties->dict, 0);
    pw_properties_free(properties);
    if (proxy)
        proxies.push_back(static_cast<pw_proxy *>(proxy));
}

void CardLinks::clear()
{
    for (pw_proxy *proxy : std::exchange(proxies, {}))
        pw_proxy_destroy(proxy);
}
