#include "engines/captureformat.h"

#include <array>

namespace
{

constexpr WORD bits = 16;

struct ChannelMask
{
    WORD channels;
    DWORD mask;
};

constexpr std::array channelMasks{
    ChannelMask{3, 0x0B},  ChannelMask{4, 0x107}, ChannelMask{5, 0x10F},
    ChannelMask{6, 0x60F}, ChannelMask{8, 0x63F},
};

/// 0 for a count that names no arrangement of speakers.
DWORD maskOf(WORD channels)
{
    for (const ChannelMask &row : channelMasks) {
        if (row.channels == channels)
            return row.mask;
    }
    return 0;
}

void fill(WAVEFORMATEX &format, WORD tag, WORD extraBytes, const WAVEFORMATEX &mixFormat)
{
    format.wFormatTag = tag;
    format.nChannels = mixFormat.nChannels;
    format.nSamplesPerSec = mixFormat.nSamplesPerSec;
    format.wBitsPerSample = bits;
    format.nBlockAlign = static_cast<WORD>(mixFormat.nChannels * bits / 8);
    format.nAvgBytesPerSec = format.nBlockAlign * format.nSamplesPerSec;
    format.cbSize = extraBytes;
}

WAVEFORMATEX *makePlain(const WAVEFORMATEX &mixFormat)
{
    auto *format = static_cast<WAVEFORMATEX *>(CoTaskMemAlloc(sizeof(WAVEFORMATEX)));
    if (format)
        fill(*format, WAVE_FORMAT_PCM, 0, mixFormat);
    return format;
}

WAVEFORMATEX *makeExtensible(const WAVEFORMATEX &mixFormat)
{
    constexpr WORD extraBytes = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
    auto *format =
        static_cast<WAVEFORMATEXTENSIBLE *>(CoTaskMemAlloc(sizeof(WAVEFORMATEXTENSIBLE)));
    if (!format)
        return nullptr;
    fill(format->Format, WAVE_FORMAT_EXTENSIBLE, extraBytes, mixFormat);
    format->Samples.wValidBitsPerSample = bits;
    format->dwChannelMask = maskOf(mixFormat.nChannels);
    format->SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
    return &format->Format;
}

} // namespace

WAVEFORMATEX *makeCaptureFormat(const WAVEFORMATEX &mixFormat)
{
    if (mixFormat.nChannels == 0 || mixFormat.nSamplesPerSec == 0)
        return nullptr;
    return mixFormat.nChannels <= 2 ? makePlain(mixFormat) : makeExtensible(mixFormat);
}
