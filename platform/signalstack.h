// Room for the crash handler in a thread that has none left.
#pragma once

class QThread;

/// A stack beside the thread's own, on which a crash of that thread is handled: without one, an
/// overflow leaves no dump. Every long-lived thread of the program has one, and is open to the
/// signals of a crash; the main thread's comes with the crash handler.
class SignalStack
{
public:
    /// Gives the calling thread one, to the thread's end. Asking again costs nothing.
    static void provide();
    /// Gives one to a thread that has not been started yet.
    static void provideTo(QThread &thread);
};
