// Settings in the shape of the registry: the card's, one group an endpoint under Render and
// Capture, and the applications' own endpoints.
#include "platform/pipewire/approutes.h"
#include "platform/pipewire/card.h"
#include "platform/pipewire/endpointid.h"
#include "platform/settingstree.h"

#include <QMap>

namespace
{
constexpr QLatin1StringView audioPath{
    R"(\HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\MMDevices\Audio\)"};
constexpr QLatin1StringView hardwareId{R"(ROOT\tavoriVirtualAudioDriver)"};
constexpr QLatin1StringView routesPath{
    R"(\HKEY_CURRENT_USER\Software\Microsoft\Multimedia\Audio\DefaultEndpoint)"};
// The interface class of the adapter's topology.
constexpr QLatin1StringView adapterInterface{"{6994ad04-93ef-11d0-a3cc-00a0c9223196}"};

using Values = QMap<QString, QVariant>;

/// All values of one endpoint's group, by key.
Values propertiesOf(const card::CardEndpoint &endpoint)
{
    const bool renders = endpoint.flow == eRender;
    const QString interfaceClass = interfaceClassOf(endpoint.flow);
    const QString adapterInstance = QStringLiteral("ROOT\\MEDIA\\0000");
    const QString interfacePath = QStringLiteral("{2}.\\\\?\\ROOT#MEDIA#0000#") + adapterInterface +
                                  QLatin1Char('\\') + endpoint.nodeName;
    const std::pair<const char *, QString> rows[] = {
        // clang-format off
        {"{1da5d803-d492-4edd-8c23-e0c0ffee7f0e},8",  renders ? "{00000000-0000-0000-0000-000000000000}" : ""},
        {"{233164c8-1b2c-4c7d-bc68-b671687a2567},1",  interfacePath},
        {"{24dbb0fc-9311-4b3d-9cf0-18ff155639d4},0",  "0"},
        {"{259abffc-50a7-47ce-af08-68c9a7d73366},12", "%windir%\\system32\\mmres.dll,-3010"},
        {"{83da6326-97a6-4088-9453-a1923f573b29},3",  adapterInstance},
        {"{9637b4b9-11ee-4c35-b43c-7b2452c993cc},1",  "0"},
        {"{9c119480-ddc2-4954-a150-5bd240d454ad},1",  endpoint.id},
        {"{9c119480-ddc2-4954-a150-5bd240d454ad},2",  "\\\\?\\SWD#MMDEVAPI#" + endpoint.id + '#' + interfaceClass},
        {"{9c119480-ddc2-4954-a150-5bd240d454ad},9",  endpoint.id},
        {"{9c119480-ddc2-4954-a150-5bd240d454ad},10", "SWD\\MMDEVAPI\\" + endpoint.id},
        {"{9dad2fed-3c19-4cde-b3c9-1bd56be25698},0",  "1"},
        {"{a45c254e-df1c-4efd-8020-67d146a850e0},2",  endpoint.channel->shortName},
        {"{a45c254e-df1c-4efd-8020-67d146a850e0},24", "SWD"},
        {"{a8b865dd-2e3d-4094-ad97-e593a70c75d6},5",  "quorvane.inf"},
        {"{a8b865dd-2e3d-4094-ad97-e593a70c75d6},6",  "tavori_Device"},
        {"{a8b865dd-2e3d-4094-ad97-e593a70c75d6},8",  hardwareId},
        {"{b3f8fa53-0004-438e-9003-51a46e139bfc},2",  adapterInstance},
        {"{b3f8fa53-0004-438e-9003-51a46e139bfc},6",  adapterName},
        {"{c876062a-a276-4ed6-b15b-3962e69007f8},3",  "1"},
        {"{f141e7cc-921b-466d-802f-879d6d4aec17},1",  endpoint.channel->shortName},
        // clang-format on
    };
    Values values;
    for (const auto &[key, value] : rows)
        values.insert(QLatin1StringView("Properties/") + QLatin1StringView(key), value);
    return values;
}

/// Values by their full key, groups and key parted by '/'.
class ValueTree final : public SettingsTree
{
public:
    explicit ValueTree(Values values) : values(std::move(values)) {}

    QStringList childGroups() const override
    {
        QStringList groups;
        for (const QString &key : allKeys())
            if (const qsizetype end = key.indexOf(QLatin1Char('/')); end > 0)
                groups.append(key.left(end));
        groups.removeDuplicates();
        return groups;
    }

    QStringList allKeys() const override
    {
        const QString prefix = currentPrefix();
        QStringList keys;
        for (const QString &key : values.keys())
            if (key.startsWith(prefix))
                keys.append(key.mid(prefix.size()));
        return keys;
    }

    QVariant value(const QString &key) const override
    {
        return values.value(currentPrefix() + key);
    }

    void beginGroup(const QString &prefix) override { groups.append(prefix); }

    void endGroup() override
    {
        if (!groups.isEmpty())
            groups.removeLast();
    }

private:
    [[nodiscard]] QString currentPrefix() const
    {
        return groups.isEmpty() ? QString() : groups.join(QLatin1Char('/')) + QLatin1Char('/');
    }

    Values values;
    QStringList groups;
};

Values valuesOf(EDataFlow flow)
{
    Values values;
    for (const card::CardEndpoint &endpoint : card::endpoints()) {
        if (endpoint.flow != flow)
            continue;
        const QString group = endpointGuid(endpoint.nodeName) + QLatin1Char('/');
        const Values properties = propertiesOf(endpoint);
        for (auto property = properties.begin(); property != properties.end(); ++property)
            values.insert(group + property.key(), property.value());
    }
    return values;
}
} // namespace

std::unique_ptr<SettingsTree> openSettingsTree(const QString &path)
{
    Values values;
    if (path == audioPath + QLatin1StringView("Render"))
        values = valuesOf(eRender);
    else if (path == audioPath + QLatin1StringView("Capture"))
        values = valuesOf(eCapture);
    else if (path == routesPath)
        values = approutes::settings();
    return std::make_unique<ValueTree>(std::move(values));
}
