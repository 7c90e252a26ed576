#include "tests/unit/sessions/sessionfixture.h"

#include "platform/simulated/applications.h"

#include <QCoreApplication>
#include <QMetaMethod>
#include <QSemaphore>
#include <QTest>
#include <QTimer>

#include <utility>

SessionFixture::SessionFixture()
{
    simulated::reset();
    speakers = simulated::addEndpoint({.name = "Speakers"});
    headset = simulated::addEndpoint({.name = "Headset"});
    microphone = simulated::addEndpoint({.name = "Microphone", .flow = eCapture});
    simulated::setDefault(eRender, speakers);
    simulated::setDefault(eCapture, microphone);
    addApplication(playerId, "Player", "C:\\Programs\\player.exe");
    addApplication(browserId, "Browser", "C:\\Programs\\browser.exe");
    addApplication(gameId, "Game", "C:\\Programs\\game.exe");
}

SessionFixture::~SessionFixture()
{
    simulated::reset();
}

void SessionFixture::addApplication(DWORD processId, const QString &name, const QString &path)
{
    simulated::Application application;
    application.processId = processId;
    application.imagePath = path;
    application.version = {{"FileDescription", name}};
    simulated::setApplication(application);
}

ComPtr<IAudioSessionManager2> SessionFixture::managerOf(const QString &endpointId)
{
    ComPtr<IMMDeviceEnumerator> enumerator;
    ComPtr<IMMDevice> device;
    ComPtr<IAudioSessionManager2> manager;
    CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL, IID_IMMDeviceEnumerator,
                     enumerator.receiveVoid());
    if (enumerator)
        enumerator->GetDevice(endpointId.toStdWString().c_str(), device.receive());
    if (device)
        device->Activate(IID_IAudioSessionManager2, CLSCTX_ALL, nullptr, manager.receiveVoid());
    return manager;
}

ComPtr<IAudioSessionControl> SessionFixture::controlOf(const QString &endpointId, int index)
{
    const ComPtr<IAudioSessionManager2> manager = managerOf(endpointId);
    ComPtr<IAudioSessionEnumerator> enumerator;
    ComPtr<IAudioSessionControl> control;
    if (manager)
        manager->GetSessionEnumerator(enumerator.receive());
    if (enumerator)
        enumerator->GetSession(index, control.receive());
    return control;
}

QStringList SignalLog::take(qsizetype count)
{
    static_cast<void>(QTest::qWaitFor([&] { return texts.size() >= count; }, arrivalMs));
    return std::exchange(texts, {});
}

QStringList SignalLog::takeSettled(QObject &source)
{
    settle(source);
    return std::exchange(texts, {});
}

QStringList signaturesOf(const QMetaObject &type)
{
    QStringList signatures;
    for (int index = type.methodOffset(); index < type.methodCount(); ++index)
        signatures.append(type.method(index).methodSignature());
    return signatures;
}

void settle(QObject &source)
{
    simulated::drain();
    // An event crosses at most from a session to its endpoint, the manager and the listener: on
    // two threads, three rounds behind everything posted so far carry it through.
    for (int round = 0; round < 3; ++round) {
        QCoreApplication::processEvents();
        QSemaphore done;
        QMetaObject::invokeMethod(
            &source, [&] { QTimer::singleShot(0, &source, [&] { done.release(); }); },
            Qt::QueuedConnection);
        while (!done.tryAcquire(1, 1))
            QCoreApplication::processEvents();
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}
