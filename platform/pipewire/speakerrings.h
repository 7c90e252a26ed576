// The rings between the card's speakers and their device files.
#pragma once

#include "platform/pipewire/framering.h"

#include <QString>

/// The ring of the speaker whose device file has this suffix (the last segment of its path); null
/// for the files of capture lines, which carry no sound, and for any other text. The rings live as
/// long as the process, with and without a server.
[[nodiscard]] FrameRing *speakerRing(const QString &fileSuffix);
