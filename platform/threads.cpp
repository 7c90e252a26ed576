#include "platform/threads.h"

#include <QCoreApplication>
#include <QThread>

namespace
{

constexpr int workerWaitMs = 100;

} // namespace

void retire(QThread *thread)
{
    if (!thread)
        return;
    // The deletion needs an event loop that outlives the thread: the main thread's. Connecting
    // before looking closes the gap between the two; a second deleteLater is harmless.
    if (QCoreApplication::instance() && thread->thread() == QThread::currentThread())
        thread->moveToThread(QCoreApplication::instance()->thread());
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    if (thread->isFinished() || !thread->isRunning())
        thread->deleteLater();
}

bool waitAndEnd(std::unique_ptr<QThread> thread, int milliseconds)
{
    if (!thread || thread->wait(milliseconds))
        return true;
    retire(thread.release());
    return false;
}

void endOnItsThread(QObject *object, std::unique_ptr<QThread> thread)
{
    // Also for a thread whose loop has ended or never begins: its last step deletes what was
    // told to go.
    object->deleteLater();
    thread->quit();
    waitAndEnd(std::move(thread), workerWaitMs);
}
