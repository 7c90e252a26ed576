// The version of the running Windows.
#pragma once

/// Fills in the three numbers; false, with nothing changed, where the system cannot tell.
bool readSystemVersion(int &major, int &minor, int &build);
