/* The least that plays a tone through WASAPI: the player's yardstick.
 *
 *   plainloop ENDPOINT-ID HERTZ SECONDS
 *
 * The same sound, format and period as the player's; HERTZ divides the rate. */
#define COBJMACROS
#define INITGUID
#include <audioclient.h>
#include <math.h>
#include <mmdeviceapi.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

enum
{
    channels = 2,
    rate = 48000
};

static int16_t tone[rate * channels]; /* a second of it */
static UINT32 at;

static void make_tone(double hertz)
{
    for (int i = 0; i < rate * channels; ++i)
        tone[i] = (int16_t)lround(16384 * sin(2 * acos(-1) * hertz * (i / channels) / rate));
}

static void copy_tone(int16_t *to, UINT32 frames)
{
    while (frames > 0) {
        const UINT32 part = frames < rate - at ? frames : rate - at;
        memcpy(to, tone + at * channels, part * channels * sizeof(int16_t));
        to += part * channels;
        frames -= part;
        at = (at + part) % rate;
    }
}

static void check(HRESULT code, const char *call)
{
    if (SUCCEEDED(code))
        return;
    fprintf(stderr, "plainloop: %s: 0x%08lx\n", call, (unsigned long)code);
    exit(1);
}

static IAudioClient *open_client(const WCHAR *id, HANDLE event)
{
    const DWORD flags = AUDCLNT_STREAMFLAGS_AUTOCONVERTPCM |
                        AUDCLNT_STREAMFLAGS_SRC_DEFAULT_QUALITY | AUDCLNT_STREAMFLAGS_EVENTCALLBACK;
    const WAVEFORMATEX format = {WAVE_FORMAT_PCM, channels, rate, rate * channels * 2,
                                 channels * 2,    16,       0};
    IMMDeviceEnumerator *enumerator;
    IMMDevice *device;
    IAudioClient *client;
    REFERENCE_TIME usual, shortest;
    check(CoCreateInstance(&CLSID_MMDeviceEnumerator, NULL, CLSCTX_ALL, &IID_IMMDeviceEnumerator,
                           (void **)&enumerator),
          "CoCreateInstance");
    check(IMMDeviceEnumerator_GetDevice(enumerator, id, &device), "GetDevice");
    check(IMMDevice_Activate(device, &IID_IAudioClient, CLSCTX_ALL, NULL, (void **)&client),
          "Activate");
    check(IAudioClient_GetDevicePeriod(client, &usual, &shortest), "GetDevicePeriod");
    check(IAudioClient_Initialize(client, AUDCLNT_SHAREMODE_SHARED, flags, shortest, 0, &format,
                                  NULL),
          "Initialize");
    check(IAudioClient_SetEventHandle(client, event), "SetEventHandle");
    IMMDevice_Release(device);
    IMMDeviceEnumerator_Release(enumerator);
    return client;
}

int wmain(int argc, WCHAR **argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: plainloop ENDPOINT-ID HERTZ SECONDS\n");
        return 2;
    }
    make_tone(_wtof(argv[2]));
    check(CoInitializeEx(NULL, COINIT_MULTITHREADED), "CoInitializeEx");
    const HANDLE event = CreateEventW(NULL, FALSE, FALSE, NULL);
    IAudioClient *client = open_client(argv[1], event);
    IAudioRenderClient *render;
    UINT32 size;
    check(IAudioClient_GetService(client, &IID_IAudioRenderClient, (void **)&render), "GetService");
    check(IAudioClient_GetBufferSize(client, &size), "GetBufferSize");
    check(IAudioClient_Start(client), "Start");

    const ULONGLONG end = GetTickCount64() + 1000ULL * (ULONGLONG)_wtoi(argv[3]);
    while (GetTickCount64() < end) {
        UINT32 padding;
        BYTE *buffer;
        WaitForSingleObject(event, 1000);
        check(IAudioClient_GetCurrentPadding(client, &padding), "GetCurrentPadding");
        if (padding == size)
            continue;
        check(IAudioRenderClient_GetBuffer(render, size - padding, &buffer), "GetBuffer");
        copy_tone((int16_t *)buffer, size - padding);
        check(IAudioRenderClient_ReleaseBuffer(render, size - padding, 0), "ReleaseBuffer");
    }

    IAudioClient_Stop(client);
    IAudioRenderClient_Release(render);
    IAudioClient_Release(client);
    CloseHandle(event);
    CoUninitialize();
    return 0;
}
