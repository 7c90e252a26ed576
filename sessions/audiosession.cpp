// AudioSession: the control and what is read through it.
#include "sessions/audiosession.h"

#include "sessions/applicationidentity.h"
#include "sessions/audiosessionevents.h"

#include <QCoreApplication>
#include <QDir>
#include <QMutexLocker>

namespace
{

/// No image is ever made: this is all that a client gets.
constexpr QLatin1StringView iconPrefix("data:image/png;base64,");

QString tempIconPath()
{
    return QDir::toNativeSeparators(QCoreApplication::applicationDirPath() + QDir::separator() +
                                    QLatin1StringView("TempIcons") + QDir::separator());
}

QString groupingText(const GUID &grouping)
{
    QString text = QStringLiteral("%1-%2-%3-%4")
                       .arg(grouping.Data1, 0, 16)
                       .arg(grouping.Data2, 0, 16)
                       .arg(grouping.Data3, 0, 16)
                       .arg(grouping.Data4[0], 0, 16);
    for (int index = 1; index < 8; ++index)
        text += QString::number(grouping.Data4[index], 16);
    return text;
}

QString stateText(int state)
{
    switch (state) {
    case AudioSessionStateInactive:
        return QStringLiteral("AudioSessionStateInactive");
    case AudioSessionStateActive:
        return QStringLiteral("AudioSessionStateActive");
    default:
        return QStringLiteral("AudioSessionStateExpired");
    }
}

} // namespace

AudioSession::AudioSession(QObject *parent)
    : QObject(parent), tempIconFolder(tempIconPath()), iconData(iconPrefix),
      // The sink lives as long as somebody holds a reference; this one is ours.
      events(new AudioSessionEvents, [](AudioSessionEvents *sink) { sink->Release(); })
{
    using Events = AudioSessionEvents;
    const Events *sink = events.data();
    connect(sink, &Events::sigDisplayNameChanged, this, &AudioSession::onDisplayNameChanged);
    connect(sink, &Events::sigIconPathChanged, this, &AudioSession::onIconPathChanged);
    connect(sink, &Events::sigGroupingParamChanged, this, &AudioSession::onGroupingParamChanged);
    connect(sink, &Events::sigAudioSessionStateActive, this,
            &AudioSession::onAudioSessionStateActive);
    connect(sink, &Events::sigAudioSessionStateInactive, this,
            &AudioSession::onAudioSessionStateInactive);
    connect(sink, &Events::sigAudioSessionStateExpired, this,
            &AudioSession::onAudioSessionStateExpired);
    connect(sink, &Events::sigAudioSessionDisconnected, this,
            &AudioSession::onAudioSessionDisconnected);
}

AudioSession::~AudioSession()
{
    releaseSessionControl();
}

void AudioSession::setSessionControl(IAudioSessionControl *newControl)
{
    releaseSessionControl();
    const QMutexLocker locker(&mutex);
    control = ComPtr<IAudioSessionControl>::retain(newControl);
    if (!control)
        return;
    control->RegisterAudioSessionNotification(events.data());
    control->QueryInterface(IID_IAudioSessionControl2, extendedControl.receiveVoid());
}

void AudioSession::releaseSessionControl()
{
    const QMutexLocker locker(&mutex);
    extendedControl.reset();
    if (control)
        control->UnregisterAudioSessionNotification(events.data());
    control.reset();
}

void AudioSession::refreshSessionInfo()
{
    sessionIdentifier = getSessionIdentifier();
    sessionInstanceIdentifier = getSessionInstanceIdentifier();
    sessionDisplayName = getSessionDisplayName();
    sessionIconPath = getSessionIconPath();
    sessionProcessId = getSessionProcessId();
    iconFilePath = tempIconFolder + getSessionProcessName() + QLatin1StringView(".png");
    const QString fileName = getSessionProcessFileName();
    {
        const QMutexLocker locker(&mutex);
        sessionProcessFileName = fileName;
    }
    iconData = iconPrefix;
    sessionGroupingParam = getSessionGroupingParam();
    static_cast<void>(getSessionState());
    static_cast<void>(isSystemSoundsSession());
}

QJsonObject AudioSession::getAudioSessionInfo()
{
    QJsonObject info;
    info["inDefaultEndpoint"] = inDefaultEndpoint;
    info["audioEndpointID"] = audioEndpointID;
    info["isSystemSoundsSession"] = isSystemSoundsSession();
    info["sessionIdentifier"] = getSessionIdentifier();
    info["sessionInstanceIdentifier"] = getSessionInstanceIdentifier();
    info["sessionDisplayName"] = getSessionDisplayName();
    info["sessionIconPath"] = getSessionIconPath();
    info["sessionState"] = stateText(getSessionState());
    info["sessionProcessId"] = getSessionProcessId();
    info["sessionProcessName"] = getSessionProcessName();
    info["sessionProcessFileName"] = getSessionProcessFileName();
    info["sessionProcessFileIcon"] = iconData;
    info["sessionGroupingParam"] = getSessionGroupingParam();
    return info;
}

QString AudioSession::readText(TextReader reader)
{
    const QMutexLocker locker(&mutex);
    if (!extendedControl)
        return {};
    LPWSTR text = nullptr;
    const HRESULT result = (extendedControl.get()->*reader)(&text);
    QString read;
    if (result == S_OK && text)
        read = QString::fromWCharArray(text);
    CoTaskMemFree(text);
    return read;
}

QString AudioSession::getSessionIdentifier()
{
    return readText(&IAudioSessionControl2::GetSessionIdentifier);
}

QString AudioSession::getSessionInstanceIdentifier()
{
    return readText(&IAudioSessionControl2::GetSessionInstanceIdentifier);
}

QString AudioSession::getSessionDisplayName()
{
    return readText(&IAudioSessionControl2::GetDisplayName);
}

QString AudioSession::getSessionIconPath()
{
    return readText(&IAudioSessionControl2::GetIconPath);
}

QString AudioSession::getSessionGroupingParam()
{
    const QMutexLocker locker(&mutex);
    if (!extendedControl)
        return {};
    GUID grouping{};
    if (extendedControl->GetGroupingParam(&grouping) != S_OK)
        grouping = GUID{};
    return groupingText(grouping);
}

int AudioSession::getSessionState()
{
    const QMutexLocker locker(&mutex);
    AudioSessionState state = AudioSessionStateExpired;
    if (extendedControl)
        extendedControl->GetState(&state);
    return state;
}

int AudioSession::processIdLocked() const
{
    if (!extendedControl)
        return -1;
    DWORD pid = 0;
    extendedControl->GetProcessId(&pid);
    return static_cast<int>(pid);
}

int AudioSession::getSessionProcessId()
{
    const QMutexLocker locker(&mutex);
    return processIdLocked();
}

int AudioSession::isSystemSoundsSession()
{
    const QMutexLocker locker(&mutex);
    return extendedControl ? extendedControl->IsSystemSoundsSession() : 0;
}

QString AudioSession::getSessionProcessName()
{
    const QMutexLocker locker(&mutex);
    if (sessionProcessName.isEmpty() && extendedControl) {
        if (const int pid = processIdLocked())
            sessionProcessName = applicationName(static_cast<DWORD>(pid));
    }
    return sessionProcessName;
}

QString AudioSession::getSessionProcessFileName()
{
    const QMutexLocker locker(&mutex);
    if (!sessionProcessFileName.isEmpty() || !extendedControl)
        return sessionProcessFileName;
    const int pid = processIdLocked();
    return pid ? applicationFileName(static_cast<DWORD>(pid)) : QString();
}
