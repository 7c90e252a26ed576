// Helpers for the program's own threads.
#pragma once

#include <memory>

class QObject;
class QThread;

/// Ends a thread that was asked to stop and waited for with a bound: deletes it when it has
/// finished, never while it runs (deleting a running QThread aborts). Takes ownership; null is
/// legal. Callable from any thread.
void retire(QThread *thread);

/// Waits for a thread that was asked to stop and deletes it; false if it still runs after that
/// many milliseconds and was retired. Null counts as ended.
bool waitAndEnd(std::unique_ptr<QThread> thread, int milliseconds);

/// Ends an object that lives on a thread of its own, together with that thread. The thread
/// deletes the object itself, once it has left the call that it may be in, so that nothing goes
/// from under it; the caller waits for that no longer than 100 ms.
void endOnItsThread(QObject *object, std::unique_ptr<QThread> thread);

/// What wakes a thread that sound passes through; its real-time priority goes by that.
enum class SoundThread
{
    Paced, ///< an endpoint or a device, once a period: play, capture and speaker threads
    Fed,   ///< a paced thread or another fed one, for each block: workers of players and capturer
};

/// Asks for real-time scheduling for the calling thread, since Qt's priorities mean nothing
/// under the ordinary scheduler. Falls back silently to what the rights allow.
void requestRealtimeScheduling(SoundThread thread);
