// No server at start, a server that is killed and comes back, a server that hangs up.
#include "endpointsinks.h"
#include "platform/pipewire/card.h"
#include "privateserver.h"
#include "tests/support/processend.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QtTest>

namespace
{
const QString speakers = endpointIdOf("speakers", eRender);
const QString headset = endpointIdOf("headset", eRender);
const QString microphone = endpointIdOf("real_microphone", eCapture);

const card::CardEndpoint &gaming()
{
    for (const card::CardEndpoint &endpoint : card::endpoints()) {
        if (endpoint.channel->type == tavoriGame)
            return endpoint;
    }
    qFatal("no such endpoint");
}

QString socketPath()
{
    return qEnvironmentVariable("XDG_RUNTIME_DIR") + "/pulse/native";
}

/// How often the connection's thread has slept so far.
qint64 sleepsOfConnection()
{
    for (const QString &task :
         QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile name("/proc/self/task/" + task + "/comm");
        QFile status("/proc/self/task/" + task + "/status");
        if (!name.open(QIODevice::ReadOnly) || name.readAll().trimmed() != "endpoints" ||
            !status.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("voluntary_ctxt_switches:"))
                return line.mid(line.indexOf(':') + 1).trimmed().toLongLong();
        }
    }
    return -1;
}
} // namespace

class tst_endpointloss : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void cleanupTestCase();

    void noServerAtStart();
    void nothingWakesUsMeanwhile();
    void theServerAppears();
    void theServerIsKilledAndRestarted_data();
    void theServerIsKilledAndRestarted();
    void onlyTheGraphIsKilled();
    void aServerThatHangsUpIsLeftAlone();
    void aServerThatNeverAnswersHoldsNobody();

private:
    [[nodiscard]] QString missing() const;
    [[nodiscard]] bool haveServer();

    ComPtr<IMMDeviceEnumerator> enumerator;
    ComPtr<DeviceSink> sink;
};

// The platform must not have been touched before: it starts without a server.
void tst_endpointloss::initTestCase()
{
    privateserver::kill();
    enumerator = makeEnumerator();
    sink = makeSink<DeviceSink>();
    QCOMPARE(enumerator->RegisterEndpointNotificationCallback(sink.get()), S_OK);
}

void tst_endpointloss::cleanup()
{
    sink->clear();
}

void tst_endpointloss::cleanupTestCase()
{
    QCOMPARE(enumerator->UnregisterEndpointNotificationCallback(sink.get()), S_OK);
}

/// What is not back yet.
QString tst_endpointloss::missing() const
{
    QStringList wanted{"added " + speakers, "added " + headset, "added " + microphone,
                       "state 1 " + gaming().id};
    for (const QString &event : sink->events())
        wanted.removeAll(event);
    if (defaultId(eRender) != speakers)
        wanted.append("default output");
    if (defaultId(eCapture) != microphone)
        wanted.append("default input");
    return wanted.join(", ");
}

/// For those that begin with a server and the Gaming speaker shown.
bool tst_endpointloss::haveServer()
{
    if (privateserver::processId("pipewire") != 0)
        return true; // as the one before has left it
    if (setVisible(gaming().id, true) != S_OK || !privateserver::start() ||
        !QTest::qWaitFor([this] { return missing().isEmpty(); }, 30000))
        return false;
    sink->clear();
    return true;
}

void tst_endpointloss::noServerAtStart()
{
    QCOMPARE(namesOf(eAll), QStringList());
    QCOMPARE(defaultId(eRender), QString());
    QVERIFY(!volumeOf(gaming().id));
    QCOMPARE(namesOf(eAll, DEVICE_STATE_DISABLED).size(), 11);
    QCOMPARE(setVisible(gaming().id, true), S_OK);
    QCOMPARE(stateOf(gaming().id), DEVICE_STATE_NOTPRESENT);
    QTRY_COMPARE(sink->events(), QStringList("state 4 " + gaming().id));
}

// A few attempts follow the start, since sockets were left behind; then there is silence.
void tst_endpointloss::nothingWakesUsMeanwhile()
{
    QDeadlineTimer deadline(20000);
    qint64 before = -1;
    qint64 after = sleepsOfConnection();
    QVERIFY(after >= 0);
    while (after != before && !deadline.hasExpired()) {
        before = after;
        QThread::msleep(2500);
        after = sleepsOfConnection();
    }
    QCOMPARE(after, before);
}

void tst_endpointloss::theServerAppears()
{
    QCOMPARE(setVisible(gaming().id, true), S_OK);
    QVERIFY(privateserver::start());
    QTRY_COMPARE_WITH_TIMEOUT(missing(), QString(), 30000);
    QVERIFY(!sink->events().contains("added " + gaming().id));
    QVERIFY(!sink->events().contains("state 1 " + speakers));
    QCOMPARE(sink->nameAt("added " + speakers), QString("Speakers"));
    QVERIFY(namesOf(eRender).contains(gaming().description));
    QVERIFY(volumeOf(gaming().id));
}

void tst_endpointloss::theServerIsKilledAndRestarted_data()
{
    QTest::addColumn<bool>("violently");
    QTest::newRow("killed") << true;
    QTest::newRow("stopped") << false;
    QTest::newRow("killed again") << true;
}

