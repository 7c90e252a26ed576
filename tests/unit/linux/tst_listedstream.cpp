// What the server tells of a stream and of a client becomes what the session table keeps.
#include "platform/linux/listedstream.h"

#include <QMap>
#include <QTest>

#include <pulse/proplist.h>

#include <memory>

using namespace pulse;

namespace
{
using Properties = QMap<QByteArray, QByteArray>;

std::shared_ptr<pa_proplist> proplistOf(const Properties &properties)
{
    std::shared_ptr<pa_proplist> list(pa_proplist_new(), &pa_proplist_free);
    for (auto entry = properties.begin(); entry != properties.end(); ++entry)
        pa_proplist_sets(list.get(), entry.key().constData(), entry.value().constData());
    return list;
}

const Properties player{{"application.process.id", "4711"},
                        {"application.name", "M\xc3\xbcsik"},
                        {"application.icon_name", "player-icon"},
                        {"media.role", "music"}};

/// A sink input or a source output with a value of its own in each field.
template <typename Info>
Info listed(const std::shared_ptr<pa_proplist> &properties)
{
    Info info{};
    info.index = 11;
    info.client = 22;
    info.proplist = properties.get();
    pa_cvolume_set(&info.volume, 2, PA_VOLUME_NORM / 2);
    return info;
}

pa_sink_input_info playing(const std::shared_ptr<pa_proplist> &properties)
{
    auto info = listed<pa_sink_input_info>(properties);
    info.sink = 33;
    return info;
}
} // namespace

class tst_listedstream : public QObject
{
    Q_OBJECT

private slots:
    void aSinkInputPlays()
    {
        const auto properties = proplistOf(player);
        const Stream stream = streamOf(playing(properties));
        QCOMPARE(stream.flow, eRender);
        QCOMPARE(stream.index, 11u);
        QCOMPARE(stream.client, 22u);
        QCOMPARE(stream.node, 33u);
        QCOMPARE(stream.processId, 4711u);
        QCOMPARE(stream.name, QStringLiteral("M\u00fcsik"));
        QCOMPARE(stream.icon, QStringLiteral("player-icon"));
        QVERIFY(!stream.isEvent);
        QVERIFY(!stream.corked);
        QVERIFY(!stream.muted);
        QCOMPARE(pa_cvolume_max(&stream.volume), pa_volume_t(PA_VOLUME_NORM / 2));
    }

    void aSourceOutputRecords()
    {
        const auto properties = proplistOf(player);
        auto info = listed<pa_source_output_info>(properties);
        info.source = 44;
        info.corked = 1;
        info.mute = 1;
        const Stream stream = streamOf(info);
        QCOMPARE(stream.flow, eCapture);
        QCOMPARE(stream.index, 11u);
        QCOMPARE(stream.client, 22u);
        QCOMPARE(stream.node, 44u);
        QCOMPARE(stream.processId, 4711u);
        QVERIFY(stream.corked);
        QVERIFY(stream.muted);
    }

    void corkAndMuteAreToldApart()
    {
        const auto properties = proplistOf(player);
        pa_sink_input_info info = playing(properties);
        info.corked = 1;
        QVERIFY(streamOf(info).corked && !streamOf(info).muted);
        info.corked = 0;
        info.mute = 1;
        QVERIFY(!streamOf(info).corked && streamOf(info).muted);
    }

    void theDesktopsOwnSoundsAreEvents_data()
    {
        QTest::addColumn<QByteArray>("role");
        QTest::addColumn<bool>("isEvent");
        QTest::newRow("event") << QByteArray("event") << true;
        QTest::newRow("another role") << QByteArray("music") << false;
        QTest::newRow("another case") << QByteArray("Event") << false;
        QTest::newRow("a longer word") << QByteArray("events") << false;
        QTest::newRow("none") << QByteArray() << false;
    }
    void theDesktopsOwnSoundsAreEvents()
    {
        QFETCH(QByteArray, role);
        const auto properties =
            proplistOf(role.isNull() ? Properties{} : Properties{{"media.role", role}});
        QTEST(streamOf(playing(properties)).isEvent, "isEvent");
    }

    void processIds_data()
    {
        QTest::addColumn<QByteArray>("told");
        QTest::addColumn<QByteArray>("seen");
        QTest::addColumn<uint>("ofStream");
        QTest::addColumn<uint>("ofClient");
        QTest::newRow("told and seen") << QByteArray("7") << QByteArray("8") << 7u << 7u;
        // A stream's own properties count alone; its client stands in for it later.
        QTest::newRow("seen") << QByteArray() << QByteArray("8") << 0u << 8u;
        QTest::newRow("told") << QByteArray("7") << QByteArray() << 7u << 7u;
        QTest::newRow("neither") << QByteArray() << QByteArray() << 0u << 0u;
        QTest::newRow("no number") << QByteArray("seven") << QByteArray("8") << 0u << 8u;
        QTest::newRow("zero") << QByteArray("0") << QByteArray("8") << 0u << 8u;
        QTest::newRow("negative") << QByteArray("-7") << QByteArray("8") << 0u << 8u;
    }
    void processIds()
    {
        QFETCH(QByteArray, told);
        QFETCH(QByteArray, seen);
        Properties properties;
        if (!told.isNull())
            properties.insert("application.process.id", told);
        if (!seen.isNull())
            properties.insert("pipewire.sec.pid", seen);
        const auto list = proplistOf(properties);
        QTEST(streamOf(playing(list)).processId, "ofStream");
        pa_client_info client{};
        client.proplist = list.get();
        QTEST(clientOf(client).processId, "ofClient");
    }

    void aClientHasANameAndAnIcon()
    {
        const auto properties = proplistOf(player);
        pa_client_info info{};
        info.index = 55;
        info.name = "the connection's";
        info.proplist = properties.get();
        const Client client = clientOf(info);
        QCOMPARE(client.index, 55u);
        QCOMPARE(client.name, QStringLiteral("M\u00fcsik"));
        QCOMPARE(client.icon, QStringLiteral("player-icon"));
    }

    void whatIsNotToldIsEmpty()
    {
        const auto nothing = proplistOf({});
        const Stream stream = streamOf(playing(nothing));
        QCOMPARE(stream.name, QString());
        QCOMPARE(stream.icon, QString());
        pa_client_info info{};
        info.proplist = nothing.get();
        QCOMPARE(clientOf(info).name, QString());
        QCOMPARE(clientOf(info).icon, QString());
    }
};

QTEST_APPLESS_MAIN(tst_listedstream)
#include "tst_listedstream.moc"
