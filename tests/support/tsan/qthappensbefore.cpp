// Tells the thread sanitizer what it cannot see inside the uninstrumented Qt.
//
// Qt hands work from thread to thread by its event queue and guards it with locks of its own. Its
// library is not built with the sanitizer, so that without this file every queued call would look
// like a race. The linker leads our calls of the functions below here (--wrap in
// CMakeLists.txt beside this file): what a thread did before it posted something happens before
// whatever is delivered later. One clock stands for all queues; that is coarser than Qt, and can
// hide a race between two posts, but invents none. Linked into programs of the tsan preset only.
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMetaMethod>
#include <QMetaObject>
#include <QMutex>
#include <QSemaphore>
#include <QThread>
#include <QTimer>

#include <sanitizer/tsan_interface.h>

#include <chrono>
#include <mutex>
#include <set>
#include <thread>

// Frames of Qt and GLib themselves: what they allocate, copy and write is theirs to order.
extern "C" const char *__tsan_default_suppressions()
{
    return "called_from_lib:libQt6Core.so\n"
           "called_from_lib:libQt6Network.so\n"
           "called_from_lib:libQt6WebSockets.so\n"
           "called_from_lib:libQt6Gui.so\n"
           "called_from_lib:libQt6Widgets.so\n"
           "called_from_lib:libQt6Test.so\n"
           "called_from_lib:libglib-2.0.so\n"
           // The copies of arguments that Qt makes while it posts a queued signal.
           "race_top:QtPrivate::QMetaTypeForType\n"
           // A slot object is ended by whoever drops Qt's last count of it, inside Qt. Misuse of
           // freed memory is for the address sanitizer to find.
           "race_top:operator delete\n"
           // The time zone of the C library, which it guards with a lock of its own.
           "race:tzset_internal\n";
}

namespace
{

int queues; // only its address is used

/// The threads of Qt that have posted or received something and still run.
struct LivingThreads
{
    std::mutex mutex;
    std::set<QThread *> threads;
};

LivingThreads &living()
{
    static auto *instance = new LivingThreads; // outlives every thread
    return *instance;
}

/// One for each thread: what a thread did last happens before the end of a wait for it.
struct ThreadEnd
{
    ThreadEnd()
    {
        const std::lock_guard lock(living().mutex);
        living().threads.insert(thread);
    }
    ~ThreadEnd()
    {
        __tsan_release(&queues);
        const std::lock_guard lock(living().mutex);
        living().threads.erase(thread);
    }

