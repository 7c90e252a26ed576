#include "platform/pipewire/speakerrings.h"

#include "common/channels.h"

#include <array>

FrameRing *speakerRing(const QString &fileSuffix)
{
    // Never destroyed: the data thread may still write into them when the process ends.
    static auto *rings = new std::array<FrameRing, channels.size()>;
    for (size_t i = 0; i < channels.size(); ++i)
        if (channels[i].captureSuffix.isEmpty() && channels[i].fileSuffix == fileSuffix)
            return &(*rings)[i];
    return nullptr;
}
