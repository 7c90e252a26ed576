// Settings in the shape of the Windows registry, read-only.
#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>

/// A view on one tree, used like QSettings: groups nest, keys are relative to the current group.
class SettingsTree
{
public:
    virtual ~SettingsTree() = default;

    [[nodiscard]] virtual QStringList childGroups() const = 0;
    /// All keys below the current group, those of inner groups with their path ("Properties/…").
    [[nodiscard]] virtual QStringList allKeys() const = 0;
    /// An invalid QVariant for a key that is not there.
    [[nodiscard]] virtual QVariant value(const QString &key) const = 0;
    virtual void beginGroup(const QString &prefix) = 0;
    virtual void endGroup() = 0;
};

/// Opens the tree at a registry path. A path that does not exist gives an empty tree, never null.
std::unique_ptr<SettingsTree> openSettingsTree(const QString &path);
