// Order, isolation and the end of subscriptions on the notification thread.
#include "platform/linux/dispatcher.h"

#include <QSemaphore>
#include <QtTest>

using namespace pulse;

namespace
{
Event added(const QString &id)
{
    return DeviceEvent{DeviceEvent::Added, id};
}

QString idOf(const Event &event)
{
    return std::get<DeviceEvent>(event).id;
}

Event level(const QString &id)
{
    return LevelEvent{id, GUID_NULL, false, 0.0f, {}};
}
} // namespace

class tst_dispatcher : public QObject
{
    Q_OBJECT

private slots:
    void eventsComeInOrder();
    void levelsGoToTheirEndpointOnly();
    void whatWasPostedBeforeIsNotDelivered();
    void unsubscribeWaitsForTheRunningCall();
    void unsubscribeFromWithinReturns();
    void unsubscribeDropsTheReference();
    void aSubscriberMayCallBack();
    void stopDropsWhatWaits();
    void raceOfSubscriptionsAndEvents();
};

void tst_dispatcher::eventsComeInOrder()
{
    Dispatcher dispatcher;
    QStringList ids;
    QSemaphore delivered;
    const auto token = dispatcher.subscribe(QString(), [&](const Event &event) {
        ids += idOf(event);
        delivered.release();
    });
    for (int number = 0; number < 100; ++number)
        dispatcher.post(added(QString::number(number)));
    QVERIFY(delivered.tryAcquire(100, 5000));
    dispatcher.unsubscribe(token);
    QCOMPARE(ids.size(), 100);
    for (int number = 0; number < 100; ++number)
        QCOMPARE(ids[number], QString::number(number));
}

void tst_dispatcher::levelsGoToTheirEndpointOnly()
{
    Dispatcher dispatcher;
    QStringList heard;
    QSemaphore delivered;
    const auto hear = [&](const QString &topic) {
        return dispatcher.subscribe(topic, [&, topic](const Event &) {
            heard += topic;
            delivered.release();
        });
    };
    const auto first = hear("first");
    const auto second = hear("second");
    const auto devices = hear("");
    dispatcher.post(level("second"));
    dispatcher.post(level("third"));
    dispatcher.post(added("first"));
    dispatcher.post(level("first"));
    QVERIFY(delivered.tryAcquire(3, 5000));
    for (const auto token : {first, second, devices})
        dispatcher.unsubscribe(token);
    QCOMPARE(heard, QStringList({"second", "", "first"}));
}

void tst_dispatcher::whatWasPostedBeforeIsNotDelivered()
{
    Dispatcher dispatcher;
    QSemaphore entered;
    QSemaphore go;
    const auto blocking = dispatcher.subscribe(QString(), [&](const Event &) {
        entered.release();
        go.acquire();
    });
    dispatcher.post(added("1"));
    dispatcher.post(added("2"));
    QVERIFY(entered.tryAcquire(1, 5000));

    QStringList ids;
    QSemaphore delivered;
    const auto late = dispatcher.subscribe(QString(), [&](const Event &event) {
        ids += idOf(event);
        delivered.release();
    });
    dispatcher.post(added("3"));
    go.release(3);
    QVERIFY(delivered.tryAcquire(1, 5000));
    dispatcher.unsubscribe(blocking);
    dispatcher.unsubscribe(late);
    QCOMPARE(ids, QStringList("3"));
}

void tst_dispatcher::unsubscribeWaitsForTheRunningCall()
{
    Dispatcher dispatcher;
    QSemaphore entered;
    QSemaphore go;
    std::atomic<bool> hasReturned = false;
    const auto token = dispatcher.subscribe(QString(), [&](const Event &) {
        entered.release();
        go.acquire();
        hasReturned = true;
    });
    dispatcher.post(added("1"));
    QVERIFY(entered.tryAcquire(1, 5000));
    std::atomic<bool> sawReturn = false;
    std::thread unsubscriber([&] {
        dispatcher.unsubscribe(token);
        sawReturn = hasReturned.load();
    });
    go.release();
    unsubscriber.join();
    QVERIFY(sawReturn);
}

