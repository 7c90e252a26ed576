// What QueryInterface has to know about each interface: its ID and the interface it extends.
#pragma once

#include "platform/applications.h"
#include "platform/audiopolicyconfig.h"
#include "platform/coreaudio.h"
#include "platform/packagemanager.h"
#include "platform/policyconfig.h"

namespace posix
{

template <const IID &Id, typename BaseInterface = IUnknown>
struct InterfaceTraits
{
    static constexpr const IID &id = Id;
    using Base = BaseInterface;
};

/// Specialised for every interface that an object of a platform offers.
template <typename Interface>
struct InterfaceInfo;

// clang-format off
template <> struct InterfaceInfo<IActivationFactory> : InterfaceTraits<IID_RuntimeActivationFactory, IInspectable> {};
template <> struct InterfaceInfo<IAudioCaptureClient> : InterfaceTraits<IID_IAudioCaptureClient> {};
template <> struct InterfaceInfo<IAudioClient3> : InterfaceTraits<IID_IAudioClient3, IAudioClient> {};
template <> struct InterfaceInfo<IAudioClient> : InterfaceTraits<IID_IAudioClient> {};
template <> struct InterfaceInfo<IAudioEndpointVolume> : InterfaceTraits<IID_IAudioEndpointVolume> {};
template <> struct InterfaceInfo<IAudioEndpointVolumeCallback> : InterfaceTraits<IID_IAudioEndpointVolumeCallback> {};
template <> struct InterfaceInfo<IAudioPolicyConfig> : InterfaceTraits<IID_IAudioPolicyConfig, IInspectable> {};
template <> struct InterfaceInfo<IAudioRenderClient> : InterfaceTraits<IID_IAudioRenderClient> {};
template <> struct InterfaceInfo<IAudioSessionControl2> : InterfaceTraits<IID_IAudioSessionControl2, IAudioSessionControl> {};
template <> struct InterfaceInfo<IAudioSessionControl> : InterfaceTraits<IID_IAudioSessionControl> {};
template <> struct InterfaceInfo<IAudioSessionEnumerator> : InterfaceTraits<IID_IAudioSessionEnumerator> {};
template <> struct InterfaceInfo<IAudioSessionEvents> : InterfaceTraits<IID_IAudioSessionEvents> {};
template <> struct InterfaceInfo<IAudioSessionManager2> : InterfaceTraits<IID_IAudioSessionManager2> {};
template <> struct InterfaceInfo<IAudioSessionNotification> : InterfaceTraits<IID_IAudioSessionNotification> {};
template <> struct InterfaceInfo<IInspectable> : InterfaceTraits<IID_IInspectable> {};
template <> struct InterfaceInfo<IMMDevice> : InterfaceTraits<IID_IMMDevice> {};
template <> struct InterfaceInfo<IMMDeviceCollection> : InterfaceTraits<IID_IMMDeviceCollection> {};
template <> struct InterfaceInfo<IMMDeviceEnumerator> : InterfaceTraits<IID_IMMDeviceEnumerator> {};
template <> struct InterfaceInfo<IMMNotificationClient> : InterfaceTraits<IID_IMMNotificationClient> {};
template <> struct InterfaceInfo<IPolicyConfig> : InterfaceTraits<IID_IPolicyConfig> {};
template <> struct InterfaceInfo<IPolicyConfigVista> : InterfaceTraits<IID_IPolicyConfigVista> {};
template <> struct InterfaceInfo<IPropertyStore> : InterfaceTraits<IID_IPropertyStore> {};
template <> struct InterfaceInfo<ISimpleAudioVolume> : InterfaceTraits<IID_ISimpleAudioVolume> {};
template <> struct InterfaceInfo<IXMLDOMDocument2> : InterfaceTraits<IID_ManifestDocument> {};
template <> struct InterfaceInfo<IXMLDOMNode> : InterfaceTraits<IID_ManifestNode> {};
template <> struct InterfaceInfo<Package2> : InterfaceTraits<IID_Package2, IInspectable> {};
template <> struct InterfaceInfo<PackageManager> : InterfaceTraits<IID_PackageManager, IInspectable> {};
// clang-format on

} // namespace posix
