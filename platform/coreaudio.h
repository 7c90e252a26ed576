// The one include of the audio boundary. On Windows the system's SDK speaks; elsewhere the
// vocabulary beside this file declares the same names for the platform libraries to implement.
#pragma once

#ifdef _WIN32
#include "platform/windows/sdk.h"
#else
#include "platform/vocabulary/audioclient.h"
#include "platform/vocabulary/audiosession.h"
#include "platform/vocabulary/basetypes.h"
#include "platform/vocabulary/endpointvolume.h"
#include "platform/vocabulary/kernel.h"
#include "platform/vocabulary/mmdevice.h"
#include "platform/vocabulary/propertystore.h"
#include "platform/vocabulary/unknown.h"
#endif

#include <QMetaType>

Q_DECLARE_METATYPE(GUID)
