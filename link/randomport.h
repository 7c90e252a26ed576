// The ports that the control link falls back on.
#pragma once

/// A port from 1024 to 8888 without the digit 9.
[[nodiscard]] unsigned short randomPort();
/// The same, never `taken`.
[[nodiscard]] unsigned short randomPortOtherThan(unsigned short taken);
