// The events that the program sends: each name with its payload keys, in the order of the
// sender's arguments.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

struct EventRow
{
    std::string_view name;
    /// Unused places stay empty.
    std::array<std::string_view, 8> keys;
};

inline constexpr std::array<EventRow, 36> eventTable{{
    // clang-format off
    // Endpoints
    {"didReceiveOutputDeviceInfos", {"defaultDevice", "outputDevice"}},
    {"didReceiveInputDeviceInfos", {"defaultDevice", "inputDevice"}},
    {"defaultDeviceChanged", {"deviceType", "deviceName", "deviceID"}},
    {"deviceAdded", {"deviceName", "deviceID"}},
    {"deviceActive", {"deviceName", "deviceID"}},
    {"deviceRemoved", {"deviceID"}},
    {"deviceDisabled", {"deviceID"}},
    {"deviceNotPresent", {"deviceID"}},
    {"deviceUnplugged", {"deviceID"}},
    {"deviceControlChanged", {"deviceName", "deviceID", "deviceMute", "deviceVolume"}},
    {"didReceiveDeviceMute", {"deviceName", "deviceID", "deviceMute"}},
    {"didReceiveDeviceVolume", {"deviceName", "deviceID", "deviceVolume"}},
    {"failedToSetDeviceMute", {"deviceName", "deviceID", "deviceMute"}},
    {"failedToSetDeviceVolume", {"deviceName", "deviceID", "deviceVolume"}},
    {"finishAddOutputDevice", {"outputDeviceName"}},
    {"cannotAddOutputDevice", {"outputDeviceName"}},
    {"finishRemoveOutputDevice", {"outputDeviceName"}},
    {"cannotRemoveOutputDevice", {"outputDeviceName"}},
    // HID devices
    {"deviceDidConnect", {"device"}},
    {"deviceDidDisconnect", {"device"}},
    {"unableToOpenDevice", {"device", "errorString"}},
    {"hidWriteResult", {"device", "writeResult", "errorString"}},
    {"receivedFromGetInputReport", {"device", "data", "result"}},
    {"receivedFromGetFeatureReport", {"device", "data", "result"}},
    // Audio sessions
    {"didReceiveAudioSessionInfos", {"audioSessionInfos"}},
    {"didReceiveDeviceAudioSessionInfos", {"deviceID", "deviceAudioSessionInfos"}},
    {"audioSessionInfoChanged", {"deviceID", "audioSessionInfo"}},
    {"audioSessionDisplayNameChanged", {"deviceID", "audioEndpointID", "sessionIdentifier", "sessionInstanceIdentifier", "sessionProcessId", "sessionProcessName", "sessionDisplayName"}},
    {"audioSessionIconPathChanged", {"deviceID", "audioEndpointID", "sessionIdentifier", "sessionInstanceIdentifier", "sessionProcessId", "sessionProcessName", "sessionIconPath"}},
    {"audioSessionGroupingParamChanged", {"deviceID", "audioEndpointID", "sessionIdentifier", "sessionInstanceIdentifier", "sessionProcessId", "sessionProcessName", "sessionOldGroupingParam", "sessionNewGroupingParam"}},
    {"audioSessionStateActive", {"deviceID", "audioEndpointID", "sessionIdentifier", "sessionInstanceIdentifier", "sessionGroupingParam", "sessionProcessId", "sessionProcessName", "sessionProcessFileIcon"}},
    {"audioSessionStateInactive", {"deviceID", "audioEndpointID", "sessionIdentifier", "sessionInstanceIdentifier", "sessionGroupingParam", "sessionProcessId", "sessionProcessName", "sessionProcessFileIcon"}},
    {"audioSessionStateExpired", {"deviceID", "audioEndpointID", "sessionIdentifier", "sessionInstanceIdentifier", "sessionGroupingParam", "sessionProcessId", "sessionProcessName", "sessionProcessFileIcon"}},
    {"audioSessionDisconnected", {"deviceID", "audioEndpointID", "sessionIdentifier", "sessionInstanceIdentifier", "sessionGroupingParam", "sessionProcessId", "sessionProcessName", "disconnectReason"}},
    {"finishSetAppDefaultAudioEndpoint", {"appName", "audioEndpointID", "success"}},
    // System
    {"didReceiveSystemUUID", {"systemUUID"}},
    // clang-format on
}};

/// The place of an event in the table. A name that is not there does not compile.
consteval std::size_t eventRow(std::string_view name)
{
    for (std::size_t row = 0; row < eventTable.size(); ++row) {
        if (eventTable[row].name == name)
            return row;
    }
    throw "no such event";
}

/// How many keys the payload of an event has.
consteval std::size_t keyCount(std::size_t row)
{
    std::size_t count = 0;
    while (count < eventTable[row].keys.size() && !eventTable[row].keys[count].empty())
        ++count;
    return count;
}
