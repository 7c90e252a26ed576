// Stands before the resampling library: records calls and makes chosen ones fail. Link with the
// wrap options of this folder's CMakeLists.txt.
#pragma once

#include <QStringList>

#include <functional>

namespace swresamplefaults
{

/// Forgets recorded calls, pending failures and actions.
void reset();
/// Makes the next call of this function fail with the code (swr_alloc: with null).
void failNext(const char *function, int code = -12);
/// Runs the action at each call of this function, on the calling thread, before it is carried out.
void onCall(const char *function, std::function<void()> action);
/// Calls since the last reset, options with their names: "av_opt_set_int in_sample_rate".
[[nodiscard]] QStringList calls();

} // namespace swresamplefaults