void tst_endpointloss::theServerIsKilledAndRestarted()
{
    QFETCH(bool, violently);
    static int descriptors = 0;
    static int threads = 0;
    QVERIFY(haveServer());
    const ComPtr<IAudioEndpointVolume> volume = volumeOf(speakers);
    QVERIFY(volume);
    violently ? privateserver::kill() : privateserver::stop();
    for (const QString &id : {speakers, headset, microphone, gaming().id}) {
        QTRY_VERIFY(sink->events().contains("state 4 " + id) ||
                    sink->events().contains("removed " + id));
        QVERIFY(stateOf(id) == DEVICE_STATE_NOTPRESENT || stateOf(id) == 0);
    }
    QCOMPARE(namesOf(eAll), QStringList());
    QCOMPARE(defaultId(eRender), QString());
    float level = 0;
    QCOMPARE(volume->GetMasterVolumeLevelScalar(&level), AUDCLNT_E_DEVICE_INVALIDATED);
    QCOMPARE(volume->SetMasterVolumeLevelScalar(0.5f, nullptr), AUDCLNT_E_DEVICE_INVALIDATED);

    sink->clear();
    QVERIFY(privateserver::start());
    QTRY_COMPARE_WITH_TIMEOUT(missing(), QString(), 30000);
    QVERIFY(!sink->events().contains("added " + gaming().id));
    QVERIFY(!sink->events().contains("state 1 " + speakers));
    QCOMPARE(volume->SetMasterVolumeLevelScalar(0.5f, nullptr), S_OK);

    // Looks at the defaults have connections of their own, and one may stay until all defaults were
    // told over the lasting one.
    const auto openWithOneConnection = [] {
        for (const auto &[set, name] : {std::pair{"set-default-sink", "headset"},
                                        {"set-default-sink", "speakers"},
                                        {"set-default-source", "headset.monitor"},
                                        {"set-default-source", "real_microphone"}}) {
            privateserver::pactl({set, name});
            QTest::qWait(100);
        }
        QTest::qWait(3000);
        return privateserver::openDescriptors();
    };
    if (descriptors == 0) {
        descriptors = openWithOneConnection();
        for (int i = 0; i < 3; ++i)
            descriptors = std::min(descriptors, openWithOneConnection());
        threads = privateserver::threads();
    }
    QVERIFY(QTest::qWaitFor([&] { return openWithOneConnection() <= descriptors; }, 60000));
    QTRY_COMPARE(privateserver::threads(), threads);
}

// The PulseAudio side lives on and refuses everybody until there is a graph again.
void tst_endpointloss::onlyTheGraphIsKilled()
{
    QVERIFY(haveServer());
    ::kill(static_cast<pid_t>(privateserver::processId("pipewire")), SIGKILL);
    QTRY_VERIFY(sink->events().contains("state 4 " + speakers));
    QTRY_VERIFY(sink->events().contains("state 4 " + gaming().id));
    sink->clear();

    QProcess graph;
    QProcess policy;
    graph.start("pipewire", QStringList());
    QVERIFY(graph.waitForStarted());
    policy.start("wireplumber", QStringList());
    QVERIFY(policy.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(sink->events().contains("state 1 " + gaming().id), 10000);
    for (QProcess *daemon : {&policy, &graph}) {
        daemon->terminate();
        QVERIFY(hasEnded(*daemon, 30000));
    }
    privateserver::stop();
    sink->clear();
    QVERIFY(privateserver::start());
    QTRY_COMPARE_WITH_TIMEOUT(missing(), QString(), 30000);
}

void tst_endpointloss::aServerThatHangsUpIsLeftAlone()
{
    QVERIFY(haveServer());
    privateserver::stop();
    QFile::remove(socketPath());
    QLocalServer impostor;
    int calls = 0;
    connect(&impostor, &QLocalServer::newConnection, this, [&] {
        while (QLocalSocket *caller = impostor.nextPendingConnection()) {
            ++calls;
            caller->abort();
            caller->deleteLater();
        }
    });
    QVERIFY(impostor.listen(socketPath()));
    QTRY_VERIFY(calls > 0);
    int before = -1;
    QDeadlineTimer deadline(30000);
    while (calls != before && !deadline.hasExpired()) {
        before = calls;
        QTest::qWait(2500);
    }
    QCOMPARE(calls, before);
    QVERIFY2(calls < 20, qPrintable(QString::number(calls)));
    impostor.close();

    sink->clear();
    QVERIFY(privateserver::start());
    QTRY_COMPARE_WITH_TIMEOUT(missing(), QString(), 30000);
}

void tst_endpointloss::aServerThatNeverAnswersHoldsNobody()
{
    QVERIFY(haveServer());
    privateserver::stop();
    QFile::remove(socketPath());
    QLocalServer impostor;
    QVERIFY(impostor.listen(socketPath()));
    QVERIFY(impostor.waitForNewConnection(5000));
    QCOMPARE(namesOf(eAll), QStringList());
    QCOMPARE(stateOf(gaming().id), DEVICE_STATE_NOTPRESENT);
    impostor.close();
    sink->clear();
    QVERIFY(privateserver::start());
    QTRY_COMPARE_WITH_TIMEOUT(missing(), QString(), 30000);
}

QTEST_GUILESS_MAIN(tst_endpointloss)
#include "tst_endpointloss.moc"
