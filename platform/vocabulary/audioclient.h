// Render and capture streams of an endpoint in shared mode.
#pragma once

#include "platform/vocabulary/unknown.h"

inline constexpr WORD WAVE_FORMAT_PCM = 1;
inline constexpr WORD WAVE_FORMAT_IEEE_FLOAT = 3;
inline constexpr WORD WAVE_FORMAT_EXTENSIBLE = 0xFFFE;

#pragma pack(push, 1)
struct WAVEFORMATEX
{
    WORD wFormatTag;
    WORD nChannels;
    DWORD nSamplesPerSec;
    DWORD nAvgBytesPerSec;
    WORD nBlockAlign;
    WORD wBitsPerSample;
    WORD cbSize;
};

struct WAVEFORMATEXTENSIBLE
{
    WAVEFORMATEX Format;
    union
    {
        WORD wValidBitsPerSample;
        WORD wSamplesPerBlock;
        WORD wReserved;
    } Samples;
    DWORD dwChannelMask;
    GUID SubFormat;
};
#pragma pack(pop)

inline constexpr GUID KSDATAFORMAT_SUBTYPE_PCM{
    0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
inline constexpr GUID KSDATAFORMAT_SUBTYPE_IEEE_FLOAT{
    0x00000003, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

enum AUDCLNT_SHAREMODE
{
    AUDCLNT_SHAREMODE_SHARED,
    AUDCLNT_SHAREMODE_EXCLUSIVE,
};

inline constexpr DWORD AUDCLNT_STREAMFLAGS_EVENTCALLBACK = 0x00040000;
inline constexpr DWORD AUDCLNT_STREAMFLAGS_SRC_DEFAULT_QUALITY = 0x08000000;
inline constexpr DWORD AUDCLNT_STREAMFLAGS_AUTOCONVERTPCM = 0x80000000;

inline constexpr DWORD AUDCLNT_BUFFERFLAGS_SILENT = 0x2;

inline constexpr HRESULT AUDCLNT_S_BUFFER_EMPTY = 0x08890001;
inline constexpr HRESULT AUDCLNT_E_NOT_INITIALIZED = static_cast<HRESULT>(0x88890001);
inline constexpr HRESULT AUDCLNT_E_ALREADY_INITIALIZED = static_cast<HRESULT>(0x88890002);
inline constexpr HRESULT AUDCLNT_E_WRONG_ENDPOINT_TYPE = static_cast<HRESULT>(0x88890003);
inline constexpr HRESULT AUDCLNT_E_DEVICE_INVALIDATED = static_cast<HRESULT>(0x88890004);
inline constexpr HRESULT AUDCLNT_E_NOT_STOPPED = static_cast<HRESULT>(0x88890005);
inline constexpr HRESULT AUDCLNT_E_BUFFER_TOO_LARGE = static_cast<HRESULT>(0x88890006);
inline constexpr HRESULT AUDCLNT_E_OUT_OF_ORDER = static_cast<HRESULT>(0x88890007);
inline constexpr HRESULT AUDCLNT_E_UNSUPPORTED_FORMAT = static_cast<HRESULT>(0x88890008);
inline constexpr HRESULT AUDCLNT_E_INVALID_SIZE = static_cast<HRESULT>(0x88890009);
inline constexpr HRESULT AUDCLNT_E_SERVICE_NOT_RUNNING = static_cast<HRESULT>(0x88890010);
inline constexpr HRESULT AUDCLNT_E_EVENTHANDLE_NOT_SET = static_cast<HRESULT>(0x88890014);
inline constexpr HRESULT AUDCLNT_E_BUFFER_ERROR = static_cast<HRESULT>(0x88890018);

inline constexpr IID IID_IAudioClient{
    0x1CB9AD4C, 0xDBFA, 0x4C32, {0xB1, 0x78, 0xC2, 0xF5, 0x68, 0xA7, 0x03, 0xB2}};
inline constexpr IID IID_IAudioClient3{
    0x7ED4EE07, 0x8E67, 0x4CD4, {0x8C, 0x1A, 0x2B, 0x7A, 0x59, 0x87, 0xAD, 0x42}};
inline constexpr IID IID_IAudioRenderClient{
    0xF294ACFC, 0x3146, 0x4483, {0xA7, 0xBF, 0xAD, 0xDC, 0xA7, 0xC2, 0x60, 0xE2}};
inline constexpr IID IID_IAudioCaptureClient{
    0xC8ADBD64, 0xE71E, 0x48A0, {0xA4, 0xDE, 0x18, 0x5C, 0x39, 0x5C, 0xD3, 0x17}};

/// A stream on one endpoint. Once its endpoint is gone, the buffer and padding queries and
/// GetBuffer answer AUDCLNT_E_DEVICE_INVALIDATED.
struct IAudioClient : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE Initialize(AUDCLNT_SHAREMODE ShareMode, DWORD StreamFlags,
                                                 REFERENCE_TIME hnsBufferDuration,
                                                 REFERENCE_TIME hnsPeriodicity,
                                                 const WAVEFORMATEX *pFormat,
                                                 LPCGUID AudioSessionGuid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBufferSize(UINT32 *pNumBufferFrames) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentPadding(UINT32 *pNumPaddingFrames) = 0;
    /// The format is the caller's, to be freed with CoTaskMemFree.
    virtual HRESULT STDMETHODCALLTYPE GetMixFormat(WAVEFORMATEX **ppDeviceFormat) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDevicePeriod(REFERENCE_TIME *phnsDefaultDevicePeriod,
                                                      REFERENCE_TIME *phnsMinimumDevicePeriod) = 0;
    virtual HRESULT STDMETHODCALLTYPE Start() = 0;
    virtual HRESULT STDMETHODCALLTYPE Stop() = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetEventHandle(HANDLE eventHandle) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetService(REFIID riid, void **ppv) = 0;

protected:
    ~IAudioClient() = default;
};

struct IAudioClient3 : public IAudioClient
{
    virtual HRESULT STDMETHODCALLTYPE GetSharedModeEnginePeriod(const WAVEFORMATEX *pFormat,
                                                                UINT32 *pDefaultPeriodInFrames,
                                                                UINT32 *pFundamentalPeriodInFrames,
                                                                UINT32 *pMinPeriodInFrames,
                                                                UINT32 *pMaxPeriodInFrames) = 0;
    virtual HRESULT STDMETHODCALLTYPE InitializeSharedAudioStream(DWORD StreamFlags,
                                                                  UINT32 PeriodInFrames,
                                                                  const WAVEFORMATEX *pFormat,
                                                                  LPCGUID AudioSessionGuid) = 0;

protected:
    ~IAudioClient3() = default;
};

struct IAudioRenderClient : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetBuffer(UINT32 NumFramesRequested, BYTE **ppData) = 0;
    /// (0, 0) without a GetBuffer is legal and does nothing.
    virtual HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32 NumFramesWritten, DWORD dwFlags) = 0;

protected:
    ~IAudioRenderClient() = default;
};

struct IAudioCaptureClient : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetBuffer(BYTE **ppData, UINT32 *pNumFramesToRead,
                                                DWORD *pdwFlags, UINT64 *pu64DevicePosition,
                                                UINT64 *pu64QPCPosition) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32 NumFramesRead) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNextPacketSize(UINT32 *pNumFramesInNextPacket) = 0;

protected:
    ~IAudioCaptureClient() = default;
};
