// The sink for the master volume and mute of one endpoint.
#pragma once

#include "platform/coreaudio.h"

#include <QObject>
#include <QString>

#include <atomic>

/// Turns the platform's level notifications into signals. Reference counted: made with one
/// reference, deleted by the last Release. Called on a thread of the platform.
class AudioEndpointVolumeCallback : public QObject, public IAudioEndpointVolumeCallback
{
    Q_OBJECT

public:
    /// `eventContext` is the owner's: a change that carries it was made by the owner.
    AudioEndpointVolumeCallback(const GUID &eventContext, const QString &deviceID);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    /// E_INVALIDARG for null.
    HRESULT STDMETHODCALLTYPE OnNotify(PAUDIO_VOLUME_NOTIFICATION_DATA pNotify) override;

signals:
    /// Somebody else changed volume or mute. `fMasterVolume` is the percentage plus one half.
    void sigDeviceControlChanged(const QString &sDeviceID, BOOL bMuted, float fMasterVolume,
                                 GUID eventContext);
    /// The owner changed volume or mute. `fMasterVolume` is the percentage plus one half.
    void sigDeviceStateChanged(const QString &sDeviceID, BOOL bMuted, float fMasterVolume,
                               GUID eventContext);

private:
    ~AudioEndpointVolumeCallback() override = default;

    const GUID eventContext;
    const QString deviceID;
    std::atomic<ULONG> references{1};
};
