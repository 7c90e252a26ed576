// The version information of an executable.
#pragma once

#include "platform/vocabulary/basetypes.h"

/// Bytes that GetFileVersionInfoW needs; 0 for a file without version information.
DWORD GetFileVersionInfoSizeW(LPCWSTR fileName, DWORD *handle);
BOOL GetFileVersionInfoW(LPCWSTR fileName, DWORD handle, DWORD bytes, LPVOID block);

/// A value inside the block: for "\VarFileInfo\Translation" pairs of language and code page, with
/// `length` in bytes, for "\StringFileInfo\…" a text, with `length` in characters.
BOOL VerQueryValueW(const void *block, LPCWSTR subBlock, LPVOID *value, UINT *length);
