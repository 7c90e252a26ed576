// The audio interfaces' IDs. Microsoft's headers only declare them, and none of its libraries has
// them; MinGW's headers bring them along.
#include <audioclient.h>
#include <audiopolicy.h>
#include <endpointvolume.h>
#include <mmdeviceapi.h>
#include <windows.h>

const CLSID CLSID_MMDeviceEnumerator = __uuidof(MMDeviceEnumerator);
const IID IID_IMMDeviceEnumerator = __uuidof(IMMDeviceEnumerator);
const IID IID_IMMNotificationClient = __uuidof(IMMNotificationClient);
const IID IID_IAudioClient = __uuidof(IAudioClient);
const IID IID_IAudioClient3 = __uuidof(IAudioClient3);
const IID IID_IAudioRenderClient = __uuidof(IAudioRenderClient);
const IID IID_IAudioCaptureClient = __uuidof(IAudioCaptureClient);
const IID IID_IAudioEndpointVolume = __uuidof(IAudioEndpointVolume);
const IID IID_IAudioEndpointVolumeCallback = __uuidof(IAudioEndpointVolumeCallback);
const IID IID_IAudioSessionManager2 = __uuidof(IAudioSessionManager2);
const IID IID_IAudioSessionControl2 = __uuidof(IAudioSessionControl2);
const IID IID_IAudioSessionEvents = __uuidof(IAudioSessionEvents);
const IID IID_IAudioSessionNotification = __uuidof(IAudioSessionNotification);
const IID IID_ISimpleAudioVolume = __uuidof(ISimpleAudioVolume);
