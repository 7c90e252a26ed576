// A package that this process runs from. The system's functions of packages are answered here; all
// that comes after them is the system's own.
#pragma once

#include <string>

/// The folder that the package is installed in; empty for a process without a package.
void playPackage(const std::wstring &folder);
