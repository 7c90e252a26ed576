// The literal trees as the platform's functions see them.
#pragma once

#include "platform/settingstree.h"

namespace simulated
{

/// An empty tree for a path that has none.
[[nodiscard]] std::unique_ptr<SettingsTree> openLiteralTree(const QString &path);

void resetSettings();

} // namespace simulated
