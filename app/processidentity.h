// Who this process is and what it runs on: values that are found out once, at start.
#pragma once

#include "platform/coreaudio.h"

#include <QString>

/// Major, minor and build number of the system. Zero as long as nothing is known.
struct WindowsVersion
{
    int major = 0;
    int minor = 0;
    int build = 0;
};

/// Process-wide, written by the functions below on the main thread.
extern GUID processGuid;
extern WindowsVersion windowsVersion;

/// Lets Qt know the program's version, which crash dumps are sent with.
void provideProgramVersion();

/// Draws `processGuid`; all zero bytes if that fails.
void createProcessGuid();

/// Fills in `windowsVersion`: from the system if it can tell, else from the kernel's version.
void determineWindowsVersion();

/// Takes the first three parts of a dotted version text, as far as they exist; a part that is
/// no number counts as 0. An empty text changes nothing and is logged.
void readKernelVersion(const QString &kernelVersion, WindowsVersion &version);

/// Logs the versions and the language, one line each.
void logProcessIdentity();