    QThread *thread = QThread::currentThread();
};

/// Qt wakes those that wait for a thread a moment before the thread's own variables end.
void awaitEndOf(QThread *thread)
{
    const auto lives = [thread] {
        const std::lock_guard lock(living().mutex);
        return living().threads.contains(thread);
    };
    for (int ms = 0; ms < 1000 && lives(); ++ms)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void beforePosting()
{
    static thread_local const ThreadEnd end;
    __tsan_release(&queues);
}

void afterReceiving()
{
    __tsan_acquire(&queues);
}

/// Runs on the receiving thread before each event is delivered; never takes the event.
bool onDelivery(void **)
{
    afterReceiving();
    beforePosting();
    return false;
}

[[maybe_unused]] const bool watching =
    QInternal::registerCallback(QInternal::EventNotifyCallback, onDelivery);

} // namespace

// A wrapped function of Qt: its mangled name, its result, its parameters and its arguments.
#define WRAP_POSTING(name, result, parameters, arguments)                                          \
    extern "C" result __real_##name parameters;                                                    \
    extern "C" result __wrap_##name parameters                                                     \
    {                                                                                              \
        beforePosting();                                                                           \
        return __real_##name arguments;                                                            \
    }

#define WRAP_WAITING(name, parameters, arguments)                                                  \
    extern "C" bool __real_##name parameters;                                                      \
    extern "C" bool __wrap_##name parameters                                                       \
    {                                                                                              \
        const bool result = __real_##name arguments;                                               \
        afterReceiving();                                                                          \
        return result;                                                                             \
    }

WRAP_POSTING(_ZN11QMetaObject8activateEP7QObjectPKS_iPPv, void,
             (QObject * sender, const QMetaObject *meta, int signal, void **arguments),
             (sender, meta, signal, arguments))
WRAP_POSTING(
    _ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv,
    bool,
    (QObject * object, QtPrivate::QSlotObjectBase *slot, Qt::ConnectionType type, void *result),
    (object, slot, type, result))
WRAP_POSTING(
    _ZN11QMetaObject12invokeMethodEP7QObjectPKcN2Qt14ConnectionTypeE22QGenericReturnArgument16QGenericArgumentS7_S7_S7_S7_S7_S7_S7_S7_S7_,
    bool,
    (QObject * object, const char *member, Qt::ConnectionType type, QGenericReturnArgument result,
     QGenericArgument a0, QGenericArgument a1, QGenericArgument a2, QGenericArgument a3,
     QGenericArgument a4, QGenericArgument a5, QGenericArgument a6, QGenericArgument a7,
     QGenericArgument a8, QGenericArgument a9),
    (object, member, type, result, a0, a1, a2, a3, a4, a5, a6, a7, a8, a9))
WRAP_POSTING(
    _ZNK11QMetaMethod6invokeEP7QObjectN2Qt14ConnectionTypeE22QGenericReturnArgument16QGenericArgumentS5_S5_S5_S5_S5_S5_S5_S5_S5_,
    bool,
    (const QMetaMethod *method, QObject *object, Qt::ConnectionType type,
     QGenericReturnArgument result, QGenericArgument a0, QGenericArgument a1, QGenericArgument a2,
     QGenericArgument a3, QGenericArgument a4, QGenericArgument a5, QGenericArgument a6,
     QGenericArgument a7, QGenericArgument a8, QGenericArgument a9),
    (method, object, type, result, a0, a1, a2, a3, a4, a5, a6, a7, a8, a9))
WRAP_POSTING(_ZN6QTimer14singleShotImplEiN2Qt9TimerTypeEPK7QObjectPN9QtPrivate15QSlotObjectBaseE,
             void,
             (int ms, Qt::TimerType type, const QObject *receiver,
              QtPrivate::QSlotObjectBase *slot),
             (ms, type, receiver, slot))
WRAP_POSTING(_ZN16QCoreApplication9postEventEP7QObjectP6QEventi, void,
             (QObject * receiver, QEvent *event, int priority), (receiver, event, priority))
WRAP_POSTING(_ZN7QObject11deleteLaterEv, void, (QObject * object), (object))
WRAP_POSTING(_ZN7QObject12moveToThreadEP7QThread, void, (QObject * object, QThread *thread),
             (object, thread))
WRAP_POSTING(_ZN7QThread4exitEi, void, (QThread * thread, int code), (thread, code))
WRAP_POSTING(_ZN7QThread4quitEv, void, (QThread * thread), (thread))
WRAP_POSTING(_ZN10QSemaphore7releaseEi, void, (QSemaphore * semaphore, int count),
             (semaphore, count))

// A thread need not post anything: its end alone happens before the end of a wait for it.
extern "C" void __real__ZN7QThread5startENS_8PriorityE(QThread *thread, QThread::Priority priority);
extern "C" void __wrap__ZN7QThread5startENS_8PriorityE(QThread *thread, QThread::Priority priority)
{
    QObject::connect(thread, &QThread::finished, [] { __tsan_release(&queues); });
    beforePosting();
    __real__ZN7QThread5startENS_8PriorityE(thread, priority);
}

// Locks that nobody waits for are taken inline, where the sanitizer sees them; these are the
// others.
extern "C" void __real__ZN11QBasicMutex12lockInternalEv(QBasicMutex *mutex);
extern "C" void __wrap__ZN11QBasicMutex12lockInternalEv(QBasicMutex *mutex)
{
    __real__ZN11QBasicMutex12lockInternalEv(mutex);
    __tsan_acquire(mutex);
}

extern "C" void __real__ZN11QBasicMutex14unlockInternalEv(QBasicMutex *mutex);
extern "C" void __wrap__ZN11QBasicMutex14unlockInternalEv(QBasicMutex *mutex)
{
    __tsan_release(mutex);
    __real__ZN11QBasicMutex14unlockInternalEv(mutex);
}

WRAP_WAITING(_ZN10QSemaphore10tryAcquireEi, (QSemaphore * semaphore, int count), (semaphore, count))
WRAP_WAITING(_ZN10QSemaphore10tryAcquireEii, (QSemaphore * semaphore, int count, int timeout),
             (semaphore, count, timeout))

extern "C" void __real__ZN10QSemaphore7acquireEi(QSemaphore *semaphore, int count);
extern "C" void __wrap__ZN10QSemaphore7acquireEi(QSemaphore *semaphore, int count)
{
    __real__ZN10QSemaphore7acquireEi(semaphore, count);
    afterReceiving();
}

extern "C" bool __real__ZN7QThread4waitE14QDeadlineTimer(QThread *thread, QDeadlineTimer deadline);
extern "C" bool __wrap__ZN7QThread4waitE14QDeadlineTimer(QThread *thread, QDeadlineTimer deadline)
{
    const bool finished = __real__ZN7QThread4waitE14QDeadlineTimer(thread, deadline);
    if (finished)
        awaitEndOf(thread);
    afterReceiving();
    return finished;
}

extern "C" bool __real__ZNK7QThread10isFinishedEv(const QThread *thread);
extern "C" bool __wrap__ZNK7QThread10isFinishedEv(const QThread *thread)
{
    const bool finished = __real__ZNK7QThread10isFinishedEv(thread);
    if (finished)
        awaitEndOf(const_cast<QThread *>(thread));
    afterReceiving();
    return finished;
}
