// The strings of the Windows Runtime.
#pragma once

#include "platform/winrt.h"

#include <QString>

namespace posix
{

/// E_POINTER for a null result, E_OUTOFMEMORY; an empty text is a null string.
HRESULT createString(LPCWSTR text, UINT32 length, HSTRING *string);
/// Borrows the text. E_POINTER for a null header or result.
HRESULT createStringReference(LPCWSTR text, UINT32 length, HSTRING_HEADER *header, HSTRING *string);
/// Null and references are legal.
void deleteString(HSTRING string);
/// Never null.
LPCWSTR stringText(HSTRING string, UINT32 *length);

[[nodiscard]] QString textOfString(HSTRING string);
/// Null for an empty text or when there is no memory.
[[nodiscard]] HSTRING stringOfText(const QString &text);

} // namespace posix
