// Helpers for the program's own threads.
#pragma once

class QThread;

/// Ends a thread that was asked to stop and waited for with a bound: deletes it when it has
/// finished, never while it runs (deleting a running QThread aborts). Takes ownership; null is
/// legal. Callable from any thread.
void retire(QThread *thread);

/// Asks for real-time scheduling for the calling thread, since Qt's priorities mean nothing
/// under the ordinary scheduler. Falls back silently to what the rights allow.
void requestRealtimeScheduling();
