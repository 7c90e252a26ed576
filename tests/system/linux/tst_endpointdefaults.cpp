// Defaults that the server tells to some of its clients only: while one comes, to that one alone.
#include "endpointsinks.h"
#include "privateserver.h"

#include <QtTest>

#include <array>
#include <utility>

namespace
{
constexpr int longestRepair = 30000; // ms
constexpr int noLookToCome = 12000;  // ms after the last client
constexpr int turns = 300;           // one in twenty or so is missed
constexpr std::chrono::seconds longestSearch{60};
const QString speakers = endpointIdOf("speakers", eRender);
const QString headset = endpointIdOf("headset", eRender);
const std::array outputs{std::pair{QStringLiteral("headset"), headset},
                         std::pair{QStringLiteral("speakers"), speakers}};
} // namespace

class tst_endpointdefaults : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void noLookLeadsToTheNext();
    void aChangeWhileClientsComeIsFound();
    void aDefaultThatWasMissedGoesBack();

private:
    /// Changes the default output while clients come; whether it was told at once.
    bool changeAmidClients(const QString &name, const QString &id);

    ComPtr<IMMDeviceEnumerator> enumerator;
    ComPtr<DeviceSink> sink;
};

void tst_endpointdefaults::init()
{
    enumerator = makeEnumerator();
    sink = makeSink<DeviceSink>();
    QCOMPARE(enumerator->RegisterEndpointNotificationCallback(sink.get()), S_OK);
    QTRY_COMPARE_WITH_TIMEOUT(defaultId(eRender), speakers, longestRepair);
}

void tst_endpointdefaults::cleanup()
{
    privateserver::pactl({"set-default-sink", "speakers"});
    QTRY_COMPARE_WITH_TIMEOUT(defaultId(eRender), speakers, longestRepair);
    enumerator->UnregisterEndpointNotificationCallback(sink.get());
}

bool tst_endpointdefaults::changeAmidClients(const QString &name, const QString &id)
{
    std::array<QProcess, 6> clients;
    for (std::size_t index = 0; index < clients.size(); ++index) {
        clients[index].start("pw-metadata", QStringList());
        if (index == clients.size() / 2)
            privateserver::pactl({"set-default-sink", name});
    }
    for (QProcess &client : clients)
        client.waitForFinished();
    return QTest::qWaitFor([&] { return defaultId(eRender) == id; }, 500);
}

// Each look at the defaults is a client of the server too, and comes some time after one that came.
void tst_endpointdefaults::noLookLeadsToTheNext()
{
    QTest::qWait(noLookToCome);
    QProcess watcher;
    watcher.start("pactl", {"subscribe"});
    QByteArray told;
    const auto clientsThatCame = [&] {
        told += watcher.readAllStandardOutput();
        return told.count("Event 'new' on client");
    };
    QTRY_VERIFY_WITH_TIMEOUT(clientsThatCame() > 0, longestRepair);
    // One after the watcher. More would come more and more slowly.
    QTest::qWait(25000);
    qInfo() << clientsThatCame() << "came";
    QCOMPARE_LE(clientsThatCame(), 2);
    watcher.terminate();
    QVERIFY(watcher.waitForFinished());
}

void tst_endpointdefaults::aChangeWhileClientsComeIsFound()
{
    int missed = 0;
    const QDeadlineTimer deadline(longestSearch);
    for (int turn = 0; turn < turns && missed < 2 && !deadline.hasExpired(); ++turn) {
        const auto &[name, id] = outputs[std::size_t(turn) % outputs.size()];
        sink->clear();
        if (!changeAmidClients(name, id))
            ++missed;
        QTRY_COMPARE_WITH_TIMEOUT(defaultId(eRender), id, longestRepair);
        QTRY_VERIFY(sink->events().contains("default 0 role 0 " + id));
    }
    qInfo() << missed << "not told at once";
    if (missed == 0)
        QSKIP("the server told every change at once");
}

// Whoever missed the change hears nothing when it is taken back.
void tst_endpointdefaults::aDefaultThatWasMissedGoesBack()
{
    int missed = 0;
    const QDeadlineTimer deadline(longestSearch);
    for (int turn = 0; turn < turns && missed < 2 && !deadline.hasExpired(); ++turn) {
        const auto &[name, id] = outputs[std::size_t(turn) % outputs.size()];
        if (changeAmidClients(name, id))
            continue;
        ++missed;
        QTRY_COMPARE_WITH_TIMEOUT(defaultId(eRender), id, longestRepair);
        QTest::qWait(noLookToCome);
        for (const QString &each : {outputs[std::size_t(turn + 1) % outputs.size()].second, id}) {
            QCOMPARE(setDefault(each), S_OK); // without a client that comes
            QTRY_COMPARE(defaultId(eRender), each);
        }
    }
    qInfo() << missed << "not told at once";
    if (missed == 0)
        QSKIP("the server told every change at once");
}

QTEST_GUILESS_MAIN(tst_endpointdefaults)
#include "tst_endpointdefaults.moc"
