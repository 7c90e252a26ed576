// The wait for endpoints: what ends it, how often, and what it says.
#include "platform/simulated/simulated.h"
#include "supervision/tasiprepare.h"
#include "tests/support/logcapture.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace
{
constexpr int patience = 30000;
constexpr int settlingMs = 1000;
const QString speakers = "{0.0.0.00000000}.{6b5a2a1c-0000-4000-8000-00000000000a}";
const QString headset = "{0.0.0.00000000}.{6b5a2a1c-0000-4000-8000-00000000000b}";

/// Somebody who fills the list and starts the timer.
class Waiter : public TaSiPrepare
{
public:
    Waiter() : TaSiPrepare(nullptr) {}
    using TaSiPrepare::timer;
    using TaSiPrepare::waitingList;
};

using Notifier = void (*)(const QString &);
void added(const QString &id)
{
    simulated::notifyDeviceAdded(id);
}
void activated(const QString &id)
{
    simulated::notifyDeviceState(id, DEVICE_STATE_ACTIVE);
}
} // namespace
Q_DECLARE_METATYPE(Notifier)

class TestTaSiPrepare : public QObject
{
    Q_OBJECT

private slots:
    void init() { simulated::reset(); }

    void nothingIsStartedAtConstruction()
    {
        const LogCapture log;
        const Waiter waiter;
        QCOMPARE(log.lines(), QStringList("Info: TaSiPrepare::TaSiPrepare"));
        QVERIFY(waiter.waitingList.isEmpty());
        QCOMPARE(waiter.timer->parent(), &waiter);
        QCOMPARE(waiter.timer->timerType(), Qt::PreciseTimer);
        QVERIFY(!waiter.timer->isActive());
        QCOMPARE(simulated::notificationSinks(), 1);
        QCOMPARE(TaSiPrepare::staticMetaObject.methodCount() -
                     QObject::staticMetaObject.methodCount(),
                 1);
    }

