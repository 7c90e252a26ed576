#include "link/commandtable.h"

#include "link/payloadkeys.h"
#include "link/websocketserver.h"

#include <algorithm>
#include <array>
#include <type_traits>

namespace
{
constexpr TextKey deviceType{"deviceType"};
constexpr TextKey deviceTypeOrOutput{"deviceType", "outputDevice"};
constexpr TextKey deviceName{"deviceName"};
constexpr TextKey deviceID{"deviceID"};
constexpr RouteKey routeDeviceName{"routeDeviceName"};
constexpr BooleanKey deviceMute{"deviceMute"};
constexpr UnsignedKey deviceVolume{"deviceVolume"};
constexpr UnsignedKey singleStep{"singleStep"};
constexpr TextKey mode{"mode"};
constexpr BooleanKey checked{"checked"};
constexpr BooleanKey mute{"mute"};
constexpr ObjectKey device{"device"};
constexpr ArrayKey data{"data"};
constexpr BooleanKey enable{"enable"};
constexpr IntegerKey gaming{"gaming"};
constexpr IntegerKey chat{"chat"};
constexpr IntegerKey appProcessID{"appProcessID"};
constexpr TextKey appName{"appName"};
constexpr TextKey audioEndpointID{"audioEndpointID"};
constexpr TextKey fromAudioEndpointID{"fromAudioEndpointID"};
constexpr TextKey outputDeviceName{"outputDeviceName"};
constexpr UnsignedKey pid{"pid"};

/// The client keeps its settings itself: these commands are legal and do nothing.
void drop(WebSocketServer &, const QJsonObject &) {}

/// Raises `Signal` with the keys' values in their order.
template <auto Signal, const auto &...Keys>
void raise(WebSocketServer &link, const QJsonObject &payload)
{
    emit(link.*Signal)(Keys.read(payload)...);
}

/// Raises the signal that "deviceType" chooses; `Other` is null where any other type is ignored.
template <auto Output, auto Input, auto Other, const auto &...Keys>
void raiseByType(WebSocketServer &link, const QJsonObject &payload)
{
    const QString type = deviceType.read(payload);
    if (type == QLatin1StringView("outputDevice"))
        raise<Output, Keys...>(link, payload);
    else if (type == QLatin1StringView("inputDevice"))
        raise<Input, Keys...>(link, payload);
    else if constexpr (!std::is_null_pointer_v<decltype(Other)>)
        raise<Other, Keys...>(link, payload);
}

/// Raises `Signal` with the mode that "mode" names; any other name is ignored.
template <auto Signal>
void raiseMode(WebSocketServer &link, const QJsonObject &payload)
{
    const QString name = mode.read(payload);
    if (name == QLatin1StringView("NormalMode"))
        emit(link.*Signal)(NormalMode);
    else if (name == QLatin1StringView("StreamerMode"))
        emit(link.*Signal)(StreamerMode);
}
} // namespace

void CommandTable::replyHeartbeat(WebSocketServer &link, const QJsonObject &)
{
    link.replyHeartbeat();
}

void CommandTable::replySystemUUID(WebSocketServer &link, const QJsonObject &)
{
    link.replySystemUUID();
}

struct CommandTable::Rows
{
    using Link = WebSocketServer;

