// Event loops for objects that are made where there is none.
#pragma once

#include <memory>
#include <vector>

class QObject;
class QThread;

/// Gives objects that a thread of a pool has made a thread of their own, so that what is posted
/// to them, their own deletion among it, is done at once, and holds up nobody else when it takes
/// its time. The owner of this one sees to it that calls take turns.
class ObjectThreads
{
public:
    ObjectThreads();
    /// Waits, with a bound, for the threads of objects that have been told to go.
    ~ObjectThreads();
    ObjectThreads(const ObjectThreads &) = delete;
    ObjectThreads &operator=(const ObjectThreads &) = delete;

    /// The object lives on the calling thread and has no parent. Its new thread ends with it.
    void give(QObject *object);

private:
    std::vector<std::unique_ptr<QThread>> threads;
};
