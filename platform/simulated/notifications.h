// Notifications to the registered sinks. They are delivered in order by a thread of the
// platform's own, with no lock held.
#pragma once

#include "platform/coreaudio.h"

#include <QString>

namespace simulated
{

// Raw injectors: they change no table and take any value. A null QString gives a null ID.
void notifyDeviceAdded(const QString &id);
void notifyDeviceRemoved(const QString &id);
void notifyDeviceState(const QString &id, DWORD state);
void notifyDefaultChanged(EDataFlow flow, ERole role, const QString &id);
void notifyPropertyChanged(const QString &id, const PROPERTYKEY &key);

// Changes as somebody outside the program makes them: the table, then the endpoint's volume
// sinks, with no context.
void changeVolumeFromOutside(const QString &id, float scalar);
void changeMuteFromOutside(const QString &id, bool muted);

/// Returns when everything announced so far has been delivered; at once when a sink calls it.
void drain();

/// How many sinks are registered now.
[[nodiscard]] qsizetype notificationSinks();
[[nodiscard]] qsizetype volumeSinks(const QString &endpointId);

} // namespace simulated
