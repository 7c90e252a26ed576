#include "platform/linux/listedstream.h"

#include <pulse/proplist.h>

namespace pulse
{
namespace
{
QString property(const pa_proplist *properties, const char *key)
{
    return QString::fromUtf8(pa_proplist_gets(properties, key));
}

quint32 processOf(const pa_proplist *properties)
{
    return property(properties, PA_PROP_APPLICATION_PROCESS_ID).toUInt();
}

template <typename Info>
Stream streamAt(EDataFlow flow, quint32 node, const Info &info)
{
    return {.flow = flow,
            .index = info.index,
            .client = info.client,
            .node = node,
            .processId = processOf(info.proplist),
            .name = property(info.proplist, PA_PROP_APPLICATION_NAME),
            .icon = property(info.proplist, PA_PROP_APPLICATION_ICON_NAME),
            .isEvent = property(info.proplist, PA_PROP_MEDIA_ROLE) == QLatin1StringView("event"),
            .corked = info.corked != 0,
            .muted = info.mute != 0,
            .volume = info.volume};
}
} // namespace

Stream streamOf(const pa_sink_input_info &info)
{
    return streamAt(eRender, info.sink, info);
}

Stream streamOf(const pa_source_output_info &info)
{
    return streamAt(eCapture, info.source, info);
}

Client clientOf(const pa_client_info &info)
{
    const quint32 told = processOf(info.proplist);
    return {.index = info.index,
            .processId = told ? told : property(info.proplist, "pipewire.sec.pid").toUInt(),
            .name = property(info.proplist, PA_PROP_APPLICATION_NAME),
            .icon = property(info.proplist, PA_PROP_APPLICATION_ICON_NAME)};
}
} // namespace pulse
