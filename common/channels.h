// The channel table: the one home of the virtual endpoints' names, suffixes and types.
#pragma once

#include "common/tavoritypes.h"

#include <QString>

#include <array>

/// One named channel. `captureSuffix` is empty for a channel without a capture endpoint.
struct Channel
{
    tavoriDeviceType type;
    QLatin1StringView shortName;
    QLatin1StringView renderSuffix;
    QLatin1StringView captureSuffix;
    /// Last segment of the device file's path.
    QLatin1StringView fileSuffix;

    /// The endpoint's display name.
    [[nodiscard]] QString fullName() const;
};

/// The name of the virtual sound card, in parentheses behind each short name.
inline constexpr QLatin1StringView adapterName{"tavori Virtual Audio Device"};

inline constexpr std::array<Channel, 9> channels{{
    // clang-format off
    {tavoriAux,         QLatin1StringView("tavori - Aux"),        QLatin1StringView("tavori.Aux.WaveSpeaker"),         QLatin1StringView(),                          QLatin1StringView("tavori.Aux.WaveSpeaker")},
    {tavoriAux2,        QLatin1StringView("tavori - Aux2"),       QLatin1StringView("tavori.Aux2.WaveSpeaker"),        QLatin1StringView(),                          QLatin1StringView("tavori.Aux2.WaveSpeaker")},
    {tavoriAux3,        QLatin1StringView("tavori - Aux3"),       QLatin1StringView("tavori.Aux3.WaveSpeaker"),        QLatin1StringView(),                          QLatin1StringView("tavori.Aux3.WaveSpeaker")},
    {tavoriBrowser,     QLatin1StringView("tavori - Browser"),    QLatin1StringView("tavori.Browser.WaveSpeaker"),     QLatin1StringView(),                          QLatin1StringView("tavori.Browser.WaveSpeaker")},
    {tavoriChat,        QLatin1StringView("tavori - Chat"),       QLatin1StringView("tavori.Chat.WaveSpeaker"),        QLatin1StringView(),                          QLatin1StringView("tavori.Chat.WaveSpeaker")},
    {tavoriGame,        QLatin1StringView("tavori - Gaming"),     QLatin1StringView("tavori.Game.WaveSpeaker"),        QLatin1StringView(),                          QLatin1StringView("tavori.Game.WaveSpeaker")},
    {tavoriMedia,       QLatin1StringView("tavori - Media"),      QLatin1StringView("tavori.Media.WaveSpeaker"),       QLatin1StringView(),                          QLatin1StringView("tavori.Media.WaveSpeaker")},
    {tavoriChatCapture, QLatin1StringView("tavori - Microphone"), QLatin1StringView("tavori.ChatCapture.WaveSpeaker"), QLatin1StringView("tavori.ChatCapture.Wave"), QLatin1StringView("tavori.ChatCapture.Wave")},
    {tavoriStream,      QLatin1StringView("tavori - Stream"),     QLatin1StringView("tavori.Stream.WaveSpeaker"),      QLatin1StringView("tavori.Stream.Wave"),      QLatin1StringView("tavori.Stream.Wave")},
    // clang-format on
}};

/// The path of a channel's device file. `driverIndex` is 0 to 65535; it stands in the path as four
/// lower-case hexadecimal digits.
[[nodiscard]] QString deviceFilePath(int driverIndex, QLatin1StringView fileSuffix);

/// The row of a type; null for the types that name no channel.
[[nodiscard]] const Channel *channelOfType(tavoriDeviceType type);
/// The row with this full name, compared exactly; null if there is none.
[[nodiscard]] const Channel *channelOfFullName(const QString &fullName);
/// The row with this short name, compared exactly; null if there is none.
[[nodiscard]] const Channel *channelOfShortName(const QString &shortName);
