#include "platform/simulated/settings.h"

#include "platform/settingstree.h"
#include "platform/simulated/immortal.h"
#include "platform/simulated/record.h"
#include "platform/simulated/settingsstore.h"

#include <QMap>

#include <mutex>

namespace simulated
{

namespace
{

struct Store
{
    std::mutex mutex;
    QMap<QString, SettingsGroups> trees;
};

Store &store()
{
    return immortal<Store>();
}

/// A tree as the flat list of its keys' full paths; a group is what stands before a slash.
class LiteralTree final : public SettingsTree
{
public:
    explicit LiteralTree(const SettingsGroups &tree)
    {
        for (const auto &[group, keys] : tree) {
            const QString prefix = group.isEmpty() ? QString() : group + u'/';
            if (!group.isEmpty())
                groups.append(prefix);
            for (const auto &[key, value] : keys)
                entries.append({prefix + key, value});
        }
    }

    QStringList childGroups() const override
    {
        QStringList names;
        const auto addChild = [&](const QString &path) {
            const qsizetype slash = path.indexOf(u'/', current.size());
            if (!path.startsWith(current) || slash < 0)
                return;
            const QString name = path.mid(current.size(), slash - current.size());
            if (!names.contains(name))
                names.append(name);
        };
        for (const QString &group : groups)
            addChild(group);
        for (const auto &[path, value] : entries)
            addChild(path);
        return names;
    }

    QStringList allKeys() const override
    {
        QStringList keys;
        for (const auto &[path, value] : entries) {
            if (path.startsWith(current))
                keys.append(path.mid(current.size()));
        }
        return keys;
    }

    QVariant value(const QString &key) const override
    {
        for (const auto &[path, value] : entries) {
            if (path == current + key)
                return value;
        }
        return {};
    }

    void beginGroup(const QString &prefix) override
    {
        outer.append(current);
        current += prefix + u'/';
    }

    void endGroup() override
    {
        if (!outer.isEmpty())
            current = outer.takeLast();
    }

private:
    QStringList groups;
    SettingsKeys entries;
    QString current;
    QStringList outer;
};

} // namespace

void setSettings(const QString &path, const SettingsGroups &groups)
{
    const std::lock_guard lock(store().mutex);
    store().trees.insert(path, groups);
}

void resetSettings()
{
    const std::lock_guard lock(store().mutex);
    store().trees.clear();
}

std::unique_ptr<SettingsTree> openLiteralTree(const QString &path)
{
    const std::lock_guard lock(store().mutex);
    return std::make_unique<LiteralTree>(store().trees.value(path));
}

} // namespace simulated

std::unique_ptr<SettingsTree> openSettingsTree(const QString &path)
{
    if (simulated::faultOf(QStringLiteral("openSettingsTree ") + path))
        return simulated::openLiteralTree({});
    return simulated::openLiteralTree(path);
}
