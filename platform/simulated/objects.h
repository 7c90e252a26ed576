// Makes the objects of the simulated platform. Each comes with one reference, the caller's.
#pragma once

#include "platform/applications.h"
#include "platform/audiopolicyconfig.h"
#include "platform/coreaudio.h"
#include "platform/policyconfig.h"

#include <QStringList>

#include <memory>

namespace simulated
{

struct StreamState;

[[nodiscard]] IMMDeviceEnumerator *makeDeviceEnumerator();
[[nodiscard]] IMMDeviceCollection *makeDeviceCollection(const QStringList &endpointIds);
[[nodiscard]] IMMDevice *makeDevice(const QString &endpointId);
[[nodiscard]] IPropertyStore *makePropertyStore(const QString &endpointId);
[[nodiscard]] IAudioEndpointVolume *makeEndpointVolume(const QString &endpointId);
[[nodiscard]] IAudioClient3 *makeAudioClient(const QString &endpointId);
[[nodiscard]] IAudioRenderClient *makeRenderClient(const std::shared_ptr<StreamState> &stream);
[[nodiscard]] IAudioCaptureClient *makeCaptureClient(const std::shared_ptr<StreamState> &stream);
[[nodiscard]] IAudioPolicyConfig *makeAudioPolicyConfig();
[[nodiscard]] IXMLDOMDocument2 *makeManifestDocument();
[[nodiscard]] IPolicyConfig *makePolicyConfig();
[[nodiscard]] IPolicyConfigVista *makePolicyConfigVista();

} // namespace simulated
