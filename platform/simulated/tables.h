// What the interfaces ask the table of endpoints.
#pragma once

#include "platform/simulated/endpoints.h"

#include <optional>

namespace simulated
{

/// A copy of the endpoint as it stands.
[[nodiscard]] std::optional<Endpoint> findEndpoint(const QString &id);
/// IDs in the order of adding; eAll for both flows.
[[nodiscard]] QStringList enumerate(EDataFlow flow, DWORD stateMask);

void resetTables();

} // namespace simulated
