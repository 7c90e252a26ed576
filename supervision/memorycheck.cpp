#include "supervision/memorycheck.h"

#include "supervision/memorycheckworker.h"

#include <QTimer>

namespace
{
constexpr int trimIntervalMs = 600000;
} // namespace

MemoryCheck::MemoryCheck(QObject *parent)
    : QObject(parent), timer(new QTimer(this)),
      worker(new MemoryCheckWorker, &MemoryCheckWorker::end)
{
    timer->setTimerType(Qt::PreciseTimer);
    timer->setInterval(trimIntervalMs);
    connect(timer, &QTimer::timeout, worker.get(), &MemoryCheckWorker::handleMemoryCheck);
}

MemoryCheck::~MemoryCheck()
{
    timer->stop();
    delete timer;
    worker.reset();
}

void MemoryCheck::addMonitorProcess(uint pid)
{
    worker->addMonitorProcess(pid);
}

void MemoryCheck::start()
{
    timer->start();
}

void MemoryCheck::stop()
{
    timer->stop();
}
