#include "platform/pipewire/waveformat.h"

#include "platform/posix/taskmemory.h"

#include <algorithm>
#include <iterator>

namespace
{
constexpr uint32_t mostChannels = 8;
constexpr WORD sampleBits = 16;
constexpr WORD extensionBytes = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
// By number of channels, from 0 to 8.
constexpr uint32_t usualMasks[] = {0, 0x4, 0x3, 0xB, 0x33, 0x37, 0x3F, 0x13F, 0x63F};

bool isPcm(const WAVEFORMATEX &format)
{
    if (format.wFormatTag == WAVE_FORMAT_PCM)
        return true;
    if (format.wFormatTag != WAVE_FORMAT_EXTENSIBLE || format.cbSize < extensionBytes)
        return false;
    const auto &extensible = reinterpret_cast<const WAVEFORMATEXTENSIBLE &>(format);
    return extensible.SubFormat == KSDATAFORMAT_SUBTYPE_PCM;
}
} // namespace

std::optional<SampleFormat> sampleFormatOf(const WAVEFORMATEX &format)
{
    if (!isPcm(format) || format.wBitsPerSample != sampleBits || format.nSamplesPerSec == 0 ||
        format.nChannels == 0 || format.nChannels > mostChannels ||
        format.nBlockAlign != format.nChannels * sampleBits / 8)
        return std::nullopt;
    SampleFormat result{format.nSamplesPerSec, format.nChannels, 0};
    if (format.wFormatTag == WAVE_FORMAT_EXTENSIBLE)
        result.channelMask = reinterpret_cast<const WAVEFORMATEXTENSIBLE &>(format).dwChannelMask;
    return result;
}

WAVEFORMATEX *makeMixFormat(uint32_t sampleRate, uint32_t channels)
{
    auto *result =
        static_cast<WAVEFORMATEXTENSIBLE *>(posix::taskMemoryAlloc(sizeof(WAVEFORMATEXTENSIBLE)));
    if (!result)
        return nullptr;
    const WORD count = WORD(std::min(channels, mostChannels));
    constexpr WORD floatBits = 32;
    const WORD blockAlign = count * floatBits / 8;
    *result = {};
    result->Format = {WAVE_FORMAT_EXTENSIBLE,  count,      sampleRate,
                      sampleRate * blockAlign, blockAlign, floatBits,
                      extensionBytes};
    result->Samples.wValidBitsPerSample = floatBits;
    result->dwChannelMask = usualChannelMask(count);
    result->SubFormat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
    return &result->Format;
}

uint32_t usualChannelMask(uint32_t channels)
{
    return channels < std::size(usualMasks) ? usualMasks[channels] : 0;
}
