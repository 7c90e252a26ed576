// What the server tells becomes the platform's events: one for each arrival, in order.
#include "eventrecorder.h"
#include "platform/linux/endpointmodel.h"
#include "platform/pipewire/endpointid.h"

#include <QtTest>

using namespace pulse;
using namespace std::chrono_literals;

class tst_endpointmodel : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void aNewNodeIsAdded();
    void aVanishedNodeIsRemoved();
    void portsPlugAndUnplug();
    void aNodeMayArriveUnplugged();
    void aNewDescriptionIsANameChange();
    void aNewNodeNameIsAnotherEndpoint();
    void twoNodesOfOneName();
    void endpointsAreListedByFlowAndState();
    void theFormatIsThatOfTheNode();

    void defaultsFollowTheServer();
    void aDefaultIsAnnouncedAfterItsArrival();
    void anUnpluggedDefaultIsAnnouncedWhenItIsPlugged();
    void aVanishedDefaultIsNone();

    void lostServerMakesEverythingNotPresent();
    void realEndpointsComeBackAsAdded();
    void whatDoesNotComeBackIsForgottenWithTheNextServer();
    void aFailedAttemptLosesNothing();

    void cardEndpointsStartHidden();
    void aShownCardEndpointIsActiveNotAdded();
    void aHiddenCardEndpointIsDisabled();
    void aCardEndpointWithoutAServerIsNotPresent();
    void aCardEndpointFollowsTheServer();
    void aHiddenCardEndpointIsDisabledWhateverTheServer();
    void aCardNodeThatVanishesByItselfIsNotPresent();
    void awaitShownReturnsWithTheListing();
    void awaitShownIsBounded();
    void awaitShownEndsWithTheServer();

    void levelsAreRead_data();
    void levelsAreRead();
    void levelChangesCarryTheirContexts();
    void bothLevelsOfOneContextAreOneEvent();
    void bothLevelsOfTwoContextsAreTwoEvents();
    void requestsKeepTheBalance();
    void needlessRequestsAreSentToo();
    void requestsWithoutANodeFail();
    void levelsStartAnewWithANewNode();

private:
    static Node node(quint32 index, const QString &name, EDataFlow flow = eRender);
    static QString idOf(const QString &name, EDataFlow flow = eRender)
    {
        return endpointIdOf(name, flow);
    }
    static GUID guid(quint32 number) { return {number, 0, 0, {}}; }
    DWORD stateOf(const QString &id) const { return model->endpoint(id)->state; }

    std::unique_ptr<Dispatcher> dispatcher;
    std::unique_ptr<EndpointModel> model;
    std::unique_ptr<EventRecorder> events;
    const QString speakers = idOf("speakers");
    const QString gaming = idOf("gaming");
};

Node tst_endpointmodel::node(quint32 index, const QString &name, EDataFlow flow)
{
    Node result{flow, index, name, name.toUpper(), true, false, {}, 48000, 2};
    pa_cvolume_set(&result.volume, 2, PA_VOLUME_NORM / 2);
    return result;
}

void tst_endpointmodel::init()
{
    dispatcher = std::make_unique<Dispatcher>();
    model = std::make_unique<EndpointModel>(*dispatcher);
    model->addCardEndpoint(gaming, eRender, "gaming", "Gaming (Card)");
    events = std::make_unique<EventRecorder>(*dispatcher);
    model->serverFound();
}

void tst_endpointmodel::cleanup()
{
    events.reset();
    dispatcher->stop();
    model.reset();
    dispatcher.reset();
}

void tst_endpointmodel::aNewNodeIsAdded()
{
    model->nodeListed(node(1, "speakers"));
    QCOMPARE(events->take(), QStringList("added " + speakers));
    QCOMPARE(stateOf(speakers), DEVICE_STATE_ACTIVE);
    QCOMPARE(model->endpoint(speakers)->description, QString("SPEAKERS"));
    QCOMPARE(model->endpoint(speakers)->nodeName, QString("speakers"));
    model->nodeListed(node(1, "speakers"));
    QCOMPARE(events->take(), QStringList());
}

