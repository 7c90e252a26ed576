// What the functions and objects of the simulated platform report to the record of calls.
#pragma once

#include "platform/simulated/calls.h"

#include <optional>

namespace simulated
{

/// Records a call, runs what a test has hung on it, and gives the injected fault if there is one.
[[nodiscard]] std::optional<HRESULT> faultOf(const QString &call, const QString &endpointId = {});
/// Records a call that cannot fail.
void record(const QString &call, const QString &endpointId = {});
/// The same for functions that fail through the last error: sets it and returns true.
[[nodiscard]] bool failsWithError(const QString &call);

void resetCalls();

/// "IAudioClient" for its IID and so on, the class names for CLSIDs, else the GUID's digits.
[[nodiscard]] QString nameOf(const GUID &id);
/// The wide string, or "null".
[[nodiscard]] QString textOf(LPCWSTR text);
/// "null", "zero" for GUID_NULL, else "context".
[[nodiscard]] QString contextText(LPCGUID context);

} // namespace simulated
