// The table of sessions, fed as the server feeds it.
#include "platform/linux/sessionmodel.h"

#include <QMutex>
#include <QTest>

using namespace pulse;

namespace
{
constexpr int patience = 30000; // ms
const QString one = "{0.0.0.00000000}.{one}";
const QString two = "{0.0.0.00000000}.{two}";

Stream streamAt(quint32 node, quint32 processId = 77)
{
    Stream stream{};
    stream.flow = eRender;
    stream.index = 5;
    stream.client = 3;
    stream.node = node;
    stream.processId = processId;
    stream.name = "Player";
    pa_cvolume_set(&stream.volume, 2, PA_VOLUME_NORM);
    return stream;
}

/// A table with two endpoints, and what it tells those who listen to both.
class Subject
{
public:
    Subject() : model(dispatcher)
    {
        for (const QString &endpoint : {one, two})
            tokens.push_back(
                dispatcher.subscribe(sessionsTopic(endpoint), [this](const Event &event) {
                    listenTo(std::get<SessionEvent>(event).session);
                    add("created " + std::get<SessionEvent>(event).session);
                }));
        model.whenNewStream([this](const Session &session) { fresh += session.endpointId; });
        model.nodeListed(eRender, 1, one);
        model.nodeListed(eRender, 2, two);
    }
    ~Subject() { dispatcher.stop(); }

    /// The kinds of all events so far, in order.
    QStringList events()
    {
        const QMutexLocker lock(&mutex);
        return texts;
    }
    QString idAt(const QString &endpoint) const
    {
        const auto sessions = model.sessionsAt(endpoint);
        return sessions.empty() ? QString() : sessions.front().instanceIdentifier;
    }

    Dispatcher dispatcher;
    SessionModel model;
    QStringList fresh;

private:
    void listenTo(const QString &session)
    {
        tokens.push_back(dispatcher.subscribe(sessionTopic(session), [this](const Event &event) {
            const auto &change = std::get<SessionEvent>(event);
            add(QString("kind %1 state %2 %3")
                    .arg(change.kind)
                    .arg(change.state)
                    .arg(change.session));
        }));
    }
    void add(const QString &text)
    {
        const QMutexLocker lock(&mutex);
        texts += text;
    }

    QMutex mutex;
    QStringList texts;
    std::vector<Dispatcher::Token> tokens;
};
} // namespace

class tst_sessionmodel : public QObject
{
    Q_OBJECT

private slots:
    void aStreamsOwnProcessComesFirst()
    {
        Subject subject;
        subject.model.clientListed({3, 99, "Client", "icon"});
        subject.model.streamListed(streamAt(1, 77));
        const Session session = subject.model.sessionsAt(one).front();
        QCOMPARE(session.processId, 77u);
        QCOMPARE(session.displayName, "Player");
        QCOMPARE(session.iconPath, "icon");
        QCOMPARE(session.state, AudioSessionStateActive);
    }

    void aStreamWithoutProcessTakesItsClients()
    {
        Subject subject;
        Stream stream = streamAt(1, 0);
        stream.name.clear();
        subject.model.streamListed(stream);
        QVERIFY(subject.model.sessionsAt(one).empty()); // whose it is isn't known yet
        subject.model.clientListed({4, 98, "Other", ""});
        QVERIFY(subject.model.sessionsAt(one).empty());
        subject.model.clientListed({3, 99, "Client", ""});
        const Session session = subject.model.sessionsAt(one).front();
        QCOMPARE(session.processId, 99u);
        QCOMPARE(session.displayName, "Client");
        QCOMPARE(subject.fresh, QStringList{one});
        QTRY_COMPARE_WITH_TIMEOUT(subject.events().size(), 1, patience);
    }

    void anEndpointMayBeListedAfterItsStreams()
    {
        Subject subject;
        subject.model.streamListed(streamAt(9));
        QVERIFY(subject.fresh.isEmpty());
        subject.model.nodeListed(eCapture, 9, "elsewhere");
        QVERIFY(subject.fresh.isEmpty());
        subject.model.nodeListed(eRender, 9, "late");
        QCOMPARE(subject.fresh, QStringList{"late"});
        QCOMPARE(subject.model.sessionsAt("late").size(), std::size_t{1});
    }

