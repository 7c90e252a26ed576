#include "endpoints/audioendpointvolumecallback.h"

AudioEndpointVolumeCallback::AudioEndpointVolumeCallback(const GUID &eventContext,
                                                         const QString &deviceID)
    : eventContext(eventContext), deviceID(deviceID)
{
    // The signals cross threads as queued events and carry the context by value.
    qRegisterMetaType<GUID>("GUID");
}

HRESULT AudioEndpointVolumeCallback::QueryInterface(REFIID riid, void **ppvObject)
{
    if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IAudioEndpointVolumeCallback)) {
        *ppvObject = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    *ppvObject = static_cast<IAudioEndpointVolumeCallback *>(this);
    return S_OK;
}

ULONG AudioEndpointVolumeCallback::AddRef()
{
    return references.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG AudioEndpointVolumeCallback::Release()
{
    const ULONG left = references.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0)
        delete this;
    return left;
}

HRESULT AudioEndpointVolumeCallback::OnNotify(PAUDIO_VOLUME_NOTIFICATION_DATA pNotify)
{
    if (!pNotify)
        return E_INVALIDARG;

    // The receiver truncates: the half makes that rounding, upward at a tie.
    const float percent =
        static_cast<float>(static_cast<double>(pNotify->fMasterVolume * 100.0f) + 0.5);
    const GUID context = pNotify->guidEventContext;
    if (IsEqualGUID(context, eventContext))
        emit sigDeviceStateChanged(deviceID, pNotify->bMuted, percent, context);
    else
        emit sigDeviceControlChanged(deviceID, pNotify->bMuted, percent, context);
    return S_OK;
}
