// Text into the caller's buffer.
#pragma once

#include <QString>

#include <cstring>
#include <optional>
#include <string>

namespace posix
{

/// Copies the text with its terminator into a buffer of that many characters; its length without
/// the terminator, or nothing, with nothing written, when it doesn't fit.
inline std::optional<unsigned> copyWideText(const QString &text, wchar_t *buffer,
                                            std::size_t capacity)
{
    const std::wstring wide = text.toStdWString();
    if (!buffer || wide.size() >= capacity)
        return std::nullopt;
    std::memcpy(buffer, wide.c_str(), (wide.size() + 1) * sizeof(wchar_t));
    return static_cast<unsigned>(wide.size());
}

} // namespace posix
