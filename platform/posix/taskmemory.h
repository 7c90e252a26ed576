// Memory that one side of an interface allocates and the other frees.
#pragma once

#include "platform/coreaudio.h"

#include <QString>

#include <cstddef>

namespace posix
{

/// Null when there is no memory. Counted until it is freed.
[[nodiscard]] void *taskMemoryAlloc(std::size_t bytes);
/// Null is legal.
void taskMemoryFree(void *block);
/// How many blocks are not freed yet.
[[nodiscard]] std::size_t taskMemoryBlocks();

/// A terminated wide copy for the caller to free; null when there is no memory.
[[nodiscard]] LPWSTR taskMemoryString(const QString &text);

/// Frees what the value holds and leaves it empty; E_POINTER for null.
HRESULT propVariantClear(PROPVARIANT *value);

} // namespace posix
