// Settings in the system's own registry, and what the subsystems find in them.
#include "app/virtualendpoints.h"
#include "platform/settingstree.h"
#include "registrykey.h"
#include "sessions/registeredendpoint.h"

#include <QTest>

namespace
{
const QString endpoints = R"(SOFTWARE\Microsoft\Windows\CurrentVersion\MMDevices\Audio\)";
const QString routes = R"(Software\Microsoft\Multimedia\Audio\DefaultEndpoint\)";
const QString group = "{11111111-2222-3333-4444-555555555555}";
const QString otherGroup = "{66666666-7777-8888-9999-aaaaaaaaaaaa}";

const QString interfacePath = "{233164c8-1b2c-4c7d-bc68-b671687a2567},1";
const QString shortName = "{a45c254e-df1c-4efd-8020-67d146a850e0},2";
const QString hardwareId = "{a8b865dd-2e3d-4094-ad97-e593a70c75d6},8";
const QString adapterName = "{b3f8fa53-0004-438e-9003-51a46e139bfc},6";
const QString instancePath = "{9c119480-ddc2-4954-a150-5bd240d454ad},10";
const QString number = "{1da5d803-d492-4edd-8c23-e0c0ffee7f0e},8";
const QString foreign = "{00000000-0000-0000-0000-000000000000},1";

QByteArray bytesOf(DWORD value)
{
    return {reinterpret_cast<const char *>(&value), sizeof(value)};
}

QJsonObject cardProperties(const QString &name, const QString &suffix)
{
    return {{interfacePath, R"({2}.\\?\root#media#0000#{guid}\)" + suffix},
            {shortName, name},
            {hardwareId, R"(ROOT\tavoriVirtualAudioDriver)"},
            {adapterName, "tavori Virtual Audio Device"}};
}

void writeEndpoint(const RegistryKey &key, const QString &tree, const QString &name,
                   const QJsonObject &properties)
{
    key.write(endpoints + tree + '\\' + name, "DeviceState", REG_DWORD, bytesOf(1));
    for (auto property = properties.begin(); property != properties.end(); ++property)
        key.write(endpoints + tree + '\\' + name + "\\Properties", property.key(),
                  property.value().toString());
}

/// What the catalogue holds of an endpoint.
QJsonObject entryOf(const QString &type, const QJsonObject &properties)
{
    QJsonObject entry{{"Type", type}};
    for (auto property = properties.begin(); property != properties.end(); ++property)
        entry.insert("Properties/" + property.key(), property.value());
    return entry;
}
} // namespace

class TestRegistry : public QObject
{
    Q_OBJECT

private slots:
    void groupsAndKeys();
    void pathWithoutItsBackslash();
    void groupsNest();
    void values_data();
    void values();
    void readingWritesNothing();
    void cardIsFound();
    void noCard();
    void registeredEndpoints_data();
    void registeredEndpoints();
    void nothingRegistered();
};

void TestRegistry::groupsAndKeys()
{
    const RegistryKey key;
    key.write(R"(Tree\First\Properties)", shortName, "Aux");
    key.write(R"(Tree\First)", "State", "1");
    key.write(R"(Tree\Second)", "", "default");
    key.write("Beside", "Other", "2");
    const auto tree = openSettingsTree(key.path() + R"(\Tree)");
    QCOMPARE(tree->childGroups(), QStringList({"First", "Second"}));
    tree->beginGroup("First");
    QCOMPARE(tree->childGroups(), QStringList({"Properties"}));
    QStringList keys = tree->allKeys();
    keys.sort();
    QCOMPARE(keys, QStringList({"Properties/" + shortName, "State"}));
}

void TestRegistry::pathWithoutItsBackslash()
{
    const RegistryKey key;
    key.write("Tree", "Name", "Aux");
    QCOMPARE(openSettingsTree(key.path().mid(1) + R"(\Tree)")->value("Name"), "Aux");
}

void TestRegistry::groupsNest()
{
    const RegistryKey key;
    key.write(R"(Tree\Outer\Inner)", "Name", "innermost");
    key.write(R"(Tree\Outer)", "Name", "inside");
    key.write("Tree", "Name", "outside");
    const auto tree = openSettingsTree(key.path() + R"(\Tree)");
    tree->beginGroup("Outer");
    tree->beginGroup("Inner");
    QCOMPARE(tree->value("Name"), "innermost");
    tree->endGroup();
    QCOMPARE(tree->value("Name"), "inside");
    QCOMPARE(tree->value("Inner/Name"), "innermost");
    tree->endGroup();
    QCOMPARE(tree->value("Name"), "outside");
}

void TestRegistry::values_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<DWORD>("type");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    const auto wide = [](const QString &text) {
        return QByteArray(reinterpret_cast<const char *>(text.utf16()), (text.size() + 1) * 2);
    };
    const QString device = R"(\Device\HarddiskVolume3\games\游戏.exe)";
    QTest::newRow("text") << "Name" << DWORD{REG_SZ} << wide("Aux") << "Name" << QVariant("Aux");
    QTest::newRow("property") << shortName << DWORD{REG_SZ} << wide("Aux") << shortName
                              << QVariant("Aux");
    QTest::newRow("default value")
        << "" << DWORD{REG_SZ} << wide(device) << "." << QVariant(device);
    QTest::newRow("empty text") << "Name" << DWORD{REG_SZ} << wide({}) << "Name" << QVariant("");
    QTest::newRow("number") << "Name" << DWORD{REG_DWORD} << bytesOf(0x10000004) << "Name"
                            << QVariant(0x10000004);
    QTest::newRow("name that is not there")
        << "Name" << DWORD{REG_SZ} << wide("Aux") << "Names" << QVariant();
}

