#include "platform/applications.h"
#include "platform/audiopolicyconfig.h"
#include "platform/coreaudio.h"
#include "platform/packagemanager.h"
#include "platform/policyconfig.h"
#include "platform/simulated/record.h"

#include <QUuid>

namespace simulated
{

namespace
{

struct NamedId
{
    GUID id;
    const char *name;
};

const NamedId knownIds[] = {
    {CLSID_MMDeviceEnumerator, "MMDeviceEnumerator"},
    {CLSID_ManifestDocument, "ManifestDocument"},
    {CLSID_PolicyConfig, "PolicyConfig"},
    {CLSID_PolicyConfigVista, "PolicyConfigVista"},
    {IID_IAudioCaptureClient, "IAudioCaptureClient"},
    {IID_IAudioClient, "IAudioClient"},
    {IID_IAudioClient3, "IAudioClient3"},
    {IID_IAudioEndpointVolume, "IAudioEndpointVolume"},
    {IID_IAudioEndpointVolumeCallback, "IAudioEndpointVolumeCallback"},
    {IID_IAudioPolicyConfig, "IAudioPolicyConfig"},
    {IID_IAudioPolicyConfigEarlier, "IAudioPolicyConfigEarlier"},
    {IID_IAudioRenderClient, "IAudioRenderClient"},
    {IID_IAudioSessionControl, "IAudioSessionControl"},
    {IID_IAudioSessionControl2, "IAudioSessionControl2"},
    {IID_IAudioSessionEnumerator, "IAudioSessionEnumerator"},
    {IID_IAudioSessionEvents, "IAudioSessionEvents"},
    {IID_IAudioSessionManager2, "IAudioSessionManager2"},
    {IID_IAudioSessionNotification, "IAudioSessionNotification"},
    {IID_IMMDevice, "IMMDevice"},
    {IID_IMMDeviceCollection, "IMMDeviceCollection"},
    {IID_IMMDeviceEnumerator, "IMMDeviceEnumerator"},
    {IID_IMMNotificationClient, "IMMNotificationClient"},
    {IID_IPolicyConfig, "IPolicyConfig"},
    {IID_IPolicyConfigVista, "IPolicyConfigVista"},
    {IID_IPropertyStore, "IPropertyStore"},
    {IID_ISimpleAudioVolume, "ISimpleAudioVolume"},
    {IID_IUnknown, "IUnknown"},
    {IID_ManifestDocument, "IXMLDOMDocument2"},
    {IID_ManifestNode, "IXMLDOMNode"},
    {IID_Package2, "Package2"},
    {IID_PackageManager, "PackageManager"},
    {IID_RuntimeActivationFactory, "IActivationFactory"},
};

} // namespace

QString nameOf(const GUID &id)
{
    for (const NamedId &known : knownIds) {
        if (known.id == id)
            return QLatin1String(known.name);
    }
    const uint8_t *tail = id.Data4;
    return QUuid(id.Data1, id.Data2, id.Data3, tail[0], tail[1], tail[2], tail[3], tail[4], tail[5],
                 tail[6], tail[7])
        .toString();
}

QString textOf(LPCWSTR text)
{
    return text ? QString::fromWCharArray(text) : QStringLiteral("null");
}

QString contextText(LPCGUID context)
{
    if (!context)
        return QStringLiteral("null");
    return *context == GUID_NULL ? QStringLiteral("zero") : QStringLiteral("context");
}

} // namespace simulated
