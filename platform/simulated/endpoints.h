// The table of endpoints. Changes made here are quiet; notifications.h announces them.
#pragma once

#include "platform/coreaudio.h"

#include <QString>
#include <QStringList>

namespace simulated
{

/// Periods of the shared-mode engine as IAudioClient3 tells them, in frames.
struct EnginePeriods
{
    UINT32 defaultFrames = 480;
    UINT32 fundamentalFrames = 16;
    UINT32 minimumFrames = 128;
    UINT32 maximumFrames = 480;
};

/// One endpoint as a test describes it, for instance {.name = "Headset", .flow = eCapture}.
struct Endpoint
{
    QString name = QStringLiteral("Speakers");
    EDataFlow flow = eRender;
    /// Made up, and different for each endpoint, when it is empty.
    QString id = {};
    DWORD state = DEVICE_STATE_ACTIVE;
    /// Without it the property store answers an empty value for the name.
    bool nameReadable = true;
    float volume = 1.0f; ///< 0.0 to 1.0
    bool muted = false;
    WORD channels = 2;
    DWORD sampleRate = 48000;
    REFERENCE_TIME defaultPeriod = 100000; ///< 10 ms
    REFERENCE_TIME minimumPeriod = 30000;  ///< 3 ms
    UINT32 bufferFrames = 1056;
    bool hasAudioClient3 = true;
    EnginePeriods enginePeriods = {};
};

/// Returns the endpoint's ID.
QString addEndpoint(const Endpoint &endpoint);
/// Its streams are invalidated.
void removeEndpoint(const QString &id);
/// Streams of an endpoint that leaves DEVICE_STATE_ACTIVE are invalidated.
void setState(const QString &id, DWORD state);
void rename(const QString &id, const QString &name);
void setNameReadable(const QString &id, bool readable);
void setVolume(const QString &id, float scalar);
void setMute(const QString &id, bool muted);
void setMixFormat(const QString &id, WORD channels, DWORD sampleRate);
void setPeriods(const QString &id, REFERENCE_TIME defaultPeriod, REFERENCE_TIME minimumPeriod);
void setBufferFrames(const QString &id, UINT32 frames);
void setHasAudioClient3(const QString &id, bool present);

/// The endpoint as it stands; one with an empty ID when there is none.
[[nodiscard]] Endpoint endpoint(const QString &id);
/// In the order of their adding, which is also that of enumeration.
[[nodiscard]] QStringList endpointIds();

/// Makes the endpoint the default of a flow in all roles, or in one; an empty ID for none.
void setDefault(EDataFlow flow, const QString &id);
void setDefault(EDataFlow flow, ERole role, const QString &id);
[[nodiscard]] QString defaultEndpoint(EDataFlow flow, ERole role = eConsole);

} // namespace simulated