    static constexpr std::array<Command, 40> all{{
        // clang-format off
        {"heartbeat", replyHeartbeat},
        {"quitApp", raise<&Link::sigQuitApp>},
        {"getSettings", drop},
        {"setSettings", drop},
        {"getGlobalSettings", drop},
        {"setGlobalSettings", drop},
        {"getOutputDeviceInfos", raise<&Link::sigGetOutputDeviceInfos>},
        {"getInputDeviceInfos", raise<&Link::sigGetInputDeviceInfos>},
        {"switchDevice", raiseByType<&Link::sigSwitchOutputDevice, &Link::sigSwitchInputDevice, nullptr, routeDeviceName, deviceName, deviceID>},
        {"setCurrentDevice", raiseByType<&Link::sigSetCurrentOutputDevice, &Link::sigSetCurrentInputDevice, nullptr, deviceName, deviceID>},
        {"getDeviceMute", raiseByType<&Link::sigGetOutputDeviceMute, &Link::sigGetInputDeviceMute, &Link::sigGetDeviceMute, deviceName, deviceID>},
        {"setDeviceMute", raiseByType<&Link::sigSetOutputDeviceMute, &Link::sigSetInputDeviceMute, &Link::sigSetDeviceMute, deviceName, deviceID, deviceMute>},
        {"getDeviceVolume", raiseByType<&Link::sigGetOutputDeviceVolume, &Link::sigGetInputDeviceVolume, &Link::sigGetDeviceVolume, deviceName, deviceID>},
        {"setDeviceVolume", raiseByType<&Link::sigSetOutputDeviceVolume, &Link::sigSetInputDeviceVolume, &Link::sigSetDeviceVolume, deviceName, deviceID, deviceVolume>},
        {"increaseDeviceVolume", raise<&Link::sigIncreaseDeviceVolume, deviceName, deviceID, singleStep>},
        {"decreaseDeviceVolume", raise<&Link::sigDecreaseDeviceVolume, deviceName, deviceID, singleStep>},
        {"setControlMode", raiseMode<&Link::sigSetControlMode>},
        {"switchPersonalSynthesizerDevice", raise<&Link::sigSwitchPersonalSynthesizerDevice, deviceName, deviceID>},
        {"addToPersonalSynthesizer", raise<&Link::sigAddToPersonalSynthesizer, deviceName, deviceID, checked>},
        {"switchStreamingSynthesizerDevice", raise<&Link::sigSwitchStreamingSynthesizerDevice, deviceName, deviceID>},
        {"addToStreamingSynthesizer", raise<&Link::sigAddToStreamingSynthesizer, deviceName, deviceID, checked>},
        {"switchMicrophoneInputDevice", raise<&Link::sigSwitchMicrophoneInputDevice, deviceName, deviceID>},
        {"setPersonalSynthesizerDeviceVolume", raise<&Link::sigSetPersonalSynthesizerDeviceVolume, deviceName, deviceID, deviceVolume>},
        {"setPersonalSynthesizerDeviceMute", raise<&Link::sigSetPersonalSynthesizerDeviceMute, deviceName, deviceID, mute>},
        {"setStreamingSynthesizerDeviceVolume", raise<&Link::sigSetStreamingSynthesizerDeviceVolume, deviceName, deviceID, deviceVolume>},
        {"setStreamingSynthesizerDeviceMute", raise<&Link::sigSetStreamingSynthesizerDeviceMute, deviceName, deviceID, mute>},
        {"openHidDevice", raise<&Link::sigOpenHidDevice, device>},
        {"closeHidDevice", raise<&Link::sigCloseHidDevice, device>},
        {"writeDataToHidDevice", raise<&Link::sigWriteDataToHidDevice, device, data>},
        {"getInputReportFromHidDevice", raise<&Link::sigGetInputReportFromHidDevice, device>},
        {"setGamingChatMixEnable", raise<&Link::sigSetGamingChatMixEnable, enable>},
        {"setGamingChatMixProportion", raise<&Link::sigSetGamingChatMixProportion, gaming, chat>},
        {"getAudioSessionInfos", raise<&Link::sigGetAudioSessionInfos>},
        {"getDeviceAudioSessionInfos", raise<&Link::sigGetDeviceAudioSessionInfos, deviceID>},
        {"setAppDefaultAudioEndpoint", raise<&Link::sigSetAppDefaultAudioEndpoint, appProcessID, appName, audioEndpointID, fromAudioEndpointID, deviceTypeOrOutput>},
        {"addOutputDevice", raise<&Link::sigAddOutputDevice, outputDeviceName>},
        {"removeOutputDevice", raise<&Link::sigRemoveOutputDevice, outputDeviceName>},
        {"getSystemUUID", replySystemUUID},
        {"finishSetControlMode", raiseMode<&Link::sigFinishSetControlMode>},
        {"addMemoryCheck", raise<&Link::sigAddMemoryCheck, pid>},
        // clang-format on
    }};
};

const Command *CommandTable::find(const QString &name)
{
    const auto isNamed = [&](const Command &command) {
        return name == QLatin1StringView(command.name.data(), qsizetype(command.name.size()));
    };
    const auto *row = std::find_if(Rows::all.begin(), Rows::all.end(), isNamed);
    return row == Rows::all.end() ? nullptr : row;
}