void tst_dispatcher::unsubscribeFromWithinReturns()
{
    Dispatcher dispatcher;
    std::atomic<int> calls = 0;
    QSemaphore returned;
    Dispatcher::Token token = 0;
    token = dispatcher.subscribe(QString(), [&](const Event &) {
        ++calls;
        dispatcher.unsubscribe(token);
        returned.release();
    });
    QSemaphore last;
    const auto other = dispatcher.subscribe(QString(), [&](const Event &event) {
        if (idOf(event) == "2")
            last.release();
    });
    dispatcher.post(added("1"));
    dispatcher.post(added("2"));
    QVERIFY(returned.tryAcquire(1, 5000));
    QVERIFY(last.tryAcquire(1, 5000));
    dispatcher.unsubscribe(other);
    QCOMPARE(calls.load(), 1);
}

void tst_dispatcher::unsubscribeDropsTheReference()
{
    Dispatcher dispatcher;
    const auto owned = std::make_shared<int>(0);
    const auto token = dispatcher.subscribe(QString(), [owned](const Event &) {});
    dispatcher.post(added("1"));
    QVERIFY(owned.use_count() > 1);
    dispatcher.unsubscribe(token);
    QCOMPARE(owned.use_count(), 1);
}

void tst_dispatcher::aSubscriberMayCallBack()
{
    Dispatcher dispatcher;
    QSemaphore heard;
    Dispatcher::Token inner = 0;
    const auto outer = dispatcher.subscribe(QString(), [&](const Event &event) {
        if (idOf(event) != "1")
            return;
        inner = dispatcher.subscribe(QString(), [&](const Event &) { heard.release(); });
        dispatcher.post(added("2"));
    });
    dispatcher.post(added("1"));
    QVERIFY(heard.tryAcquire(1, 5000));
    dispatcher.unsubscribe(outer);
    dispatcher.unsubscribe(inner);
}

// A subscriber that answers each event with the next one would go on for ever.
void tst_dispatcher::stopDropsWhatWaits()
{
    Dispatcher dispatcher;
    QSemaphore entered;
    std::atomic<int> calls = 0;
    const auto token = dispatcher.subscribe(QString(), [&](const Event &event) {
        ++calls;
        dispatcher.post(event);
        entered.release();
    });
    dispatcher.post(added("1"));
    QVERIFY(entered.tryAcquire(10, 5000));
    dispatcher.stop();
    const int atStop = calls;
    dispatcher.post(added("2"));
    dispatcher.stop();
    dispatcher.unsubscribe(token);
    QCOMPARE(calls.load(), atStop);
}

// Every subscriber's data is gone as soon as unsubscribe returns: a late call would be seen.
void tst_dispatcher::raceOfSubscriptionsAndEvents()
{
    Dispatcher dispatcher;
    std::atomic<bool> stop = false;
    std::thread poster([&] {
        while (!stop)
            dispatcher.post(added("1"));
    });
    std::atomic<int> calls = 0;
    // Until some events have come: on a busy machine the poster may start late.
    const QDeadlineTimer deadline(30'000);
    std::vector<std::thread> subscribers;
    for (int worker = 0; worker < 4; ++worker) {
        subscribers.emplace_back([&] {
            for (int round = 0; round < 500 || (calls == 0 && !deadline.hasExpired()); ++round) {
                auto alive = std::make_unique<std::atomic<bool>>(true);
                const auto token =
                    dispatcher.subscribe(QString(), [&calls, flag = alive.get()](const Event &) {
                        if (!*flag)
                            qFatal("called after unsubscribe");
                        ++calls;
                    });
                if (round % 50 == 0)
                    std::this_thread::yield();
                dispatcher.unsubscribe(token);
                *alive = false;
            }
        });
    }
    for (std::thread &subscriber : subscribers)
        subscriber.join();
    stop = true;
    poster.join();
    QVERIFY(calls > 0);
}

QTEST_GUILESS_MAIN(tst_dispatcher)
#include "tst_dispatcher.moc"
