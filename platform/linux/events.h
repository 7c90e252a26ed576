// What the platform tells its sinks.
#pragma once

#include "platform/coreaudio.h"

#include <QString>

#include <pulse/volume.h>

#include <variant>

namespace pulse
{
/// A change of the endpoint list, as the five calls of IMMNotificationClient tell it.
struct DeviceEvent
{
    enum Kind
    {
        Added,
        Removed,
        StateChanged,
        DefaultChanged, ///< one event; the sink is called once for each role
        NameChanged,
    };
    Kind kind;
    QString id;               ///< empty for a default that is none
    DWORD state = 0;          ///< of StateChanged
    EDataFlow flow = eRender; ///< of DefaultChanged
};

/// A change of an endpoint's volume or mute state.
struct LevelEvent
{
    QString id;
    GUID context; ///< of the request that made it; GUID_NULL for anybody else's
    bool muted;
    float scalar; ///< 0.0 to 1.0
    pa_cvolume volume;
};

/// A change of a session, or its beginning.
struct SessionEvent
{
    enum Kind
    {
        Created,
        NameChanged,
        IconChanged,
        VolumeChanged,
        StateChanged,
        Disconnected,
    };
    Kind kind;
    QString topic;
    QString session; ///< its instance identifier
    QString text{};  ///< of NameChanged and IconChanged
    AudioSessionState state = AudioSessionStateExpired;
    AudioSessionDisconnectReason reason = DisconnectReasonDeviceRemoval;
    float scalar = 0.0f; ///< of VolumeChanged, as the two below
    bool muted = false;
    GUID context{};
};

/// What those subscribe to who wait for an endpoint's new sessions.
inline QString sessionsTopic(const QString &endpointId)
{
    return QStringLiteral("sessions of ") + endpointId;
}

/// What the listeners of one session subscribe to.
inline QString sessionTopic(const QString &instanceIdentifier)
{
    return QStringLiteral("session ") + instanceIdentifier;
}

using Event = std::variant<DeviceEvent, LevelEvent, SessionEvent>;
} // namespace pulse
