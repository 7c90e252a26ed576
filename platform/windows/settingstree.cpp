#include "platform/settingstree.h"

#include <QSettings>

namespace
{

/// The registry itself, which QSettings reads natively.
class RegistryTree : public SettingsTree
{
public:
    explicit RegistryTree(const QString &path) : settings(path, QSettings::NativeFormat) {}

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
