#include "tests/unit/endpoints/monitorfixture.h"

#include "tests/support/waitwatch.h"

#include <QSemaphore>
#include <QTimer>

SignalRecord::SignalRecord(SystemSoundMonitor &monitor) : monitor(monitor)
{
    using Monitor = SystemSoundMonitor;
    const auto listen = [this, &monitor](const char *name, auto signal) {
        connect(&monitor, signal, this, [this, name](const QString &argument) {
            texts.append(QString("%1(%2)").arg(QString(name), argument));
        });
    };
    listen("sigPrintfLog", &Monitor::sigPrintfLog);
    listen("sigDefaultCaptureDeviceChanged", &Monitor::sigDefaultCaptureDeviceChanged);
    listen("sigDefaultRenderDeviceChanged", &Monitor::sigDefaultRenderDeviceChanged);
    listen("sigDeviceAdded", &Monitor::sigDeviceAdded);
    listen("sigDeviceRemoved", &Monitor::sigDeviceRemoved);
    listen("sigDeviceActive", &Monitor::sigDeviceActive);
    listen("sigDeviceDisabled", &Monitor::sigDeviceDisabled);
    listen("sigDeviceNotPresent", &Monitor::sigDeviceNotPresent);
    listen("sigDeviceUnplugged", &Monitor::sigDeviceUnplugged);
    listen("sigPropertyValueChanged", &Monitor::sigPropertyValueChanged);

    const auto listenToLevel = [this, &monitor](const char *name, auto signal) {
        connect(&monitor, signal, this,
                [this, name](const QString &id, bool muted, int percent, GUID eventContext) {
                    texts.append(QString("%1(%2, %3, %4%)")
                                     .arg(QString(name), id, muted ? "muted" : "audible")
                                     .arg(percent));
                    context = eventContext;
                });
    };
    listenToLevel("sigDeviceControlChanged", &Monitor::sigDeviceControlChanged);
    listenToLevel("sigDeviceStateChanged", &Monitor::sigDeviceStateChanged);
}

QStringList SignalRecord::take()
{
    simulated::drain();
    // Behind the sinks' signals, and then behind the work that these have posted.
    QSemaphore done;
    QMetaObject::invokeMethod(
        &monitor, [this, &done] { QTimer::singleShot(0, &monitor, [&done] { done.release(); }); },
        Qt::QueuedConnection);
    while (!done.tryAcquire(1, 1))
        QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    return std::exchange(texts, {});
}

MonitorFixture::MonitorFixture()
{
    simulated::reset();
    const QString guid = "{6b5a2a1c-0000-4000-8000-0000000000%1}";
    speakers = simulated::addEndpoint(
        {.name = "Speakers", .id = "{0.0.0.00000000}." + guid.arg("0a"), .volume = 0.5f});
    headset = simulated::addEndpoint(
        {.name = "Headset", .id = "{0.0.0.00000000}." + guid.arg("0b"), .muted = true});
    microphone = simulated::addEndpoint({.name = "Microphone",
                                         .flow = eCapture,
                                         .id = "{0.0.1.00000000}." + guid.arg("0c"),
                                         .volume = 0.25f});
    simulated::setDefault(eRender, speakers);
    simulated::setDefault(eCapture, microphone);
}

SystemSoundMonitor &MonitorFixture::start(bool useWorkerThread)
{
    monitor.reset(new SystemSoundMonitor(useWorkerThread), &SystemSoundMonitor::end);
    received = std::make_unique<SignalRecord>(*monitor);
    return *monitor;
}

SystemSoundMonitor &MonitorFixture::startQuietly()
{
    start();
    simulated::clearCalls();
    static_cast<void>(log.take());
    return *monitor;
}

QString MonitorFixture::addUnmonitored()
{
    return simulated::addEndpoint({.name = "Later", .volume = 0.75f, .muted = true});
}

void MonitorFixture::stop()
{
    received.reset();
    monitor.reset();
}

void LockProbe::look()
{
    auto watch = std::make_shared<WaitWatch>();
    readers.push_back(std::async(std::launch::async, [this, watch] {
        watch->begin();
        return monitor.isOutputDevice(unknownID);
    }));
    // A lock that is held stays held until the look is over, and its reader sleeps; one that is
    // free is got at some time.
    if (expected == Held)
        (void)watch->waitUntilAsleep();
    const auto bound = std::chrono::seconds(expected == Held ? 0 : 30);
    found.append(readers.back().wait_for(bound) == std::future_status::ready);
}

void LockProbe::lookDuring(const QString &call)
{
    // The platform keeps the action for longer than this object lives.
    simulated::onCall(call, [this, token = std::weak_ptr(alive)] {
        if (!token.expired())
            look();
    });
}

QList<bool> LockProbe::free()
{
    return std::exchange(found, {});
}

QStringList callsNamed(const QStringList &names)
{
    QStringList found;
    for (const QString &call : simulated::calls()) {
        for (const QString &name : names) {
            if (call == name || call.startsWith(name + ' '))
                found.append(call);
        }
    }
    return found;
}
