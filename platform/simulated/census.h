// What has been handed out and not been given back.
#pragma once

#include "platform/basetypes.h"

#include <QString>

namespace simulated
{

/// Counts an interface or a handle as given out, under a name for the leak report.
void enterCensus(const void *object, const QString &name);
/// Its name; empty for something that is not (or no longer) counted.
QString leaveCensus(const void *object);
/// The name of a handle that is open, "null" or "invalid".
[[nodiscard]] QString handleName(HANDLE handle);
/// The next number for event names, from 1 after a reset.
[[nodiscard]] int nextEventNumber();
[[nodiscard]] QString eventName(int number);
/// enterCensus for an event, under that name.
void enterEvent(HANDLE event, int number);

void resetCensus();

} // namespace simulated
