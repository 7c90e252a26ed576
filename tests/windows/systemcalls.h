// The questions that Quorvane asks the system, and how their answers are told.
#pragma once

#include "platform/coreaudio.h"

/// One line: the call and its result code. Whether the call was good.
bool tell(const char *call, HRESULT code);
/// For a call that tells its failure by GetLastError.
bool tellTruth(const char *call, bool good);
/// For a call whose result is an error code of the system.
bool tellError(const char *call, LONG error);
/// Whether a call that answered well has done what it is for.
void tellEffect(const char *call, bool isThere);

/// Endpoints, streams, levels, sessions.
void askEndpoints();
/// What tells the name and the icon of an application.
void askApplications();
