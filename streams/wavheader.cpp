#include "streams/wavheader.h"

#include <QDataStream>
#include <QIODevice>

QByteArray wavHeader(int channels, int bitsPerSample, int sampleRate, quint32 dataLength)
{
    constexpr quint32 bytesAfterRiffLength = 36; // of the header
    constexpr quint32 formatLength = 16;
    constexpr quint16 pcm = 1;
    const quint32 frameBytes = bitsPerSample * channels / 8;

    QByteArray header;
    QDataStream stream(&header, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream.writeRawData("RIFF", 4);
    stream << quint32(dataLength + bytesAfterRiffLength);
    stream.writeRawData("WAVEfmt ", 8);
    stream << formatLength << pcm << quint16(channels) << quint32(sampleRate)
           << quint32(bitsPerSample * channels * sampleRate / 8) << quint16(frameBytes)
           << quint16(bitsPerSample);
    stream.writeRawData("data", 4);
    stream << dataLength;
    return header;
}