    void anyEndpointEndsAWaitForNone_data()
    {
        QTest::addColumn<Notifier>("notify");
        QTest::addColumn<QString>("line");
        QTest::newRow("added") << &added << "Info: TaSiPrepare::onDeviceAdded";
        QTest::newRow("active") << &activated << "Info: TaSiPrepare::onDeviceActive";
    }
    void anyEndpointEndsAWaitForNone()
    {
        QFETCH(const Notifier, notify);
        QFETCH(const QString, line);
        Waiter waiter;
        const QSignalSpy finished(&waiter, &TaSiPrepare::sigFinished);
        waiter.timer->start(100000);
        LogCapture log;
        QElapsedTimer clock;
        clock.start();
        notify(headset);
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, patience);
        QVERIFY(clock.elapsed() >= settlingMs);
        QVERIFY(!waiter.timer->isActive());
        QCOMPARE(log.lines(),
                 QStringList({line + " \"" + headset + "\"", "Info: TaSiPrepare::finished"}));
    }

    void everyEventOfTheSecondFinishesOnce()
    {
        Waiter waiter;
        const QSignalSpy finished(&waiter, &TaSiPrepare::sigFinished);
        added(headset);
        activated(headset);
        handle(added, speakers);
        awaitSettling();
        QCOMPARE(finished.count(), 3);
    }

    void theWaitLastsUntilTheListIsEmpty()
    {
        Waiter waiter;
        const QSignalSpy finished(&waiter, &TaSiPrepare::sigFinished);
        // Twice the same is waited for twice, and letters count.
        waiter.waitingList = QStringList{headset, speakers, headset};
        waiter.timer->start(100000);
        handle(added, speakers.toUpper());
        QCOMPARE(waiter.waitingList.size(), 3);
        handle(added, headset);
        QCOMPARE(waiter.waitingList, QStringList({speakers, headset}));
        handle(activated, headset);
        QCOMPARE(waiter.waitingList, QStringList(speakers));
        QVERIFY(waiter.timer->isActive());
        QCOMPARE(finished.count(), 0);
        handle(activated, speakers);
        QVERIFY(!waiter.timer->isActive());
        // Whatever the events before had begun would be over before this.
        awaitSettling();
        QCOMPARE(finished.count(), 1);
    }

    void othersDoNotCount()
    {
        Waiter waiter;
        LogCapture log;
        simulated::notifyDeviceRemoved(headset);
        simulated::notifyDeviceState(headset, DEVICE_STATE_DISABLED);
        simulated::notifyDefaultChanged(eRender, eConsole, headset);
        handle(added, speakers);
        QCOMPARE(log.lines().filter("TaSiPrepare"),
                 QStringList("Info: TaSiPrepare::onDeviceAdded \"" + speakers + "\""));
    }

    void theTimeOutEndsTheWaitAtOnce()
    {
        Waiter waiter;
        const QSignalSpy finished(&waiter, &TaSiPrepare::sigFinished);
        const LogCapture log;
        waiter.waitingList = QStringList{headset};
        waiter.timer->start(0);
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, patience);
        QVERIFY(!waiter.timer->isActive());
        QVERIFY(waiter.waitingList.isEmpty());
        QCOMPARE(log.lines(),
                 QStringList({"Info: TaSiPrepare::timeout", "Info: TaSiPrepare::finished"}));
    }

    void failuresAreTold_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("words");
        QTest::newRow("no enumerator") << "CoCreateInstance"
                                       << "CoCreateInstance faild!";
        QTest::newRow("no notifications")
            << "IMMDeviceEnumerator::RegisterEndpointNotificationCallback"
            << "Failed to register notification callback.";
    }
    void failuresAreTold()
    {
        QFETCH(const QString, call);
        QFETCH(const QString, words);
        simulated::failNext(call, 0x80004005);
        LogCapture log;
        auto waiter = std::make_unique<Waiter>();
        QCOMPARE(log.take(), QStringList({"Info: TaSiPrepare::TaSiPrepare",
                                          "Critical: TaSiPrepare::TaSiPrepare " + words}));
        QCOMPARE(waiter->timer->timerType(), Qt::PreciseTimer);
        waiter.reset();
        QCOMPARE(log.lines(), QStringList("Info: TaSiPrepare::~TaSiPrepare"));
        QVERIFY2(simulated::liveObjects() == 0, qPrintable(simulated::leakReport()));
    }

    void theEndGivesEverythingBack()
    {
        auto waiter = std::make_unique<Waiter>();
        simulated::clearCalls();
        const LogCapture log;
        waiter.reset();
        QCOMPARE(log.lines(), QStringList("Info: TaSiPrepare::~TaSiPrepare"));
        QCOMPARE(simulated::calls(),
                 QStringList({"IMMDeviceEnumerator::UnregisterEndpointNotificationCallback",
                              "release IMMDeviceEnumerator", "CoUninitialize"}));
        QVERIFY2(simulated::liveObjects() == 0, qPrintable(simulated::leakReport()));
    }

    void comIsStartedForManyThreads()
    {
        const Waiter waiter;
        const QStringList calls = simulated::calls();
        QCOMPARE(calls.first(), "CoInitializeEx 0");
        QVERIFY(
            calls.at(1).startsWith("CoCreateInstance MMDeviceEnumerator IMMDeviceEnumerator 1"));
    }

private:
    /// Raises the event and returns when the handler has run.
    static void handle(Notifier notify, const QString &id)
    {
        notify(id);
        simulated::drain();
        QCoreApplication::sendPostedEvents();
    }
    /// Returns when every single shot that an event so far has begun is over.
    static void awaitSettling()
    {
        QTimer later;
        later.setSingleShot(true);
        later.setTimerType(Qt::PreciseTimer);
        later.start(settlingMs + 1);
        QTRY_VERIFY_WITH_TIMEOUT(!later.isActive(), patience);
    }
};

QTEST_GUILESS_MAIN(TestTaSiPrepare)
#include "tst_tasiprepare.moc"
