// Stands before the resampling library: records calls and makes chosen ones fail. Link with the
// wrap options of this folder's CMakeLists.txt.
#pragma once

#include <QStringList>

namespace swresamplefaults
{

/// Forgets recorded calls and pending failures.
void reset();
/// Makes the next call of this function fail with the code (swr_alloc: with null).
void failNext(const char *function, int code = -12);
/// Calls since the last reset, options with their names: "av_opt_set_int in_sample_rate".
[[nodiscard]] QStringList calls();

} // namespace swresamplefaults