    void aMoveIsAnEndAndABeginning()
    {
        Subject subject;
        subject.model.streamListed(streamAt(1));
        const QString first = subject.idAt(one);
        QTRY_COMPARE_WITH_TIMEOUT(subject.events().size(), 1, patience);
        subject.model.streamListed(streamAt(2));
        QVERIFY(!subject.model.session(first));
        QVERIFY(subject.model.sessionsAt(one).empty());
        const QString second = subject.idAt(two);
        QTRY_COMPARE_WITH_TIMEOUT(
            subject.events(),
            QStringList({"created " + first, "kind 4 state 2 " + first, "created " + second}),
            patience);
        // Back again it is yet another one, and only the first was new to the server.
        subject.model.streamListed(streamAt(1));
        QVERIFY(subject.idAt(one) != first);
        QCOMPARE(subject.fresh, QStringList{one});
    }

    void statesAreToldOnce()
    {
        Subject subject;
        Stream stream = streamAt(1);
        subject.model.streamListed(stream);
        const QString id = subject.idAt(one);
        QTRY_COMPARE_WITH_TIMEOUT(subject.events().size(), 1, patience);
        stream.corked = true;
        subject.model.streamListed(stream);
        subject.model.streamListed(stream);
        stream.corked = false;
        subject.model.streamListed(stream);
        subject.model.streamRemoved(eRender, stream.index);
        QTRY_COMPARE_WITH_TIMEOUT(subject.events(),
                                  QStringList({"created " + id, "kind 4 state 0 " + id,
                                               "kind 4 state 1 " + id, "kind 4 state 2 " + id}),
                                  patience);
    }

    void aLostEndpointOrServerDisconnects()
    {
        Subject subject;
        subject.model.streamListed(streamAt(1));
        QTRY_COMPARE_WITH_TIMEOUT(subject.events().size(), 1, patience);
        subject.model.nodeRemoved(eRender, 1);
        QVERIFY(subject.model.sessionsAt(one).empty());
        QTRY_COMPARE_WITH_TIMEOUT(subject.events().filter("kind 5").size(), 1, patience);
        subject.model.streamListed(streamAt(2));
        QTRY_COMPARE_WITH_TIMEOUT(subject.events().filter("created").size(), 2, patience);
        subject.model.serverLost();
        QVERIFY(subject.model.sessionsAt(two).empty());
        QTRY_COMPARE_WITH_TIMEOUT(subject.events().filter("kind 5").size(), 2, patience);
    }

    void streamsOfAProcess()
    {
        Subject subject;
        Stream stream = streamAt(1);
        subject.model.streamListed(stream);
        stream.index = 6;
        stream.node = 2;
        subject.model.streamListed(stream);
        stream.index = 7;
        stream.processId = 78;
        subject.model.streamListed(stream);
        QCOMPARE(subject.model.sessionsOf(77, eRender).size(), std::size_t{2});
        QCOMPARE(subject.model.sessionsOf(77, eCapture).size(), std::size_t{0});
        QCOMPARE(subject.model.sessionsAt(two).size(), std::size_t{2});
    }

    void levelsOfASessionThatIsOver()
    {
        Subject subject;
        subject.model.streamListed(streamAt(1));
        const QString id = subject.idAt(one);
        const auto request = subject.model.requestVolume(id, 0.5f, GUID_NULL);
        QVERIFY(request);
        QCOMPARE(request->index, 5u);
        QCOMPARE(pa_cvolume_max(&request->volume), pa_volume_t(PA_VOLUME_NORM / 2));
        subject.model.streamRemoved(eRender, 5);
        QVERIFY(!subject.model.requestVolume(id, 0.5f, GUID_NULL));
        QVERIFY(!subject.model.requestMute(id, true, GUID_NULL));
    }
};

QTEST_GUILESS_MAIN(tst_sessionmodel)
#include "tst_sessionmodel.moc"