void tst_endpointmodel::aVanishedNodeIsRemoved()
{
    model->nodeListed(node(1, "speakers"));
    model->nodeListed(node(1, "microphone", eCapture)); // the numbers of sources are others
    events->take();
    model->nodeRemoved(eRender, 7);
    QCOMPARE(events->take(), QStringList());
    model->nodeRemoved(eRender, 1);
    QCOMPARE(events->take(), QStringList("removed " + speakers));
    QVERIFY(!model->endpoint(speakers));
    QVERIFY(model->endpoint(idOf("microphone", eCapture)));
}

void tst_endpointmodel::portsPlugAndUnplug()
{
    Node speaker = node(1, "speakers");
    model->nodeListed(speaker);
    events->take();
    speaker.plugged = false;
    model->nodeListed(speaker);
    QCOMPARE(events->take(), QStringList("state 8 " + speakers));
    speaker.plugged = true;
    model->nodeListed(speaker);
    QCOMPARE(events->take(), QStringList("state 1 " + speakers));
}

void tst_endpointmodel::aNodeMayArriveUnplugged()
{
    Node speaker = node(1, "speakers");
    speaker.plugged = false;
    model->nodeListed(speaker);
    QCOMPARE(events->take(), QStringList("added " + speakers));
    QCOMPARE(stateOf(speakers), DEVICE_STATE_UNPLUGGED);
    QVERIFY(model->endpoints(eRender, DEVICE_STATE_ACTIVE).empty());
}

void tst_endpointmodel::aNewDescriptionIsANameChange()
{
    Node speaker = node(1, "speakers");
    model->nodeListed(speaker);
    events->take();
    speaker.description = "Loud ones";
    model->nodeListed(speaker);
    QCOMPARE(events->take(), QStringList("name " + speakers));
    QCOMPARE(model->endpoint(speakers)->description, QString("Loud ones"));
}

void tst_endpointmodel::aNewNodeNameIsAnotherEndpoint()
{
    model->nodeListed(node(1, "speakers"));
    events->take();
    model->nodeListed(node(1, "headset"));
    QCOMPARE(events->take(), QStringList({"removed " + speakers, "added " + idOf("headset")}));
}

void tst_endpointmodel::twoNodesOfOneName()
{
    model->nodeListed(node(1, "speakers"));
    model->nodeListed(node(2, "speakers"));
    QCOMPARE(events->take(), QStringList("added " + speakers));
    QCOMPARE(model->endpoints(eRender, DEVICE_STATE_ACTIVE).size(), 1u);
    model->nodeRemoved(eRender, 2);
    QCOMPARE(events->take(), QStringList());
    model->nodeListed(node(3, "speakers"));
    model->nodeRemoved(eRender, 1);
    QCOMPARE(events->take(), QStringList({"removed " + speakers, "added " + speakers}));
    model->nodeRemoved(eRender, 3);
    QCOMPARE(events->take(), QStringList("removed " + speakers));
}

void tst_endpointmodel::endpointsAreListedByFlowAndState()
{
    model->nodeListed(node(1, "speakers"));
    model->nodeListed(node(2, "headset"));
    model->nodeListed(node(1, "microphone", eCapture));
    const auto names = [this](EDataFlow flow, DWORD states) {
        QStringList result;
        for (const Endpoint &endpoint : model->endpoints(flow, states))
            result += endpoint.nodeName;
        return result;
    };
    QCOMPARE(names(eRender, DEVICE_STATE_ACTIVE), QStringList({"speakers", "headset"}));
    QCOMPARE(names(eCapture, DEVICE_STATE_ACTIVE), QStringList("microphone"));
    QCOMPARE(names(eAll, DEVICE_STATE_ACTIVE), QStringList({"speakers", "headset", "microphone"}));
    QCOMPARE(names(eAll, DEVICE_STATE_DISABLED), QStringList("gaming"));
    QCOMPARE(names(eRender, DEVICE_STATEMASK_ALL), QStringList({"gaming", "speakers", "headset"}));
}

