#include "app/objectthreads.h"

#include "platform/signalstack.h"
#include "platform/threads.h"

#include <QCoreApplication>
#include <QThread>

#include <algorithm>

namespace
{
constexpr int longestEndMs = 10000;
} // namespace

ObjectThreads::ObjectThreads() = default;

ObjectThreads::~ObjectThreads()
{
    for (auto &thread : threads)
        waitAndEnd(std::move(thread), longestEndMs);
}

void ObjectThreads::give(QObject *object)
{
    threads.erase(std::remove_if(threads.begin(), threads.end(),
                                 [](const auto &thread) { return thread->isFinished(); }),
                  threads.end());

    auto thread = std::make_unique<QThread>();
    thread->moveToThread(QCoreApplication::instance()->thread());
    QObject::connect(object, &QObject::destroyed, thread.get(), &QThread::quit,
                     Qt::DirectConnection);
    SignalStack::provideTo(*thread);
    thread->start();
    object->moveToThread(thread.get());
    threads.push_back(std::move(thread));
}
