#include "sessions/audiosessionevents.h"

#include <QDebug>
#include <QTimer>

#include <array>
#include <cstring>

namespace
{

constexpr const char *unknownText = "?????";

struct StateRow
{
    AudioSessionState state;
    const char *text;
    void (AudioSessionEvents::*signal)();
};

constexpr std::array stateRows{
    StateRow{AudioSessionStateInactive, "The session has no active audio streams.",
             &AudioSessionEvents::sigAudioSessionStateInactive},
    StateRow{AudioSessionStateActive, "The session has active audio streams.",
             &AudioSessionEvents::sigAudioSessionStateActive},
    StateRow{AudioSessionStateExpired, "The session is dormant.",
             &AudioSessionEvents::sigAudioSessionStateExpired},
};

/// By the value of the reason.
constexpr std::array reasonTexts{"device removed",       "server shut down",
                                 "format changed",       "user logged off",
                                 "session disconnected", "exclusive-mode override"};

const char *reasonText(AudioSessionDisconnectReason reason)
{
    const auto index = static_cast<std::size_t>(reason);
    return index < reasonTexts.size() ? reasonTexts[index] : unknownText;
}

/// The GUID's two halves as they lie in memory; null reads as zero.
QString halvesText(LPCGUID id)
{
    std::array<quint64, 2> halves{};
    static_assert(sizeof(halves) == sizeof(GUID));
    if (id)
        std::memcpy(halves.data(), id, sizeof(GUID));
    return QStringLiteral("%1-%2").arg(halves[0], 0, 16).arg(halves[1], 0, 16);
}

ULONG addReference(std::atomic<ULONG> &references)
{
    return references.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG dropReference(std::atomic<ULONG> &references)
{
    return references.fetch_sub(1, std::memory_order_acq_rel) - 1;
}

} // namespace

HRESULT AudioSessionEvents::QueryInterface(REFIID riid, void **ppvObject)
{
    if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IAudioSessionEvents)) {
        *ppvObject = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    *ppvObject = static_cast<IAudioSessionEvents *>(this);
    return S_OK;
}

ULONG AudioSessionEvents::AddRef()
{
    return addReference(references);
}

ULONG AudioSessionEvents::Release()
{
    const ULONG left = dropReference(references);
    if (left == 0)
        delete this;
    return left;
}

HRESULT AudioSessionEvents::OnDisplayNameChanged(LPCWSTR NewDisplayName, LPCGUID)
{
    const QString name = QString::fromWCharArray(NewDisplayName ? NewDisplayName : L"");
    qInfo() << "AudioSessionEvents::OnDisplayNameChanged"
            << "Audio session display name changed :" << name;
    QTimer::singleShot(0, this, [this, name] { emit sigDisplayNameChanged(name); });
    return S_OK;
}

HRESULT AudioSessionEvents::OnIconPathChanged(LPCWSTR NewIconPath, LPCGUID)
{
    const QString path = QString::fromWCharArray(NewIconPath ? NewIconPath : L"");
    qInfo() << "AudioSessionEvents::OnIconPathChanged"
            << "Audio session icon path changed :" << path;
    QTimer::singleShot(0, this, [this, path] { emit sigIconPathChanged(path); });
    return S_OK;
}

HRESULT AudioSessionEvents::OnSimpleVolumeChanged(float NewVolume, BOOL NewMute, LPCGUID)
{
    const char *const function = "AudioSessionEvents::OnSimpleVolumeChanged";
    if (NewMute) {
        qInfo() << function << "Audio session simple volume changed : MUTE";
        return S_OK;
    }
    // NOLINTNEXTLINE(bugprone-incorrect-roundings)
    const auto percent = static_cast<unsigned int>(100 * NewVolume + 0.5);
    qInfo()
        << function
        << QStringLiteral("Audio session simple volume changed, Volume = %1 percent").arg(percent);
    return S_OK;
}

HRESULT AudioSessionEvents::OnChannelVolumeChanged(DWORD ChannelCount,
                                                   float NewChannelVolumeArray[],
                                                   DWORD ChangedChannel, LPCGUID)
{
    const char *const function = "AudioSessionEvents::OnChannelVolumeChanged";
    qInfo() << function
            << QStringLiteral("Audio session channel volume changed, ChannelCount = %1, "
                              "ChangedChannel = %2")
                   .arg(ChannelCount)
                   .arg(ChangedChannel);
    for (DWORD channel = 0; channel < ChannelCount; ++channel)
        qInfo() << function
                << QStringLiteral("New channel volume : %1").arg(NewChannelVolumeArray[channel]);
    return S_OK;
}

HRESULT AudioSessionEvents::OnGroupingParamChanged(LPCGUID NewGroupingParam, LPCGUID EventContext)
{
    const QString grouping = halvesText(NewGroupingParam);
    qInfo() << "AudioSessionEvents::OnGroupingParamChanged"
            << QStringLiteral("Audio session grouping param changed, NewGroupingParam = {%1}, "
                              "EventContext = {%2}")
                   .arg(grouping, halvesText(EventContext));
    QTimer::singleShot(0, this, [this, grouping] { emit sigGroupingParamChanged(grouping); });
    return S_OK;
}

HRESULT AudioSessionEvents::OnStateChanged(AudioSessionState NewState)
{
    const StateRow *found = nullptr;
    for (const StateRow &row : stateRows) {
        if (row.state == NewState)
            found = &row;
    }
    qInfo() << "AudioSessionEvents::OnStateChanged"
            << QStringLiteral("New session state = %1").arg(found ? found->text : unknownText);
    if (found)
        QTimer::singleShot(0, this, [this, signal = found->signal] { emit(this->*signal)(); });
    return S_OK;
}

HRESULT AudioSessionEvents::OnSessionDisconnected(AudioSessionDisconnectReason DisconnectReason)
{
    const QString reason = reasonText(DisconnectReason);
    qInfo() << "AudioSessionEvents::OnSessionDisconnected"
            << QStringLiteral("Audio session disconnected (reason: %1)").arg(reason);
    emit sigAudioSessionDisconnected(reason);
    return S_OK;
}

HRESULT AudioSessionNotifications::QueryInterface(REFIID riid, void **ppvObject)
{
    if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IAudioSessionNotification)) {
        *ppvObject = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    *ppvObject = static_cast<IAudioSessionNotification *>(this);
    return S_OK;
}

ULONG AudioSessionNotifications::AddRef()
{
    return addReference(references);
}

ULONG AudioSessionNotifications::Release()
{
    const ULONG left = dropReference(references);
    if (left == 0)
        delete this;
    return left;
}

HRESULT AudioSessionNotifications::OnSessionCreated(IAudioSessionControl *NewSession)
{
    if (NewSession)
        emit sigSessionCreated();
    return S_OK;
}