void tst_endpointmodel::theFormatIsThatOfTheNode()
{
    Node speaker = node(1, "speakers");
    speaker.sampleRate = 44100;
    speaker.channels = 6;
    model->nodeListed(speaker);
    QCOMPARE(model->endpoint(speakers)->sampleRate, 44100u);
    QCOMPARE(model->endpoint(speakers)->channels, WORD(6));
}

void tst_endpointmodel::defaultsFollowTheServer()
{
    model->nodeListed(node(1, "speakers"));
    model->nodeListed(node(2, "headset"));
    model->nodeListed(node(1, "microphone", eCapture));
    events->take();
    QVERIFY(!model->defaultEndpoint(eRender));
    model->defaultNamed(eRender, "speakers");
    model->defaultNamed(eCapture, "microphone");
    QCOMPARE(events->take(),
             QStringList({"default 0 " + speakers, "default 1 " + idOf("microphone", eCapture)}));
    model->defaultNamed(eRender, "speakers");
    model->defaultNamed(eCapture, "microphone");
    QCOMPARE(events->take(), QStringList());
    model->defaultNamed(eRender, "headset");
    QCOMPARE(events->take(), QStringList("default 0 " + idOf("headset")));
    QCOMPARE(model->defaultEndpoint(eRender)->nodeName, QString("headset"));
    model->defaultNamed(eCapture, QString());
    QCOMPARE(events->take(), QStringList("default 1 "));
    QVERIFY(!model->defaultEndpoint(eCapture));
}

void tst_endpointmodel::aDefaultIsAnnouncedAfterItsArrival()
{
    model->defaultNamed(eRender, "speakers");
    QCOMPARE(events->take(), QStringList());
    QVERIFY(!model->defaultEndpoint(eRender));
    model->nodeListed(node(1, "speakers"));
    QCOMPARE(events->take(), QStringList({"added " + speakers, "default 0 " + speakers}));
}

void tst_endpointmodel::anUnpluggedDefaultIsAnnouncedWhenItIsPlugged()
{
    Node speaker = node(1, "speakers");
    speaker.plugged = false;
    model->nodeListed(speaker);
    events->take();
    model->defaultNamed(eRender, "speakers");
    QCOMPARE(events->take(), QStringList());
    QVERIFY(!model->defaultEndpoint(eRender));
    speaker.plugged = true;
    model->nodeListed(speaker);
    QCOMPARE(events->take(), QStringList({"state 1 " + speakers, "default 0 " + speakers}));
}

void tst_endpointmodel::aVanishedDefaultIsNone()
{
    model->nodeListed(node(1, "speakers"));
    model->nodeListed(node(2, "headset"));
    model->defaultNamed(eRender, "speakers");
    events->take();
    model->nodeRemoved(eRender, 1);
    QCOMPARE(events->take(), QStringList("removed " + speakers));
    QVERIFY(!model->defaultEndpoint(eRender));
    model->defaultNamed(eRender, "speakers"); // the server has not chosen yet
    QCOMPARE(events->take(), QStringList());
    model->defaultNamed(eRender, "headset");
    QCOMPARE(events->take(), QStringList("default 0 " + idOf("headset")));
}

void tst_endpointmodel::lostServerMakesEverythingNotPresent()
{
    model->nodeListed(node(1, "speakers"));
    model->expectShown(gaming, true);
    model->nodeListed(node(2, "gaming"));
    model->defaultNamed(eRender, "speakers");
    events->take();
    model->serverLost();
    QCOMPARE(events->take(),
             QStringList({"state 4 " + gaming, "state 4 " + speakers, "default 0 "}));
    QVERIFY(!model->levels(speakers));
    QVERIFY(!model->defaultEndpoint(eRender));
    QCOMPARE(model->endpoint(speakers)->description, QString("SPEAKERS"));
}

