// The channels that are shown now, and how a user's words find one.
#pragma once

#include "client/endpoint.h"
#include "client/exitcode.h"

/// The channel's one word on the wire's full names.
inline constexpr QLatin1StringView microphoneChannel{"Microphone"};
inline constexpr QLatin1StringView streamChannel{"Stream"};

/// The channel that the text means among these endpoints; two channels have two endpoints, of
/// which the output stands for both.
[[nodiscard]] Result<Endpoint> findChannel(const QList<Endpoint> &endpoints, const QString &text);
