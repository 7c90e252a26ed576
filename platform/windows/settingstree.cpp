#include "platform/settingstree.h"

#include <QSettings>

namespace
{

/// The registry itself, which QSettings reads natively.
class RegistryTree : public SettingsTree
{
public:
    /// QSettings makes the key that it is opened at, but no group that is only read: so it is
    /// opened at the root, which is always there.
    explicit RegistryTree(const QString &path)
        : settings(path.section(u'\\', 0, 0, QString::SectionSkipEmpty), QSettings::NativeFormat)
    {
        const QString group = path.section(u'\\', 1, -1, QString::SectionSkipEmpty);
        settings.beginGroup(QString(group).replace(u'\\', u'/'));
    }

    QStringList childGroups() const override { return settings.childGroups(); }
    QStringList allKeys() const override { return settings.allKeys(); }
    QVariant value(const QString &key) const override { return settings.value(key); }
    void beginGroup(const QString &prefix) override { settings.beginGroup(prefix); }
    void endGroup() override { settings.endGroup(); }

private:
    QSettings settings;
};

} // namespace

std::unique_ptr<SettingsTree> openSettingsTree(const QString &path)
{
    return std::make_unique<RegistryTree>(path);
}
