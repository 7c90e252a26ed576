// Which endpoint properties matter to a stream that plays on the endpoint.
#pragma once

#include "platform/coreaudio.h"

/// True if a change of this property may have changed how the endpoint sounds or is named.
[[nodiscard]] bool isKeyProperty(const PROPERTYKEY &key);