void tst_endpointmodel::realEndpointsComeBackAsAdded()
{
    model->nodeListed(node(1, "speakers"));
    model->serverLost();
    events->take();
    model->serverFound();
    QCOMPARE(events->take(), QStringList());
    model->nodeListed(node(9, "speakers"));
    QCOMPARE(events->take(), QStringList("added " + speakers));
    QCOMPARE(stateOf(speakers), DEVICE_STATE_ACTIVE);
}

void tst_endpointmodel::whatDoesNotComeBackIsForgottenWithTheNextServer()
{
    model->nodeListed(node(1, "speakers"));
    model->serverLost();
    model->serverFound();
    QCOMPARE(stateOf(speakers), DEVICE_STATE_NOTPRESENT);
    events->take();
    model->serverLost();
    QCOMPARE(events->take(), QStringList());
    QVERIFY(!model->endpoint(speakers));
    QVERIFY(model->endpoint(gaming));
}

void tst_endpointmodel::aFailedAttemptLosesNothing()
{
    model->nodeListed(node(1, "speakers"));
    model->serverLost();
    events->take();
    model->serverLost();
    QCOMPARE(events->take(), QStringList());
    QCOMPARE(stateOf(speakers), DEVICE_STATE_NOTPRESENT);
}

void tst_endpointmodel::cardEndpointsStartHidden()
{
    QCOMPARE(stateOf(gaming), DEVICE_STATE_DISABLED);
    QCOMPARE(model->endpoint(gaming)->description, QString("Gaming (Card)"));
    QVERIFY(model->endpoints(eRender, DEVICE_STATE_ACTIVE).empty());
}

void tst_endpointmodel::aShownCardEndpointIsActiveNotAdded()
{
    model->expectShown(gaming, true);
    QCOMPARE(events->take(), QStringList()); // nothing before the server lists it
    QCOMPARE(stateOf(gaming), DEVICE_STATE_DISABLED);
    model->nodeListed(node(1, "gaming"));
    QCOMPARE(events->take(), QStringList("state 1 " + gaming));
    QCOMPARE(model->endpoint(gaming)->description, QString("Gaming (Card)"));
}

void tst_endpointmodel::aHiddenCardEndpointIsDisabled()
{
    model->expectShown(gaming, true);
    model->nodeListed(node(1, "gaming"));
    events->take();
    model->expectShown(gaming, false);
    QCOMPARE(events->take(), QStringList());
    model->nodeRemoved(eRender, 1);
    QCOMPARE(events->take(), QStringList("state 2 " + gaming));
}

void tst_endpointmodel::aCardEndpointWithoutAServerIsNotPresent()
{
    model->serverLost();
    events->take();
    model->expectShown(gaming, true);
    QCOMPARE(events->take(), QStringList("state 4 " + gaming));
    QVERIFY(model->awaitShown(gaming, 0ms));
    model->expectShown(gaming, false);
    QCOMPARE(events->take(), QStringList("state 2 " + gaming));
}

void tst_endpointmodel::aCardEndpointFollowsTheServer()
{
    model->expectShown(gaming, true);
    model->nodeListed(node(1, "gaming"));
    model->serverLost();
    events->take();
    model->serverFound();
    model->nodeListed(node(5, "gaming"));
    QCOMPARE(events->take(), QStringList("state 1 " + gaming));
}

void tst_endpointmodel::aHiddenCardEndpointIsDisabledWhateverTheServer()
{
    model->serverLost();
    model->serverFound();
    QCOMPARE(events->take(), QStringList());
    QCOMPARE(stateOf(gaming), DEVICE_STATE_DISABLED);
}

void tst_endpointmodel::aCardNodeThatVanishesByItselfIsNotPresent()
{
    model->expectShown(gaming, true);
    model->nodeListed(node(1, "gaming"));
    events->take();
    model->nodeRemoved(eRender, 1);
    QCOMPARE(events->take(), QStringList("state 4 " + gaming));
    model->nodeListed(node(2, "gaming"));
    QCOMPARE(events->take(), QStringList("state 1 " + gaming));
}

