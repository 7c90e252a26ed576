// The endpoints of single applications, as the policy class keeps them.
#pragma once

#include "platform/coreaudio.h"

#include <QString>

namespace simulated
{

/// The long form of an endpoint; empty for an application that follows the system's default.
void setPersistedEndpoint(DWORD processId, EDataFlow flow, ERole role, const QString &endpoint);
[[nodiscard]] QString persistedEndpoint(DWORD processId, EDataFlow flow, ERole role);

/// Which generations of the policy class the system has; both after a reset.
void setAudioPolicyGenerations(bool current, bool earlier);

void resetAppRoutes();

} // namespace simulated
