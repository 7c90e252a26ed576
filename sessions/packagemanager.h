// The second way to a packaged application's name.
#pragma once

#include <QString>

#include <string>

/// The display name that the package manager gives for a package of the caller; empty, with the
/// reason in the log, on failure. Starts COM on the calling thread.
[[nodiscard]] QString nameFromPackageManager(const std::wstring &fullName);
