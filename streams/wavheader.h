// The head of a WAV file.
#pragma once

#include <QByteArray>

/// The 44 bytes that stand before `dataLength` bytes of interleaved PCM.
[[nodiscard]] QByteArray wavHeader(int channels, int bitsPerSample, int sampleRate,
                                   quint32 dataLength);
