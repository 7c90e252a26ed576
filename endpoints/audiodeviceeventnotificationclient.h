// The sink for endpoint events: arrival, removal, state, defaults, properties.
#pragma once

#include "platform/coreaudio.h"

#include <QDateTime>
#include <QObject>
#include <QString>

#include <atomic>
#include <functional>

/// Turns the platform's endpoint notifications into signals that carry endpoint IDs.
///
/// Called on a thread of the platform; every callback returns S_OK. Made with one reference,
/// which is the parent's: give it up with releaseByParent() after unregistering, so that a
/// platform that still holds the sink never meets a deleted one.
class AudioDeviceEventNotificationClient : public QObject, public IMMNotificationClient
{
    Q_OBJECT

public:
    using Clock = std::function<QDateTime()>;

    /// `clock` tells the time for the 500 ms window of key property changes.
    explicit AudioDeviceEventNotificationClient(
        QObject *parent, Clock clock = [] { return QDateTime::currentDateTime(); });

    /// Leaves the parent and drops its reference. Call it when no other thread serves this
    /// object's events any more.
    void releaseByParent();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR pwstrDeviceId,
                                                   DWORD dwNewState) override;
    HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR pwstrDeviceId) override;
    HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR pwstrDeviceId) override;
    HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(EDataFlow flow, ERole role,
                                                     LPCWSTR pwstrDefaultDeviceId) override;
    HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR pwstrDeviceId,
                                                     const PROPERTYKEY key) override;

signals:
    void sigDefaultCaptureDeviceChanged(const QString &deviceID);
    void sigDefaultRenderDeviceChanged(const QString &deviceID);
    void sigDeviceAdded(const QString &deviceID);
    void sigDeviceRemoved(const QString &deviceID);
    void sigDeviceActive(const QString &deviceID);
    void sigDeviceDisabled(const QString &deviceID);
    void sigDeviceNotPresent(const QString &deviceID);
    void sigDeviceUnplugged(const QString &deviceID);
    /// A key property changed; at most one in 500 ms, whatever the endpoint.
    void sigPropertyValueChanged(const QString &deviceID);

private:
    ~AudioDeviceEventNotificationClient() override = default;

    std::atomic<ULONG> references{1};
    Clock clock;
    QDateTime lastKeyPropertyTime; ///< notification thread only, after construction
};
