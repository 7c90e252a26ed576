// The one handler of the program's diagnostics: decides what is logged, and in what form.
#pragma once

#include <QtGlobal>

class QMessageLogContext;
class QString;

/// Turns a message into a line of the run's log file. For qInstallMessageHandler; any thread.
/// The first message after the gate has been opened makes the file.
void messageHandler(QtMsgType type, const QMessageLogContext &context, const QString &message);

/// Lets messages through. Until then they are lost, so that an instance that only hands its
/// arguments over leaves no log.
void openLogGate();
