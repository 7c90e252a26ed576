#include "streams/recordname.h"

#include <algorithm>
#include <array>

namespace
{

struct RecordName
{
    tavoriDeviceType type;
    const char *pattern;
};

constexpr std::array<RecordName, 9> recordNames{{
    {tavoriAux, "./aux-%1.wav"},
    {tavoriAux2, "./aux2-%1.wav"},
    {tavoriAux3, "./aux3-%1.wav"},
    {tavoriBrowser, "./browser-%1.wav"},
    {tavoriChat, "./chat-%1.wav"},
    {tavoriGame, "./game-%1.wav"},
    {tavoriMedia, "./media-%1.wav"},
    {tavoriMicrophoneSpeaker, "./microphone-speaker-%1.wav"},
    {tavoriStreamSpeaker, "./stream-speaker-%1.wav"},
}};
constexpr const char *otherPattern = "./%1.wav";

} // namespace

QString recordFilePath(tavoriDeviceType type, const QDateTime &time)
{
    const auto row = std::find_if(recordNames.begin(), recordNames.end(),
                                  [type](const RecordName &name) { return name.type == type; });
    const QString pattern = row != recordNames.end() ? row->pattern : otherPattern;
    return pattern.arg(time.toString("yyyy-dd-MM-hh-mm-ss-zzz"));
}