void tst_endpointmodel::awaitShownReturnsWithTheListing()
{
    model->expectShown(gaming, true);
    std::thread server([this] { model->nodeListed(node(1, "gaming")); });
    QVERIFY(model->awaitShown(gaming, 1min));
    server.join();
    QCOMPARE(stateOf(gaming), DEVICE_STATE_ACTIVE);

    model->expectShown(gaming, false);
    std::thread again([this] { model->nodeRemoved(eRender, 1); });
    QVERIFY(model->awaitShown(gaming, 1min));
    again.join();
    QCOMPARE(stateOf(gaming), DEVICE_STATE_DISABLED);
}

void tst_endpointmodel::awaitShownIsBounded()
{
    model->expectShown(gaming, true);
    QVERIFY(!model->awaitShown(gaming, 1ms));
    QCOMPARE(events->take(), QStringList("state 4 " + gaming));
    model->nodeListed(node(1, "gaming")); // late, but not too late
    QCOMPARE(events->take(), QStringList("state 1 " + gaming));
    model->expectShown(gaming, false);
    QVERIFY(!model->awaitShown(gaming, 1ms));
    QCOMPARE(events->take(), QStringList("state 2 " + gaming));
    model->nodeRemoved(eRender, 1);
    QCOMPARE(events->take(), QStringList());
}

void tst_endpointmodel::awaitShownEndsWithTheServer()
{
    model->expectShown(gaming, true);
    std::thread server([this] { model->serverLost(); });
    QVERIFY(model->awaitShown(gaming, 1min));
    server.join();
    QCOMPARE(events->take(), QStringList("state 4 " + gaming));
}

void tst_endpointmodel::levelsAreRead_data()
{
    QTest::addColumn<quint32>("left");
    QTest::addColumn<quint32>("right");
    QTest::addColumn<float>("scalar");
    const quint32 norm = PA_VOLUME_NORM;
    QTest::newRow("silent") << 0u << 0u << 0.0f;
    QTest::newRow("half") << norm / 2 << norm / 2 << 0.5f;
    QTest::newRow("full") << norm << norm << 1.0f;
    QTest::newRow("the louder channel counts") << norm / 4 << norm / 2 << 0.5f;
    QTest::newRow("above full") << norm * 3 / 2 << norm << 1.0f;
}

void tst_endpointmodel::levelsAreRead()
{
    QFETCH(quint32, left);
    QFETCH(quint32, right);
    QFETCH(float, scalar);
    Node speaker = node(1, "speakers");
    speaker.volume.values[0] = left;
    speaker.volume.values[1] = right;
    speaker.muted = true;
    model->nodeListed(speaker);
    QCOMPARE(model->levels(speakers)->volume, scalar);
    QVERIFY(model->levels(speakers)->muted);
}

void tst_endpointmodel::levelChangesCarryTheirContexts()
{
    Node speaker = node(1, "speakers");
    model->nodeListed(speaker);
    events->take();
    events->listen(speakers);
    const LevelRequest request = model->requestVolume(speakers, 0.25f, guid(7));
    QCOMPARE(request.result, S_OK);
    QCOMPARE(request.index, 1u);
    QCOMPARE(model->levels(speakers)->volume, 0.25f);
    model->requestAnswered(speakers, request.ticket, true);
    speaker.volume = request.volume;
    model->nodeListed(speaker);
    QCOMPARE(events->take(), QStringList("level 25 open " + speakers + " context 7"));
    speaker.muted = true;
    model->nodeListed(speaker);
    QCOMPARE(events->take(), QStringList("level 25 muted " + speakers + " context 0"));
}

