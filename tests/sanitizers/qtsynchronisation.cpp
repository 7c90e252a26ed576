// Tells the thread sanitizer how Qt orders threads. Qt's own library is not instrumented, so that
// what it synchronises (events on their way, contended locks, the end of a thread) would look like
// races in our code. The linker sends our calls of these functions here (see CMakeLists.txt).
#include <QCoreApplication>
#include <QMetaObject>
#include <QMutex>
#include <QObject>
#include <QSemaphore>
#include <QThread>
#include <QWaitCondition>

#include <sanitizer/tsan_interface.h>

namespace
{

/// Of signals, whose receivers only Qt knows.
char signalOrder;

} // namespace

#define REAL(symbol) asm("__real_" symbol)
#define WRAP(symbol) asm("__wrap_" symbol)

#define THREAD_START "_ZN7QThread5startENS_8PriorityE"
void realStart(QThread *thread, QThread::Priority priority) REAL(THREAD_START);
void wrapStart(QThread *thread, QThread::Priority priority) WRAP(THREAD_START);
void wrapStart(QThread *thread, QThread::Priority priority)
{
    // The slot's own memory is freed by whoever deletes the thread: keep it out of the picture.
    QObject::connect(
        thread, &QThread::finished, [thread]() __attribute__((no_sanitize("thread"))) {
            __tsan_release(thread);
        });
    realStart(thread, priority);
}

#define THREAD_WAIT "_ZN7QThread4waitE14QDeadlineTimer"
bool realWait(QThread *thread, QDeadlineTimer deadline) REAL(THREAD_WAIT);
bool wrapWait(QThread *thread, QDeadlineTimer deadline) WRAP(THREAD_WAIT);
bool wrapWait(QThread *thread, QDeadlineTimer deadline)
{
    const bool ended = realWait(thread, deadline);
    if (ended)
        __tsan_acquire(thread);
    return ended;
}

#define LOCK "_ZN11QBasicMutex12lockInternalEv"
void realLock(QBasicMutex *mutex) REAL(LOCK);
void wrapLock(QBasicMutex *mutex) WRAP(LOCK);
void wrapLock(QBasicMutex *mutex)
{
    realLock(mutex);
    __tsan_acquire(mutex);
}

#define TIMED_LOCK "_ZN11QBasicMutex12lockInternalEi"
bool realTimedLock(QBasicMutex *mutex, int timeout) REAL(TIMED_LOCK);
bool wrapTimedLock(QBasicMutex *mutex, int timeout) WRAP(TIMED_LOCK);
bool wrapTimedLock(QBasicMutex *mutex, int timeout)
{
    const bool locked = realTimedLock(mutex, timeout);
    if (locked)
        __tsan_acquire(mutex);
    return locked;
}

#define UNLOCK "_ZN11QBasicMutex14unlockInternalEv"
void realUnlock(QBasicMutex *mutex) REAL(UNLOCK);
void wrapUnlock(QBasicMutex *mutex) WRAP(UNLOCK);
void wrapUnlock(QBasicMutex *mutex)
{
    __tsan_release(mutex);
    realUnlock(mutex);
}

#define CONDITION_WAIT "_ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer"
bool realConditionWait(QWaitCondition *condition, QMutex *mutex, QDeadlineTimer deadline)
    REAL(CONDITION_WAIT);
bool wrapConditionWait(QWaitCondition *condition, QMutex *mutex, QDeadlineTimer deadline)
    WRAP(CONDITION_WAIT);
bool wrapConditionWait(QWaitCondition *condition, QMutex *mutex, QDeadlineTimer deadline)
{
    __tsan_release(mutex);
    const bool woken = realConditionWait(condition, mutex, deadline);
    __tsan_acquire(mutex);
    return woken;
}

#define SEMAPHORE_ACQUIRE "_ZN10QSemaphore7acquireEi"
void realAcquire(QSemaphore *semaphore, int count) REAL(SEMAPHORE_ACQUIRE);
void wrapAcquire(QSemaphore *semaphore, int count) WRAP(SEMAPHORE_ACQUIRE);
void wrapAcquire(QSemaphore *semaphore, int count)
{
    realAcquire(semaphore, count);
    __tsan_acquire(semaphore);
}

#define SEMAPHORE_TRY "_ZN10QSemaphore10tryAcquireEii"
bool realTryAcquire(QSemaphore *semaphore, int count, int timeout) REAL(SEMAPHORE_TRY);
bool wrapTryAcquire(QSemaphore *semaphore, int count, int timeout) WRAP(SEMAPHORE_TRY);
bool wrapTryAcquire(QSemaphore *semaphore, int count, int timeout)
{
    const bool acquired = realTryAcquire(semaphore, count, timeout);
    if (acquired)
        __tsan_acquire(semaphore);
    return acquired;
}

