#include "engines/sharedmode.h"

#include "platform/resulttext.h"

#include <QDebug>

bool failed(const char *words, HRESULT code)
{
    qCritical() << words << resultText(code);
    return false;
}

HRESULT initializeShared(IAudioClient &client, const WAVEFORMATEX &format)
{
    REFERENCE_TIME defaultPeriod = 0;
    REFERENCE_TIME minimumPeriod = 0;
    if (FAILED(client.GetDevicePeriod(&defaultPeriod, &minimumPeriod)))
        minimumPeriod = 0;
    constexpr DWORD flags = AUDCLNT_STREAMFLAGS_AUTOCONVERTPCM |
                            AUDCLNT_STREAMFLAGS_SRC_DEFAULT_QUALITY |
                            AUDCLNT_STREAMFLAGS_EVENTCALLBACK;
    return client.Initialize(AUDCLNT_SHAREMODE_SHARED, flags, minimumPeriod, 0, &format, nullptr);
}
