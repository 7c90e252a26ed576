#include "tests/unit/engines/eventspy.h"

#include <QMutex>

// The linker sends every call of CreateEventW to the second of these.
HANDLE makeEvent(SECURITY_ATTRIBUTES *attributes, BOOL manualReset, BOOL initialState,
                 LPCWSTR name) asm("__real__Z12CreateEventWP19SECURITY_ATTRIBUTESiiPKw");
HANDLE makeSpiedEvent(SECURITY_ATTRIBUTES *attributes, BOOL manualReset, BOOL initialState,
                      LPCWSTR name) asm("__wrap__Z12CreateEventWP19SECURITY_ATTRIBUTESiiPKw");

namespace
{

QMutex mutex;
QList<HANDLE> made;

} // namespace

HANDLE makeSpiedEvent(SECURITY_ATTRIBUTES *attributes, BOOL manualReset, BOOL initialState,
                      LPCWSTR name)
{
    const HANDLE event = makeEvent(attributes, manualReset, initialState, name);
    const QMutexLocker locker(&mutex);
    made.append(event);
    return event;
}

QList<HANDLE> eventspy::handles()
{
    const QMutexLocker locker(&mutex);
    return made;
}
