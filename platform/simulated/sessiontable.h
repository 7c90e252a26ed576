// What the interfaces of sessions ask the table, and where their sinks stand.
#pragma once

#include "platform/simulated/sessions.h"
#include "platform/simulated/sinklist.h"

#include <optional>

namespace simulated
{

/// A copy of the session as it stands.
[[nodiscard]] std::optional<Session> findSession(SessionNumber number);

/// The sinks of sessions are kept under the session's key, those of endpoints under the ID.
SinkList<IAudioSessionEvents> &sessionEventSinks();
SinkList<IAudioSessionNotification> &newSessionSinkList();
[[nodiscard]] QString sinkKey(SessionNumber number);

[[nodiscard]] IAudioSessionControl *makeSessionControl(SessionNumber number);
[[nodiscard]] IAudioSessionManager2 *makeSessionManager(const QString &endpointId);

void resetSessions();

} // namespace simulated
