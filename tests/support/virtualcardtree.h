// The virtual card's part of the endpoint tree, as literal settings for the simulated platform.
#pragma once

#include "common/channels.h"
#include "platform/coreaudio.h"
#include "platform/simulated/settings.h"

#include <QString>

inline simulated::SettingsKeys cardKeys(const QString &adapter, const QString &hardwareId,
                                        const QString &shortName, const QString &interfacePath)
{
    return {{"Properties/{a45c254e-df1c-4efd-8020-67d146a850e0},2", shortName},
            {"Properties/{b3f8fa53-0004-438e-9003-51a46e139bfc},6", adapter},
            {"Properties/{a8b865dd-2e3d-4094-ad97-e593a70c75d6},8", hardwareId},
            {"Properties/{233164c8-1b2c-4c7d-bc68-b671687a2567},1", interfacePath}};
}

/// The group of a channel in either tree, "{00000006-0000-0000-0000-000000000000}" for Gaming.
inline QString cardGroup(const Channel &channel)
{
    return QStringLiteral("{%1-0000-0000-0000-000000000000}")
        .arg(static_cast<int>(channel.type), 8, 10, QLatin1Char('0'));
}

/// The ID of a channel's endpoint, as its place in the tree gives it.
inline QString cardEndpointId(const Channel &channel, EDataFlow flow)
{
    return QLatin1StringView(flow == eRender ? "{0.0.0.00000000}." : "{0.0.1.00000000}.") +
           cardGroup(channel);
}

inline simulated::SettingsGroups cardGroups(QLatin1StringView Channel::*suffix)
{
    simulated::SettingsGroups groups;
    for (const Channel &channel : channels) {
        if ((channel.*suffix).isEmpty())
            continue;
        const QString path =
            QLatin1StringView("{2}.\\\\?\\root#media#0000#{guid}\\") + channel.*suffix;
        groups.append({cardGroup(channel), cardKeys(adapterName, "ROOT\\tavoriVirtualAudioDriver",
                                                    channel.shortName, path)});
    }
    return groups;
}

inline simulated::SettingsGroups renderCardGroups()
{
    return cardGroups(&Channel::renderSuffix);
}

inline simulated::SettingsGroups captureCardGroups()
{
    return cardGroups(&Channel::captureSuffix);
}

inline void setEndpointTree(const char *name, const simulated::SettingsGroups &groups)
{
    simulated::setSettings("\\HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion"
                           "\\MMDevices\\Audio\\" +
                               QString(name),
                           groups);
}

inline void setRenderTree(const simulated::SettingsGroups &groups)
{
    setEndpointTree("Render", groups);
}

inline void setCaptureTree(const simulated::SettingsGroups &groups)
{
    setEndpointTree("Capture", groups);
}
