// Sinks that write down what they are told, and short ways to the platform's objects.
#pragma once

#include "platform/comptr.h"
#include "platform/endpointtext.h"
#include "platform/pipewire/endpointid.h"
#include "platform/policyconfig.h"
#include "platform/posix/comobject.h"

#include <QMutex>
#include <QStringList>

#include <utility>

inline ComPtr<IMMDeviceEnumerator> makeEnumerator()
{
    ComPtr<IMMDeviceEnumerator> enumerator;
    CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_INPROC_SERVER,
                     IID_IMMDeviceEnumerator, enumerator.receiveVoid());
    return enumerator;
}

inline ComPtr<IMMDevice> deviceOf(const QString &id)
{
    ComPtr<IMMDevice> device;
    makeEnumerator()->GetDevice(id.toStdWString().c_str(), device.receive());
    return device;
}

inline DWORD stateOf(const QString &id)
{
    DWORD state = 0;
    if (const ComPtr<IMMDevice> device = deviceOf(id))
        device->GetState(&state);
    return state;
}

inline ComPtr<IAudioEndpointVolume> volumeOf(const QString &id)
{
    ComPtr<IAudioEndpointVolume> volume;
    if (const ComPtr<IMMDevice> device = deviceOf(id))
        device->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, volume.receiveVoid());
    return volume;
}

inline QString defaultId(EDataFlow flow)
{
    ComPtr<IMMDevice> device;
    makeEnumerator()->GetDefaultAudioEndpoint(flow, eConsole, device.receive());
    return device ? endpointID(device.get()) : QString();
}

/// The friendly names of the endpoints with these states.
inline QStringList namesOf(EDataFlow flow, DWORD states = DEVICE_STATE_ACTIVE)
{
    ComPtr<IMMDeviceCollection> devices;
    makeEnumerator()->EnumAudioEndpoints(flow, states, devices.receive());
    UINT count = 0;
    devices->GetCount(&count);
    QStringList names;
    for (UINT index = 0; index < count; ++index) {
        ComPtr<IMMDevice> device;
        devices->Item(index, device.receive());
        names += friendlyName(device.get());
    }
    return names;
}

inline HRESULT setVisible(const QString &id, bool visible)
{
    ComPtr<IPolicyConfig> policy;
    CoCreateInstance(CLSID_PolicyConfig, nullptr, CLSCTX_INPROC_SERVER, IID_IPolicyConfig,
                     policy.receiveVoid());
    return policy->SetEndpointVisibility(id.toStdWString().c_str(), visible);
}

inline HRESULT setDefault(const QString &id)
{
    ComPtr<IPolicyConfig> policy;
    CoCreateInstance(CLSID_PolicyConfig, nullptr, CLSCTX_INPROC_SERVER, IID_IPolicyConfig,
                     policy.receiveVoid());
    return policy->SetDefaultEndpoint(id.toStdWString().c_str(), eConsole);
}

/// Calls straight back into the platform with each notification, as the program's own sink does.
class DeviceSink final : public posix::ComObject<IMMNotificationClient>
{
public:
    HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR id, DWORD state) override
    {
        return add(QStringLiteral("state %1").arg(state), id);
    }
    HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR id) override { return add("added", id); }
    HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR id) override { return add("removed", id); }
    HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(EDataFlow flow, ERole role,
                                                     LPCWSTR id) override
    {
        return add(QStringLiteral("default %1 role %2").arg(flow).arg(role), id);
    }
    HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR id, const PROPERTYKEY key) override
    {
        return add(key == PKEY_Device_FriendlyName ? "name" : "property", id);
    }

    /// "what ID", oldest first.
    [[nodiscard]] QStringList events() const
    {
        const QMutexLocker lock(&mutex);
        return texts;
    }
    /// The name that the endpoint had in the call of the given event.
    [[nodiscard]] QString nameAt(const QString &event) const
    {
        const QMutexLocker lock(&mutex);
        const qsizetype index = texts.indexOf(event);
        return index < 0 ? QString() : names[index];
    }
    void clear()
    {
        const QMutexLocker lock(&mutex);
        texts.clear();
        names.clear();
    }

private:
    HRESULT add(const QString &what, LPCWSTR idText)
    {
        const QString id = QString::fromWCharArray(idText ? idText : L"");
        const ComPtr<IMMDevice> device = deviceOf(id);
        const QString name = device ? friendlyName(device.get()) : QString();
        const QMutexLocker lock(&mutex);
        texts += what + ' ' + id;
        names += name;
        return S_OK;
    }

    mutable QMutex mutex;
    QStringList texts;
    QStringList names;
};

/// Writes down levels as "percent open|muted context".
class LevelSink final : public posix::ComObject<IAudioEndpointVolumeCallback>
{
public:
    HRESULT STDMETHODCALLTYPE OnNotify(PAUDIO_VOLUME_NOTIFICATION_DATA data) override
    {
        const QMutexLocker lock(&mutex);
        texts += QStringLiteral("%1 %2 %3")
                     .arg(qRound(data->fMasterVolume * 100))
                     .arg(data->bMuted ? "muted" : "open")
                     .arg(data->guidEventContext.Data1);
        channels = data->nChannels;
        return S_OK;
    }
    [[nodiscard]] QStringList events() const
    {
        const QMutexLocker lock(&mutex);
        return texts;
    }
    [[nodiscard]] UINT channelCount() const
    {
        const QMutexLocker lock(&mutex);
        return channels;
    }
    void clear()
    {
        const QMutexLocker lock(&mutex);
        texts.clear();
    }

private:
    mutable QMutex mutex;
    QStringList texts;
    UINT channels = 0;
};

/// A sink that is made, registered and, with this, unregistered and released.
template <typename Sink>
ComPtr<Sink> makeSink()
{
    return ComPtr<Sink>::adopt(new Sink);
}
