// The program's version as Qt knows it.
#pragma once

class QString;

/// Makes it what QCoreApplication::applicationVersion() gives. Changes nothing on Windows, where
/// the executable's version resource tells it.
void provideProgramVersion(const QString &version);