#define SEMAPHORE_RELEASE "_ZN10QSemaphore7releaseEi"
void realRelease(QSemaphore *semaphore, int count) REAL(SEMAPHORE_RELEASE);
void wrapRelease(QSemaphore *semaphore, int count) WRAP(SEMAPHORE_RELEASE);
void wrapRelease(QSemaphore *semaphore, int count)
{
    __tsan_release(semaphore);
    realRelease(semaphore, count);
}

#define POST_EVENT "_ZN16QCoreApplication9postEventEP7QObjectP6QEventi"
void realPostEvent(QObject *receiver, QEvent *event, int priority) REAL(POST_EVENT);
void wrapPostEvent(QObject *receiver, QEvent *event, int priority) WRAP(POST_EVENT);
void wrapPostEvent(QObject *receiver, QEvent *event, int priority)
{
    __tsan_release(receiver);
    realPostEvent(receiver, event, priority);
}

#define DELETE_LATER "_ZN7QObject11deleteLaterEv"
void realDeleteLater(QObject *object) REAL(DELETE_LATER);
void wrapDeleteLater(QObject *object) WRAP(DELETE_LATER);
void wrapDeleteLater(QObject *object)
{
    __tsan_release(object);
    realDeleteLater(object);
}

#define INVOKE_FUNCTOR                                                                             \
    "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt"               \
    "14ConnectionTypeEPv"
bool realInvokeFunctor(QObject *receiver, QtPrivate::QSlotObjectBase *slot, Qt::ConnectionType type,
                       void *result) REAL(INVOKE_FUNCTOR);
bool wrapInvokeFunctor(QObject *receiver, QtPrivate::QSlotObjectBase *slot, Qt::ConnectionType type,
                       void *result) WRAP(INVOKE_FUNCTOR);
bool wrapInvokeFunctor(QObject *receiver, QtPrivate::QSlotObjectBase *slot, Qt::ConnectionType type,
                       void *result)
{
    __tsan_release(receiver);
    const bool invoked = realInvokeFunctor(receiver, slot, type, result);
    if (type == Qt::BlockingQueuedConnection)
        __tsan_acquire(receiver);
    return invoked;
}

#define INVOKE_NAME                                                                                \
    "_ZN11QMetaObject12invokeMethodEP7QObjectPKcN2Qt14ConnectionTypeE22QGenericReturnArgument"     \
    "16QGenericArgumentS7_S7_S7_S7_S7_S7_S7_S7_S7_"
using Argument = QGenericArgument;
bool realInvokeName(QObject *receiver, const char *member, Qt::ConnectionType type,
                    QGenericReturnArgument result, Argument a0, Argument a1, Argument a2,
                    Argument a3, Argument a4, Argument a5, Argument a6, Argument a7, Argument a8,
                    Argument a9) REAL(INVOKE_NAME);
bool wrapInvokeName(QObject *receiver, const char *member, Qt::ConnectionType type,
                    QGenericReturnArgument result, Argument a0, Argument a1, Argument a2,
                    Argument a3, Argument a4, Argument a5, Argument a6, Argument a7, Argument a8,
                    Argument a9) WRAP(INVOKE_NAME);
bool wrapInvokeName(QObject *receiver, const char *member, Qt::ConnectionType type,
                    QGenericReturnArgument result, Argument a0, Argument a1, Argument a2,
                    Argument a3, Argument a4, Argument a5, Argument a6, Argument a7, Argument a8,
                    Argument a9)
{
    __tsan_release(receiver);
    const bool invoked =
        realInvokeName(receiver, member, type, result, a0, a1, a2, a3, a4, a5, a6, a7, a8, a9);
    if (type == Qt::BlockingQueuedConnection)
        __tsan_acquire(receiver);
    return invoked;
}

#define ACTIVATE "_ZN11QMetaObject8activateEP7QObjectPKS_iPPv"
void realActivate(QObject *sender, const QMetaObject *meta, int index, void **arguments)
    REAL(ACTIVATE);
void wrapActivate(QObject *sender, const QMetaObject *meta, int index, void **arguments)
    WRAP(ACTIVATE);
void wrapActivate(QObject *sender, const QMetaObject *meta, int index, void **arguments)
{
    __tsan_release(&signalOrder);
    realActivate(sender, meta, index, arguments);
}

#define EVENT "_ZN7QObject5eventEP6QEvent"
bool realEvent(QObject *receiver, QEvent *event) REAL(EVENT);
bool wrapEvent(QObject *receiver, QEvent *event) WRAP(EVENT);
bool wrapEvent(QObject *receiver, QEvent *event)
{
    __tsan_acquire(receiver);
    __tsan_acquire(&signalOrder);
    const bool taken = realEvent(receiver, event);
    __tsan_release(receiver); // a blocking call waits for this; the address alone is used
    return taken;
}
