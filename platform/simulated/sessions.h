// The table of audio sessions, and the events that a test raises for them. Changes of the table
// are quiet; the notify functions announce, and take any value.
#pragma once

#include "platform/coreaudio.h"

#include <QList>
#include <QString>

#include <functional>

namespace simulated
{

/// One session as a test describes it, for instance {.endpointId = speakers, .processId = 42}.
struct Session
{
    QString endpointId = {};
    DWORD processId = 1000;
    /// Made up from the endpoint and the process, as is the next, when it is empty.
    QString identifier = {};
    QString instanceIdentifier = {};
    QString displayName = {};
    QString iconPath = {};
    GUID groupingParam = {};
    AudioSessionState state = AudioSessionStateActive;
    bool systemSounds = false;
    /// Without it the control does not offer IAudioSessionControl2.
    bool hasControl2 = true;
    float volume = 1.0f; ///< 0.0 to 1.0
    bool muted = false;
};

/// Names a session for as long as the world is not reset; 0 names none.
using SessionNumber = int;

SessionNumber addSession(const Session &session);
/// Controls of the session go on answering, but with a failure.
void removeSession(SessionNumber number);
void changeSession(SessionNumber number, const std::function<void(Session &)> &change);
/// The session as it stands; one without an endpoint when there is none.
[[nodiscard]] Session session(SessionNumber number);
/// In the order of their adding, which is also that of enumeration.
[[nodiscard]] QList<SessionNumber> sessionsOn(const QString &endpointId);

/// Tells the endpoint's sinks of a new session; 0 gives them a null pointer.
void notifySessionCreated(const QString &endpointId, SessionNumber number);
void notifyDisplayName(SessionNumber number, const QString &name);
void notifyIconPath(SessionNumber number, const QString &path);
void notifySimpleVolume(SessionNumber number, float volume, bool muted);
void notifyChannelVolume(SessionNumber number, const QList<float> &volumes, DWORD changedChannel);
void notifyGroupingParam(SessionNumber number, REFGUID grouping, REFGUID context);
void notifySessionState(SessionNumber number, int state);
void notifyDisconnected(SessionNumber number, int reason);

/// How many sinks are registered now, on the session and on the endpoint.
[[nodiscard]] qsizetype sessionSinks(SessionNumber number);
[[nodiscard]] qsizetype newSessionSinks(const QString &endpointId);
/// The session's sinks themselves, for as long as they are registered.
[[nodiscard]] QList<IAudioSessionEvents *> sinksOfSession(SessionNumber number);

} // namespace simulated
