#include "endpoints/audiodeviceeventnotificationclient.h"

#include "endpoints/keyproperties.h"
#include "platform/comptr.h"
#include "platform/endpointtext.h"

#include <QDebug>

namespace
{

constexpr qint64 keyPropertyWindow = 500; // ms

/// The name is not used: the look-up as such belongs to what each callback does.
void resolveFriendlyName(LPCWSTR deviceID)
{
    ComPtr<IMMDeviceEnumerator> enumerator;
    if (FAILED(CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IMMDeviceEnumerator, enumerator.receiveVoid())))
        return;
    ComPtr<IMMDevice> device;
    if (FAILED(enumerator->GetDevice(deviceID, device.receive())))
        return;
    static_cast<void>(friendlyName(device.get()));
}

QString textOf(LPCWSTR deviceID)
{
    return deviceID ? QString::fromWCharArray(deviceID) : QString();
}

} // namespace

AudioDeviceEventNotificationClient::AudioDeviceEventNotificationClient(QObject *parent, Clock clock)
    : QObject(parent), clock(std::move(clock)), lastKeyPropertyTime(this->clock())
{
}

void AudioDeviceEventNotificationClient::releaseByParent()
{
    setParent(nullptr);
    Release();
}

HRESULT AudioDeviceEventNotificationClient::QueryInterface(REFIID riid, void **ppvObject)
{
    if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IMMNotificationClient)) {
        *ppvObject = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    *ppvObject = static_cast<IMMNotificationClient *>(this);
    return S_OK;
}

ULONG AudioDeviceEventNotificationClient::AddRef()
{
    return references.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG AudioDeviceEventNotificationClient::Release()
{
    const ULONG left = references.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0)
        delete this;
    return left;
}

HRESULT AudioDeviceEventNotificationClient::OnDeviceStateChanged(LPCWSTR pwstrDeviceId,
                                                                 DWORD dwNewState)
{
    resolveFriendlyName(pwstrDeviceId);
    const QString deviceID = textOf(pwstrDeviceId);
    switch (dwNewState) {
    case DEVICE_STATE_ACTIVE:
        emit sigDeviceActive(deviceID);
        break;
    case DEVICE_STATE_DISABLED:
        emit sigDeviceDisabled(deviceID);
        break;
    case DEVICE_STATE_NOTPRESENT:
        emit sigDeviceNotPresent(deviceID);
        break;
    case DEVICE_STATE_UNPLUGGED:
        emit sigDeviceUnplugged(deviceID);
        break;
    default:
        break;
    }
    return S_OK;
}

HRESULT AudioDeviceEventNotificationClient::OnDeviceAdded(LPCWSTR pwstrDeviceId)
{
    resolveFriendlyName(pwstrDeviceId);
    emit sigDeviceAdded(textOf(pwstrDeviceId));
    return S_OK;
}

HRESULT AudioDeviceEventNotificationClient::OnDeviceRemoved(LPCWSTR pwstrDeviceId)
{
    resolveFriendlyName(pwstrDeviceId);
    emit sigDeviceRemoved(textOf(pwstrDeviceId));
    return S_OK;
}

HRESULT AudioDeviceEventNotificationClient::OnDefaultDeviceChanged(EDataFlow flow, ERole,
                                                                   LPCWSTR pwstrDefaultDeviceId)
{
    resolveFriendlyName(pwstrDefaultDeviceId);
    const QString deviceID = textOf(pwstrDefaultDeviceId);
    if (flow == eCapture)
        emit sigDefaultCaptureDeviceChanged(deviceID);
    else if (flow == eRender)
        emit sigDefaultRenderDeviceChanged(deviceID);
    return S_OK;
}

HRESULT AudioDeviceEventNotificationClient::OnPropertyValueChanged(LPCWSTR pwstrDeviceId,
                                                                   const PROPERTYKEY key)
{
    resolveFriendlyName(pwstrDeviceId);
    if (!isKeyProperty(key))
        return S_OK;

    const QString deviceID = textOf(pwstrDeviceId);
    const QDateTime now = clock();
    qInfo() << now << "关键属性变更:" << deviceID;
    // A dropped change leaves the time as it is, so that a burst cannot hold the window open.
    if (lastKeyPropertyTime.msecsTo(now) < keyPropertyWindow) {
        qInfo() << "500ms内多次触发关键属性变更";
        return S_OK;
    }
    emit sigPropertyValueChanged(deviceID);
    lastKeyPropertyTime = now;
    return S_OK;
}
