// DeviceAudioSession: the list of sessions.
#include "sessions/deviceaudiosession.h"

#include "sessions/audiosession.h"
#include "sessions/audiosessionevents.h"
#include "sessions/sessionfilter.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QMutexLocker>
#include <QThread>

#include <algorithm>
#include <memory>

namespace
{

constexpr int refreshDelay = 500; // ms

/// Nobody hears of the session any more. It lives until its thread is done with it: an event of it
/// may be under way there, even the very one that ends it.
void endSession(AudioSession *session)
{
    session->disconnect();
    session->releaseSessionControl();
    session->deleteLater();
}

/// The same, at once where that is safe: on the session's own thread with no event under way.
void endIdleSession(AudioSession *session)
{
    if (session->thread() != QThread::currentThread()) {
        endSession(session);
        return;
    }
    session->disconnect();
    delete session;
}

} // namespace

DeviceAudioSession::DeviceAudioSession(bool capture, const QString &deviceID,
                                       IAudioSessionManager2 *manager)
    : capture(capture), deviceID(deviceID), manager(ComPtr<IAudioSessionManager2>::retain(manager)),
      notifications(new AudioSessionNotifications), refreshTimer(new QTimer(this))
{
    refreshTimer->setTimerType(Qt::PreciseTimer);
    refreshTimer->setInterval(refreshDelay);
    connect(refreshTimer, &QTimer::timeout, this, [this] {
        refreshTimer->stop();
        refreshDeviceAudioSession(false);
    });
    notifications->setProperty("deviceID", deviceID);
    connect(notifications, &AudioSessionNotifications::sigSessionCreated, this,
            &DeviceAudioSession::onSessionCreated);
    if (manager)
        manager->RegisterSessionNotification(notifications);
    refreshDeviceAudioSession(true);
}

DeviceAudioSession::~DeviceAudioSession()
{
    if (refreshTimer)
        refreshTimer->stop();
    {
        const QMutexLocker locker(&mutex);
        endAllSessions();
    }
    if (manager)
        manager->UnregisterSessionNotification(notifications);
    manager.reset();
    notifications->disconnect();
    notifications->Release();
}

void DeviceAudioSession::endAllSessions()
{
    while (!sessions.isEmpty()) {
        if (AudioSession *session = sessions.takeFirst())
            endIdleSession(session);
    }
}

void DeviceAudioSession::refreshDeviceAudioSession(bool reset)
{
    bool changed = false;
    if (manager) {
        const QMutexLocker locker(&mutex);
        changed = readSessions(reset);
    }
    if (changed)
        emit sigUpdateDeviceAudioSessionInfos(deviceID, getDeviceAudioSessionInfos());
}

bool DeviceAudioSession::readSessions(bool reset)
{
    if (reset)
        endAllSessions();
    bool changed = reset;

    ComPtr<IAudioSessionEnumerator> enumerator;
    if (FAILED(manager->GetSessionEnumerator(enumerator.receive())) || !enumerator)
        return changed;
    const QString ownPath = QDir::toNativeSeparators(QCoreApplication::applicationFilePath());
    int count = 0;
    if (FAILED(enumerator->GetCount(&count)))
        count = 0;
    for (int index = 0; index < count; ++index) {
        ComPtr<IAudioSessionControl> control;
        enumerator->GetSession(index, control.receive());
        if (control && takeSession(control.get(), ownPath, reset))
            changed = true;
    }
    return changed;
}

bool DeviceAudioSession::takeSession(IAudioSessionControl *control, const QString &ownPath,
                                     bool reset)
{
    auto session = std::make_unique<AudioSession>();
    session->setSessionControl(control);
    const int processId = session->getSessionProcessId();
    const QString name = session->getSessionProcessName();
    const QString path = QDir::toNativeSeparators(session->getSessionProcessFileName());
    if (isHiddenSession(processId, name, path, ownPath))
        return false;
    if (!isOwnedBySelf(*session)) {
        qInfo() << "Not the audio session of the current device:" << name << path;
        return false;
    }
    updateDefaultEndpointState(session.get());
    if (!reset && isRepetitiveAudioSession(session.get())) {
        qInfo() << "Repetitive audio session:" << name << path;
        return false;
    }
    session->refreshSessionInfo();
    connectSession(session.get());
    sessions.append(session.release());
    return true;
}

bool DeviceAudioSession::isOwnedBySelf(AudioSession &session) const
{
    return session.getSessionIdentifier().startsWith(deviceID) &&
           session.getSessionInstanceIdentifier().startsWith(deviceID);
}

QJsonArray DeviceAudioSession::getDeviceAudioSessionInfos()
{
    const QMutexLocker locker(&mutex);
    QJsonArray infos;
    for (const QPointer<AudioSession> &session : std::as_const(sessions)) {
        if (!session)
            continue;
        const QJsonObject info = session->getAudioSessionInfo();
        if (!info.isEmpty())
            infos.append(info);
    }
    return infos;
}

bool DeviceAudioSession::isRepetitiveAudioSession(AudioSession *session)
{
    if (!session)
        return false;
    const QString identifier = session->getSessionIdentifier();
    const QString instanceIdentifier = session->getSessionInstanceIdentifier();
    const int processId = session->getSessionProcessId();
    const QString grouping = session->getSessionGroupingParam();
    const auto found = std::ranges::find_if(sessions, [&](const QPointer<AudioSession> &listed) {
        return listed && listed->getSessionIdentifier() == identifier &&
               listed->getSessionInstanceIdentifier() == instanceIdentifier &&
               listed->getSessionProcessId() == processId &&
               listed->getSessionGroupingParam() == grouping;
    });
    if (found == sessions.end())
        return false;
    AudioSession *const listed = *found;
    if (listed->getSessionState() == session->getSessionState())
        return true;
    sessions.erase(found);
    endIdleSession(listed);
    return false;
}

void DeviceAudioSession::onSessionCreated()
{
    if (!refreshTimer)
        QTimer::singleShot(refreshDelay, this, [this] { refreshDeviceAudioSession(false); });
    else if (!refreshTimer->isActive())
        refreshTimer->start();
}

void DeviceAudioSession::removeSession(const AudioSession *session)
{
    if (!session)
        return;
    AudioSession *listed = nullptr;
    {
        const QMutexLocker locker(&mutex);
        const qsizetype index = sessions.indexOf(session);
        if (index >= 0)
            listed = sessions.takeAt(index);
    }
    if (listed)
        endSession(listed);
}