void tst_endpointmodel::bothLevelsOfOneContextAreOneEvent()
{
    Node speaker = node(1, "speakers");
    model->nodeListed(speaker);
    events->take();
    events->listen(speakers);
    speaker.muted = true;
    pa_cvolume_set(&speaker.volume, 2, PA_VOLUME_NORM);
    model->nodeListed(speaker);
    QCOMPARE(events->take(), QStringList("level 100 muted " + speakers + " context 0"));
}

void tst_endpointmodel::bothLevelsOfTwoContextsAreTwoEvents()
{
    Node speaker = node(1, "speakers");
    model->nodeListed(speaker);
    events->take();
    events->listen(speakers);
    QCOMPARE(model->requestMute(speakers, true, guid(7)).result, S_OK);
    QVERIFY(model->levels(speakers)->muted);
    speaker.muted = true;
    pa_cvolume_set(&speaker.volume, 2, PA_VOLUME_NORM);
    model->nodeListed(speaker);
    QCOMPARE(events->take(), QStringList({"level 100 muted " + speakers + " context 0",
                                          "level 100 muted " + speakers + " context 7"}));
}

void tst_endpointmodel::requestsKeepTheBalance()
{
    Node speaker = node(1, "speakers");
    speaker.volume.channels = 3;
    speaker.volume.values[0] = PA_VOLUME_NORM / 4;
    speaker.volume.values[1] = PA_VOLUME_NORM / 2;
    speaker.volume.values[2] = 0;
    model->nodeListed(speaker);
    const LevelRequest request = model->requestVolume(speakers, 1.0f, GUID_NULL);
    QCOMPARE(request.volume.channels, quint8(3));
    QCOMPARE(request.volume.values[0], quint32(PA_VOLUME_NORM / 2));
    QCOMPARE(request.volume.values[1], quint32(PA_VOLUME_NORM));
    QCOMPARE(request.volume.values[2], 0u);
}

// Somebody else's change may be on its way to us, so a request that seems needless is not.
void tst_endpointmodel::needlessRequestsAreSentToo()
{
    Node speaker = node(1, "speakers");
    model->nodeListed(speaker);
    events->listen(speakers);
    events->take();
    QCOMPARE(model->requestVolume(speakers, 0.5f, guid(7)).result, S_OK);
    const LevelRequest mute = model->requestMute(speakers, false, guid(8));
    QCOMPARE(mute.result, S_FALSE);
    QCOMPARE(mute.index, 1u);
    pa_cvolume_set(&speaker.volume, 2, PA_VOLUME_NORM);
    model->nodeListed(speaker);
    pa_cvolume_set(&speaker.volume, 2, PA_VOLUME_NORM / 2);
    model->nodeListed(speaker);
    QCOMPARE(events->take(), QStringList({"level 100 open " + speakers + " context 0",
                                          "level 50 open " + speakers + " context 7"}));
}

void tst_endpointmodel::requestsWithoutANodeFail()
{
    QCOMPARE(model->requestVolume(speakers, 0.5f, guid(7)).result, AUDCLNT_E_DEVICE_INVALIDATED);
    QCOMPARE(model->requestMute(gaming, true, guid(7)).result, AUDCLNT_E_DEVICE_INVALIDATED);
    QVERIFY(!model->levels(gaming));
}

void tst_endpointmodel::levelsStartAnewWithANewNode()
{
    model->nodeListed(node(1, "speakers"));
    QCOMPARE(model->requestVolume(speakers, 0.1f, guid(7)).result, S_OK);
    model->serverLost();
    model->serverFound();
    Node speaker = node(2, "speakers");
    model->nodeListed(speaker);
    QCOMPARE(model->levels(speakers)->volume, 0.5f);
    events->listen(speakers);
    events->take();
    pa_cvolume_set(&speaker.volume, 2, PA_VOLUME_NORM / 10);
    model->nodeListed(speaker);
    QCOMPARE(events->take(), QStringList("level 10 open " + speakers + " context 0"));
}

QTEST_GUILESS_MAIN(tst_endpointmodel)
#include "tst_endpointmodel.moc"
