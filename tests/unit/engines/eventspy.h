// Keeps the handles of the events that are made, so that a test can signal one of them. Link with
// the wrap option of this folder's CMakeLists.txt.
#pragma once

#include "platform/coreaudio.h"

#include <QList>

namespace eventspy
{

/// In the order of their making, since the start of the program.
[[nodiscard]] QList<HANDLE> handles();

} // namespace eventspy
