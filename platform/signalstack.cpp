#include "platform/signalstack.h"

#include <QThread>

void SignalStack::provideTo(QThread &thread)
{
    // Without a context object the call is direct: it runs in the thread that has started.
    QObject::connect(&thread, &QThread::started, &SignalStack::provide);
}
