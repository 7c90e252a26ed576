// What the program does when a crash has been written down.
#pragma once

#include <QString>

/// Logs a crash dump's path, given without its extension. Runs on the handler thread of the
/// crashing process.
void onDumpCallBack(QString dumpFileName);
