// Registry-shaped settings as literal trees.
#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QVariant>

namespace simulated
{

/// Keys with their values, in order; a key may hold a path ("Properties/{...},6").
using SettingsKeys = QList<QPair<QString, QVariant>>;
/// Groups with their keys, in order. The group with the empty name is the tree's root.
using SettingsGroups = QList<QPair<QString, SettingsKeys>>;

/// Puts a tree at a path, in place of one that is there.
void setSettings(const QString &path, const SettingsGroups &groups);

} // namespace simulated
