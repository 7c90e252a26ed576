// The handles of opened processes.
#pragma once

#include "platform/posix/handletable.h"

#include <QtGlobal>

/// The process that a handle is open for; 0 for any other handle.
[[nodiscard]] quint32 processOfHandle(HANDLE handle);
