#include "platform/simulated/sessions.h"

#include "platform/simulated/immortal.h"
#include "platform/simulated/sessiontable.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace simulated
{

namespace
{

struct Table
{
    std::mutex mutex;
    std::map<SessionNumber, Session> sessions;
    SessionNumber last = 0;
};

Table &table()
{
    return immortal<Table>();
}

using SessionCall = std::function<void(IAudioSessionEvents *)>;

void post(SessionNumber number, SessionCall call)
{
    dispatcher().post([key = sinkKey(number), call = std::move(call)] {
        sessionEventSinks().deliver(key, call);
    });
}

} // namespace

SessionNumber addSession(const Session &session)
{
    const std::lock_guard lock(table().mutex);
    const SessionNumber number = ++table().last;
    Session added = session;
    if (added.identifier.isEmpty())
        added.identifier =
            QStringLiteral("%1|program%2").arg(added.endpointId).arg(added.processId);
    if (added.instanceIdentifier.isEmpty())
        added.instanceIdentifier = QStringLiteral("%1|%2").arg(added.identifier).arg(number);
    table().sessions.emplace(number, added);
    return number;
}

void removeSession(SessionNumber number)
{
    const std::lock_guard lock(table().mutex);
    table().sessions.erase(number);
}

void changeSession(SessionNumber number, const std::function<void(Session &)> &change)
{
    const std::lock_guard lock(table().mutex);
    if (const auto found = table().sessions.find(number); found != table().sessions.end())
        change(found->second);
}

Session session(SessionNumber number)
{
    return findSession(number).value_or(Session{});
}

QList<SessionNumber> sessionsOn(const QString &endpointId)
{
    const std::lock_guard lock(table().mutex);
    QList<SessionNumber> numbers;
    for (const auto &[number, session] : table().sessions) {
        if (session.endpointId == endpointId)
            numbers.append(number);
    }
    return numbers;
}

void notifySessionCreated(const QString &endpointId, SessionNumber number)
{
    dispatcher().post([endpointId, number] {
        newSessionSinkList().deliver(endpointId, [number](IAudioSessionNotification *sink) {
            const auto control =
                ComPtr<IAudioSessionControl>::adopt(number ? makeSessionControl(number) : nullptr);
            sink->OnSessionCreated(control.get());
        });
    });
}

void notifyDisplayName(SessionNumber number, const QString &name)
{
    post(number, [text = name.toStdWString()](IAudioSessionEvents *sink) {
        sink->OnDisplayNameChanged(text.c_str(), nullptr);
    });
}

void notifyIconPath(SessionNumber number, const QString &path)
{
    post(number, [text = path.toStdWString()](IAudioSessionEvents *sink) {
        sink->OnIconPathChanged(text.c_str(), nullptr);
    });
}

void notifySimpleVolume(SessionNumber number, float volume, bool muted)
{
    post(number, [volume, muted](IAudioSessionEvents *sink) {
        sink->OnSimpleVolumeChanged(volume, muted ? TRUE : FALSE, nullptr);
    });
}

void notifyChannelVolume(SessionNumber number, const QList<float> &volumes, DWORD changedChannel)
{
    post(number, [volumes, changedChannel](IAudioSessionEvents *sink) {
        std::vector<float> copy(volumes.begin(), volumes.end()); // a sink may write into it
        sink->OnChannelVolumeChanged(static_cast<DWORD>(copy.size()), copy.data(), changedChannel,
                                     nullptr);
    });
}

void notifyGroupingParam(SessionNumber number, REFGUID grouping, REFGUID context)
{
    post(number, [grouping, context](IAudioSessionEvents *sink) {
        sink->OnGroupingParamChanged(&grouping, &context);
    });
}

void notifySessionState(SessionNumber number, int state)
{
    post(number, [state](IAudioSessionEvents *sink) {
        sink->OnStateChanged(static_cast<AudioSessionState>(state));
    });
}

void notifyDisconnected(SessionNumber number, int reason)
{
    post(number, [reason](IAudioSessionEvents *sink) {
        sink->OnSessionDisconnected(static_cast<AudioSessionDisconnectReason>(reason));
    });
}

qsizetype sessionSinks(SessionNumber number)
{
    return sessionEventSinks().count(sinkKey(number));
}

QList<IAudioSessionEvents *> sinksOfSession(SessionNumber number)
{
    return sessionEventSinks().sinks(sinkKey(number));
}

qsizetype newSessionSinks(const QString &endpointId)
{
    return newSessionSinkList().count(endpointId);
}

std::optional<Session> findSession(SessionNumber number)
{
    const std::lock_guard lock(table().mutex);
    const auto found = table().sessions.find(number);
    if (found == table().sessions.end())
        return std::nullopt;
    return found->second;
}

SinkList<IAudioSessionEvents> &sessionEventSinks()
{
    return immortal<SinkList<IAudioSessionEvents>>();
}

SinkList<IAudioSessionNotification> &newSessionSinkList()
{
    return immortal<SinkList<IAudioSessionNotification>>();
}

QString sinkKey(SessionNumber number)
{
    return QString::number(number);
}

void resetSessions()
{
    const std::lock_guard lock(table().mutex);
    table().sessions.clear();
    table().last = 0;
}

} // namespace simulated
