#include "app/virtualendpoints.h"

#include "common/channels.h"
#include "platform/settingstree.h"

#include <algorithm>
#include <array>

namespace
{
constexpr QLatin1StringView typeKey{"Type"};

// The properties that decide whether an endpoint is the card's.
constexpr QLatin1StringView interfacePathKey{"Properties/{233164c8-1b2c-4c7d-bc68-b671687a2567},1"};
constexpr QLatin1StringView shortNameKey{"Properties/{a45c254e-df1c-4efd-8020-67d146a850e0},2"};
constexpr QLatin1StringView hardwareIdKey{"Properties/{a8b865dd-2e3d-4094-ad97-e593a70c75d6},8"};
constexpr QLatin1StringView adapterNameKey{"Properties/{b3f8fa53-0004-438e-9003-51a46e139bfc},6"};

// The properties that the endpoint ID can be read from.
constexpr QLatin1StringView endpointIdKey{"Properties/{9c119480-ddc2-4954-a150-5bd240d454ad},1"};
constexpr QLatin1StringView devicePathKey{"Properties/{9c119480-ddc2-4954-a150-5bd240d454ad},2"};
constexpr QLatin1StringView secondEndpointIdKey{
    "Properties/{9c119480-ddc2-4954-a150-5bd240d454ad},9"};
constexpr QLatin1StringView instancePathKey{"Properties/{9c119480-ddc2-4954-a150-5bd240d454ad},10"};

constexpr std::array keptKeys{
    QLatin1StringView("Properties/{1da5d803-d492-4edd-8c23-e0c0ffee7f0e},8"),
    interfacePathKey,
    QLatin1StringView("Properties/{24dbb0fc-9311-4b3d-9cf0-18ff155639d4},0"),
    QLatin1StringView("Properties/{259abffc-50a7-47ce-af08-68c9a7d73366},12"),
    QLatin1StringView("Properties/{83da6326-97a6-4088-9453-a1923f573b29},3"),
    QLatin1StringView("Properties/{9637b4b9-11ee-4c35-b43c-7b2452c993cc},1"),
    endpointIdKey,
    devicePathKey,
    secondEndpointIdKey,
    instancePathKey,
    QLatin1StringView("Properties/{9dad2fed-3c19-4cde-b3c9-1bd56be25698},0"),
    shortNameKey,
    QLatin1StringView("Properties/{a45c254e-df1c-4efd-8020-67d146a850e0},24"),
    QLatin1StringView("Properties/{a8b865dd-2e3d-4094-ad97-e593a70c75d6},5"),
    QLatin1StringView("Properties/{a8b865dd-2e3d-4094-ad97-e593a70c75d6},6"),
    hardwareIdKey,
    QLatin1StringView("Properties/{b3f8fa53-0004-438e-9003-51a46e139bfc},2"),
    adapterNameKey,
    QLatin1StringView("Properties/{c876062a-a276-4ed6-b15b-3962e69007f8},3"),
    QLatin1StringView("Properties/{f141e7cc-921b-466d-802f-879d6d4aec17},1"),
};

// The hardware ID passes in these two spellings only.
constexpr std::array hardwareIds{
    QLatin1StringView("root\\tavoriVirtualAudioDriver"),
    QLatin1StringView("ROOT\\tavoriVirtualAudioDriver"),
};

/// One of the two trees. The tree is left once the catalogue holds `fullCount` entries.
struct EndpointTree
{
    QLatin1StringView path;
    QLatin1StringView type;
    QLatin1StringView keyPrefix;
    QLatin1StringView Channel::*suffix;
    int fullCount;
};

constexpr std::array endpointTrees{
    EndpointTree{
        QLatin1StringView("\\HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion"
                          "\\MMDevices\\Audio\\Render"),
        QLatin1StringView("Render"), QLatin1StringView("{0.0.0.00000000}."), &Channel::renderSuffix,
        9},
    EndpointTree{
        QLatin1StringView("\\HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion"
                          "\\MMDevices\\Audio\\Capture"),
        QLatin1StringView("Capture"), QLatin1StringView("{0.0.1.00000000}."),
        &Channel::captureSuffix, 11},
};

bool belongsToCard(const SettingsTree &group, QLatin1StringView Channel::*suffix)
{
    if (group.value(adapterNameKey).toString() != adapterName)
        return false;
    const QString hardwareId = group.value(hardwareIdKey).toString();
    if (std::find(hardwareIds.begin(), hardwareIds.end(), hardwareId) == hardwareIds.end())
        return false;

    const QString shortName = group.value(shortNameKey).toString();
    const QString interfacePath = group.value(interfacePathKey).toString();
    const auto hasName = [&](const Channel &channel) {
        return !(channel.*suffix).isEmpty() && shortName == channel.shortName;
    };
    const auto hasInterface = [&](const Channel &channel) {
        return !(channel.*suffix).isEmpty() &&
               interfacePath.endsWith(channel.*suffix, Qt::CaseInsensitive);
    };
    return std::any_of(channels.begin(), channels.end(), hasName) &&
           std::any_of(channels.begin(), channels.end(), hasInterface);
}

QJsonObject keptProperties(const SettingsTree &group, QLatin1StringView type)
{
    QJsonObject entry{{typeKey, type}};
    const QStringList keys = group.allKeys();
    for (const QString &key : keys) {
        if (std::find(keptKeys.begin(), keptKeys.end(), key) != keptKeys.end())
            entry.insert(key, group.value(key).toString());
    }
    return entry;
}

void readTree(const EndpointTree &description, VirtualEndpointCatalogue &catalogue)
{
    const auto tree = openSettingsTree(description.path);
    const QStringList groups = tree->childGroups();
    for (const QString &group : groups) {
        tree->beginGroup(group);
        if (belongsToCard(*tree, description.suffix))
            catalogue.insert(description.keyPrefix + group,
                             keptProperties(*tree, description.type));
        tree->endGroup();
        if (catalogue.size() == description.fullCount)
            break;
    }
}

/// The endpoint ID inside a device path or, without one, an instance path: the third part.
QString idInsidePath(const QJsonObject &entry)
{
    const QString devicePath = entry.value(devicePathKey).toString();
    const QStringList parts = devicePath.isEmpty()
                                  ? entry.value(instancePathKey).toString().split(QLatin1Char('\\'))
                                  : devicePath.split(QLatin1Char('#'));
    return parts.value(2);
}
} // namespace

VirtualEndpointCatalogue readVirtualEndpointCatalogue()
{
    VirtualEndpointCatalogue catalogue;
    for (const EndpointTree &tree : endpointTrees)
        readTree(tree, catalogue);
    return catalogue;
}

QString endpointIdOfEntry(const VirtualEndpointCatalogue &catalogue, const QJsonObject &entry)
{
    QString id = entry.value(endpointIdKey).toString();
    if (!id.isEmpty())
        return id;
    QString secondId = entry.value(secondEndpointIdKey).toString();
    if (!secondId.isEmpty())
        return secondId;
    QString inside = idInsidePath(entry);
    return inside.isEmpty() ? catalogue.key(entry) : inside;
}

QString shortNameOfEntry(const QJsonObject &entry)
{
    return entry.value(shortNameKey).toString();
}

bool isCaptureEntry(const QJsonObject &entry)
{
    return entry.value(typeKey).toString() == endpointTrees[1].type;
}