void TestRegistry::values()
{
    QFETCH(QString, name);
    QFETCH(DWORD, type);
    QFETCH(QByteArray, content);
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    const RegistryKey registry;
    registry.write(R"(Tree\Group)", name, type, content);
    const auto tree = openSettingsTree(registry.path() + R"(\Tree)");
    tree->beginGroup("Group");
    const QVariant found = tree->value(key);
    QCOMPARE(found.isValid(), value.isValid());
    QCOMPARE(found.toString(), value.toString());
}

void TestRegistry::readingWritesNothing()
{
    const RegistryKey key;
    const auto tree = openSettingsTree(key.path() + R"(\Not there\Deeper)");
    tree->beginGroup("Group");
    QVERIFY(!tree->value("Name").isValid());
    QCOMPARE(tree->childGroups(), QStringList());
    QCOMPARE(tree->allKeys(), QStringList());
    QVERIFY(!key.contains("Not there"));
}

void TestRegistry::cardIsFound()
{
    const RegistryKey key;
    const ReplacedRoot machine(HKEY_LOCAL_MACHINE, key);
    const QJsonObject aux = cardProperties("tavori - Aux", "tavori.AUX.WaveSpeaker");
    QJsonObject microphone = cardProperties("tavori - Microphone", "tavori.ChatCapture.Wave");
    microphone.insert(instancePath, R"(SWD\MMDEVAPI\{0.0.1.00000000}.{microphone})");
    QJsonObject real = aux;
    real.insert(adapterName, "Another card");
    writeEndpoint(key, "Render", group, aux);
    key.write(endpoints + "Render\\" + group + "\\Properties", number, REG_DWORD, bytesOf(7));
    key.write(endpoints + "Render\\" + group + "\\Properties", foreign, "not kept");
    writeEndpoint(key, "Render", otherGroup, real);
    writeEndpoint(key, "Capture", otherGroup, microphone);

    QJsonObject auxEntry = entryOf("Render", aux);
    auxEntry.insert("Properties/" + number, "7");
    const QString auxId = "{0.0.0.00000000}." + group;
    const QString microphoneKey = "{0.0.1.00000000}." + otherGroup;
    const VirtualEndpointCatalogue catalogue = readVirtualEndpointCatalogue();
    QCOMPARE(catalogue.keys(), QStringList({auxId, microphoneKey}));
    QCOMPARE(catalogue[auxId], auxEntry);
    QCOMPARE(catalogue[microphoneKey], entryOf("Capture", microphone));
    QCOMPARE(endpointIdOfEntry(catalogue, catalogue[auxId]), auxId);
    QCOMPARE(endpointIdOfEntry(catalogue, catalogue[microphoneKey]),
             "{0.0.1.00000000}.{microphone}");
}

void TestRegistry::noCard()
{
    const RegistryKey key;
    const ReplacedRoot machine(HKEY_LOCAL_MACHINE, key);
    QVERIFY(readVirtualEndpointCatalogue().isEmpty());
    QVERIFY(!key.contains("SOFTWARE"));
}

void TestRegistry::registeredEndpoints_data()
{
    QTest::addColumn<QString>("application");
    QTest::addColumn<QString>("endpoint");
    QTest::addColumn<QString>("endpointId");
    const QString executable = R"(\Device\HarddiskVolume3\Games\game.exe)";
    const QString endpoint = R"(\\?\SWD#MMDEVAPI#{0.0.0.00000000}.{chosen}#{class})";
    QTest::newRow("executable") << executable << endpoint << "{0.0.0.00000000}.{chosen}";
    QTest::newRow("follows the default") << executable << ""
                                         << "";
    QTest::newRow("package") << "Maker.Game_abc!App" << endpoint << "{0.0.0.00000000}.{chosen}";
}

void TestRegistry::registeredEndpoints()
{
    QFETCH(QString, application);
    QFETCH(QString, endpoint);
    const RegistryKey key;
    const ReplacedRoot user(HKEY_CURRENT_USER, key);
    key.write(routes + "1f0e", "", R"(\Device\HarddiskVolume3\other.exe)");
    key.write(routes + "2c5a", "", application);
    key.write(routes + "2c5a", "000_000", endpoint);
    const auto found =
        registeredEndpoint("game.exe", R"(C:\Apps\Maker.Game_1.0.0.0_x64__abc\game.exe)");
    QVERIFY(found);
    QCOMPARE(found->isDefault, endpoint.isEmpty());
    QTEST(found->endpointID, "endpointId");
}

void TestRegistry::nothingRegistered()
{
    const RegistryKey key;
    const ReplacedRoot user(HKEY_CURRENT_USER, key);
    QVERIFY(!registeredEndpoint("game.exe", R"(C:\Games\game.exe)"));
    QVERIFY(!key.contains("Software"));
}

QTEST_GUILESS_MAIN(TestRegistry)
#include "tst_registry.moc"
