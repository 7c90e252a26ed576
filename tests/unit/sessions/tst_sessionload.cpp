// Many sessions that appear and go while several threads look at them.
#include "sessions/audiosessionmanager.h"
#include "tests/unit/sessions/sessionfixture.h"

#include <QDeadlineTimer>
#include <QSet>
#include <QTest>
#include <QThread>

#include <atomic>
#include <deque>
#include <memory>
#include <thread>

namespace
{

constexpr int endpointCount = 20;
constexpr int sessionCount = 500;
/// One session goes and one comes with each step: a hundred changes a second, for three seconds.
constexpr int steps = 150;
constexpr std::chrono::milliseconds stepPause{20};

/// Lets the oldest sessions go and new ones come, as applications do.
class Churn
{
public:
    explicit Churn(const QStringList &endpoints) : endpoints(endpoints)
    {
        for (int index = 0; index < sessionCount; ++index)
            add();
    }

    void start()
    {
        thread = std::thread([this] {
            for (int step = 0; step < steps; ++step) {
                removeOldest();
                const auto number = add();
                simulated::notifySessionCreated(simulated::session(number).endpointId, number);
                std::this_thread::sleep_for(stepPause);
            }
            over = true;
        });
    }
    void join() { thread.join(); }
    [[nodiscard]] bool isOver() const { return over; }

private:
    simulated::SessionNumber add()
    {
        simulated::Session session;
        session.endpointId = endpoints.at(made++ % endpoints.size());
        session.processId = playerId;
        living.push_back(simulated::addSession(session));
        return living.back();
    }

    void removeOldest()
    {
        // Gone before it is told, so that no reader takes it up once more behind the event.
        simulated::removeSession(living.front());
        simulated::notifySessionState(living.front(), AudioSessionStateExpired);
        living.pop_front();
    }

    const QStringList endpoints;
    std::deque<simulated::SessionNumber> living;
    int made = 0;
    std::atomic<bool> over = false;
    std::thread thread;
};

QSet<QString> listedOn(AudioSessionManager &manager, const QString &endpointId)
{
    QSet<QString> instances;
    for (const QJsonValue info : manager.getDeviceAudioSessionInfos(endpointId))
        instances.insert(info["sessionInstanceIdentifier"].toString());
    return instances;
}

QSet<QString> existingOn(const QString &endpointId)
{
    QSet<QString> instances;
    for (const auto number : simulated::sessionsOn(endpointId))
        instances.insert(simulated::session(number).instanceIdentifier);
    return instances;
}

} // namespace

class TestSessionLoad : public QObject
{
    Q_OBJECT

private slots:
    void listsAreRightAtTheEnd()
    {
        SessionFixture fixture;
        QStringList endpoints;
        for (int index = 0; index < endpointCount; ++index)
            endpoints.append(simulated::addEndpoint({.flow = index % 2 ? eCapture : eRender}));
        Churn churn(endpoints);
        auto manager = makeManager();
        int all = 0;
        for (const QJsonValue infos : manager->getAllAudioSessionInfos(false))
            all += int(infos.toArray().size());
        QCOMPARE(all, sessionCount);

        std::atomic<int> expired = 0;
        connect(manager.get(), &AudioSessionManager::sigAudioSessionStateExpired, manager.get(),
                [&expired] { ++expired; });
        churn.start();
        int round = 0;
        while (!churn.isOver()) {
            // What the client and the endpoints' events ask for meanwhile: from this thread, and
            // from the manager's own.
            const QString endpoint = endpoints.at(++round % endpointCount);
            static_cast<void>(manager->getDeviceAudioSessionInfos(endpoint));
            QMetaObject::invokeMethod(manager.get(), "tryToUpdateDeviceAudioSessionsInfo",
                                      Q_ARG(QString, endpoint));
            if (round % 10 == 0)
                manager->onDefaultRenderDeviceChanged(endpoint);
            if (round % 16 == 0) {
                manager->removeDeviceAudioSession(endpoints.first());
                manager->onRenderDeviceAdded(endpoints.first());
            }
            QTest::qWait(25);
            simulated::clearCalls();
            fixture.log.clear();
        }
        churn.join();
        QVERIFY(expired > 0);

        for (const QString &endpoint : std::as_const(endpoints))
            QTRY_COMPARE_WITH_TIMEOUT(listedOn(*manager, endpoint), existingOn(endpoint),
                                      arrivalMs);
        int sinks = 0;
        for (const QString &endpoint : std::as_const(endpoints)) {
            QCOMPARE(simulated::newSessionSinks(endpoint), 1);
            for (const auto number : simulated::sessionsOn(endpoint))
                sinks += int(simulated::sessionSinks(number));
        }
        QCOMPARE(sinks, sessionCount);

        manager.reset();
        settle(*this);
        QCOMPARE(simulated::leakReport(), QString());
    }
};

QTEST_GUILESS_MAIN(TestSessionLoad)
#include "tst_sessionload.moc"
