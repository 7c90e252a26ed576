// Which groups of the endpoint tree are the card's, and which endpoint ID each entry has.
#include "app/virtualendpoints.h"
#include "platform/simulated/settings.h"
#include "platform/simulated/simulated.h"
#include "tests/support/virtualcardtree.h"

#include <QTest>

namespace
{
const QString endpointIdKey = QStringLiteral("Properties/{9c119480-ddc2-4954-a150-5bd240d454ad},1");
const QString devicePathKey = QStringLiteral("Properties/{9c119480-ddc2-4954-a150-5bd240d454ad},2");
const QString secondEndpointIdKey =
    QStringLiteral("Properties/{9c119480-ddc2-4954-a150-5bd240d454ad},9");
const QString instancePathKey =
    QStringLiteral("Properties/{9c119480-ddc2-4954-a150-5bd240d454ad},10");
const QString foreignKey = QStringLiteral("Properties/{9c119480-ddc2-4954-a150-5bd240d454ad},3");

const QString renderPrefix = QStringLiteral("{0.0.0.00000000}.");
const QString capturePrefix = QStringLiteral("{0.0.1.00000000}.");
const QString group = QStringLiteral("{11111111-2222-3333-4444-555555555555}");
} // namespace

class VirtualEndpointsTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { simulated::reset(); }

    void noTreesGiveAnEmptyCatalogue() { QVERIFY(readVirtualEndpointCatalogue().isEmpty()); }

    void wholeCardIsFound()
    {
        setRenderTree(renderCardGroups());
        setCaptureTree(captureCardGroups());
        const VirtualEndpointCatalogue catalogue = readVirtualEndpointCatalogue();
        QCOMPARE(catalogue.size(), 11);
        QStringList captures;
        QStringList renders;
        for (const QJsonObject &entry : catalogue)
            (isCaptureEntry(entry) ? captures : renders).append(shortNameOfEntry(entry));
        captures.sort();
        renders.sort();
        QCOMPARE(captures, QStringList({"tavori - Microphone", "tavori - Stream"}));
        QCOMPARE(renders,
                 QStringList({"tavori - Aux", "tavori - Aux2", "tavori - Aux3", "tavori - Browser",
                              "tavori - Chat", "tavori - Gaming", "tavori - Media",
                              "tavori - Microphone", "tavori - Stream"}));
    }

    void captureTreeAloneIsRead()
    {
        setCaptureTree(captureCardGroups());
        const VirtualEndpointCatalogue catalogue = readVirtualEndpointCatalogue();
        QCOMPARE(catalogue.size(), 2);
        for (const QString &key : catalogue.keys())
            QVERIFY2(key.startsWith(capturePrefix), qPrintable(key));
    }

    void filter_data()
    {
        QTest::addColumn<bool>("capture");
        QTest::addColumn<QString>("adapter");
        QTest::addColumn<QString>("hardwareId");
        QTest::addColumn<QString>("shortName");
        QTest::addColumn<QString>("interfacePath");
        QTest::addColumn<bool>("found");
        const QString adapter = "tavori Virtual Audio Device";
        const QString hardware = "root\\tavoriVirtualAudioDriver";
        const QString name = "tavori - Aux";
        const QString path = "{2}.\\\\?\\root#media#0000#{guid}\\tavori.Aux.WaveSpeaker";
        QTest::newRow("the card's") << false << adapter << hardware << name << path << true;
        QTest::newRow("hardware ID in capitals")
            << false << adapter << "ROOT\\tavoriVirtualAudioDriver" << name << path << true;
        QTest::newRow("hardware ID in a third case")
            << false << adapter << "Root\\tavoriVirtualAudioDriver" << name << path << false;
        QTest::newRow("no hardware ID") << false << adapter << QString() << name << path << false;
        QTest::newRow("another adapter") << false << "Realtek" << hardware << name << path << false;
        QTest::newRow("adapter in another case")
            << false << adapter.toUpper() << hardware << name << path << false;
        QTest::newRow("another short name")
            << false << adapter << hardware << "tavori - Aux4" << path << false;
        QTest::newRow("short name in another case")
            << false << adapter << hardware << "tavori - aux" << path << false;
        QTest::newRow("suffix in capitals")
            << false << adapter << hardware << name << path.toUpper() << true;
        QTest::newRow("suffix of another channel")
            << false << adapter << hardware << name << "x\\tavori.Game.WaveSpeaker" << true;
        QTest::newRow("no suffix of ours")
            << false << adapter << hardware << name << "x\\tavori.Aux4.WaveSpeaker" << false;
        QTest::newRow("something behind the suffix")
            << false << adapter << hardware << name << path + "x" << false;
        QTest::newRow("capture: Microphone") << true << adapter << hardware << "tavori - Microphone"
                                             << "x\\tavori.ChatCapture.Wave" << true;
        QTest::newRow("capture: suffix in capitals")
            << true << adapter << hardware << "tavori - Stream"
            << "x\\TAVORI.STREAM.WAVE" << true;
        QTest::newRow("capture: a render name") << true << adapter << hardware << "tavori - Aux"
                                                << "x\\tavori.Stream.Wave" << false;
        QTest::newRow("capture: a render suffix")
            << true << adapter << hardware << "tavori - Stream"
            << "x\\tavori.Stream.WaveSpeaker" << false;
    }

    void filter()
    {
        QFETCH(const bool, capture);
        QFETCH(const QString, adapter);
        QFETCH(const QString, hardwareId);
        QFETCH(const QString, shortName);
        QFETCH(const QString, interfacePath);
        const simulated::SettingsKeys keys =
            cardKeys(adapter, hardwareId, shortName, interfacePath);
        if (capture)
            setCaptureTree({{group, keys}});
        else
            setRenderTree({{group, keys}});
        const VirtualEndpointCatalogue catalogue = readVirtualEndpointCatalogue();
        QTEST(!catalogue.isEmpty(), "found");
        if (catalogue.isEmpty())
            return;
        QCOMPARE(catalogue.firstKey(), (capture ? capturePrefix : renderPrefix) + group);
        QCOMPARE(isCaptureEntry(catalogue.first()), capture);
        QCOMPARE(catalogue.first().value("Type").toString(), capture ? "Capture" : "Render");
    }

    void onlyListedPropertiesAreKept()
    {
        simulated::SettingsKeys keys = renderCardGroups().first().second;
        keys.append({foreignKey, "dropped"});
        keys.append({"DeviceState", 1});
        keys.append({endpointIdKey, "kept"});
        setRenderTree({{group, keys}});
        const QJsonObject entry = readVirtualEndpointCatalogue().first();
        QVERIFY(!entry.contains(foreignKey));
        QVERIFY(!entry.contains("DeviceState"));
        QCOMPARE(entry.value(endpointIdKey).toString(), "kept");
    }

    void treesAreLeftWhenTheyAreFull()
    {
        // Nine render groups are enough; a tenth would match and is not read.
        simulated::SettingsGroups renders = renderCardGroups();
        renders.append({"{ffffffff-0000-0000-0000-000000000000}", renders.first().second});
        setRenderTree(renders);
        simulated::SettingsGroups captures = captureCardGroups();
        captures.append({"{ffffffff-0000-0000-0000-000000000001}", captures.first().second});
        setCaptureTree(captures);
        const VirtualEndpointCatalogue catalogue = readVirtualEndpointCatalogue();
        QCOMPARE(catalogue.size(), 11);
        QVERIFY(!catalogue.contains(renderPrefix + "{ffffffff-0000-0000-0000-000000000000}"));
        QVERIFY(!catalogue.contains(capturePrefix + "{ffffffff-0000-0000-0000-000000000001}"));
    }

    void idRule_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::addColumn<QString>("devicePath");
        QTest::addColumn<QString>("instancePath");
        QTest::addColumn<QString>("id");
        const QString key = renderPrefix + group;
        QTest::newRow("the first property") << "one"
                                            << "nine"
                                            << "a#b#c"
                                            << "d\\e\\f"
                                            << "one";
        QTest::newRow("the second") << ""
                                    << "nine"
                                    << "a#b#c"
                                    << "d\\e\\f"
                                    << "nine";
        QTest::newRow("in the device path") << ""
                                            << ""
                                            << "a#b#c#d"
                                            << "d\\e\\f"
                                            << "c";
        QTest::newRow("in the instance path") << ""
                                              << ""
                                              << ""
                                              << "d\\e\\f"
                                              << "f";
        QTest::newRow("device path too short") << ""
                                               << ""
                                               << "a#b"
                                               << "d\\e\\f" << key;
        QTest::newRow("third part empty") << ""
                                          << ""
                                          << "a#b##d"
                                          << "d\\e\\f" << key;
        QTest::newRow("instance path too short") << ""
                                                 << ""
                                                 << ""
                                                 << "d\\e" << key;
        QTest::newRow("nothing but the key") << ""
                                             << ""
                                             << ""
                                             << "" << key;
    }

    void idRule()
    {
        QFETCH(const QString, first);
        QFETCH(const QString, second);
        QFETCH(const QString, devicePath);
        QFETCH(const QString, instancePath);
        simulated::SettingsKeys keys =
            cardKeys("tavori Virtual Audio Device", "root\\tavoriVirtualAudioDriver",
                     "tavori - Aux", "x\\tavori.Aux.WaveSpeaker");
        const QList<QPair<QString, QString>> added{{endpointIdKey, first},
                                                   {secondEndpointIdKey, second},
                                                   {devicePathKey, devicePath},
                                                   {instancePathKey, instancePath}};
        for (const auto &[key, value] : added) {
            if (!value.isEmpty())
                keys.append({key, value});
        }
        setRenderTree({{group, keys}});
        const VirtualEndpointCatalogue catalogue = readVirtualEndpointCatalogue();
        QTEST(endpointIdOfEntry(catalogue, catalogue.first()), "id");
    }
};

QTEST_GUILESS_MAIN(VirtualEndpointsTest)
#include "tst_virtualendpoints.moc"
