#include "platform/posix/taskmemory.h"
#include "platform/simulated/objects.h"
#include "platform/simulated/recordedobject.h"
#include "platform/simulated/streamstate.h"
#include "platform/simulated/tables.h"

#include <algorithm>

namespace simulated
{

namespace
{

QString formatText(const WAVEFORMATEX *format)
{
    if (!format)
        return QStringLiteral("null");
    return QStringLiteral("%1/%2/%3/%4")
        .arg(format->wFormatTag)
        .arg(format->nChannels)
        .arg(format->nSamplesPerSec)
        .arg(format->wBitsPerSample);
}

QString hex(DWORD value)
{
    return QString::number(value, 16);
}

WAVEFORMATEXTENSIBLE copyOf(const WAVEFORMATEX &format)
{
    constexpr WORD extensionBytes = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
    WAVEFORMATEXTENSIBLE copy{};
    const bool isExtensible =
        format.wFormatTag == WAVE_FORMAT_EXTENSIBLE && format.cbSize >= extensionBytes;
    std::memcpy(&copy, &format, isExtensible ? sizeof(copy) : sizeof(WAVEFORMATEX));
    return copy;
}

/// Without conversion by the engine the rate and the channels must be the endpoint's own.
HRESULT checkFormat(const WAVEFORMATEX *format, const Endpoint &endpoint, bool converts)
{
    if (!format)
        return E_POINTER;
    if (format->nChannels == 0 || format->nSamplesPerSec == 0 || format->nBlockAlign == 0)
        return AUDCLNT_E_UNSUPPORTED_FORMAT;
    const bool isOwn =
        format->nChannels == endpoint.channels && format->nSamplesPerSec == endpoint.sampleRate;
    return converts || isOwn ? S_OK : AUDCLNT_E_UNSUPPORTED_FORMAT;
}

class AudioClient final : public RecordedObject<IAudioClient3>
{
public:
    explicit AudioClient(const QString &endpointId)
        : RecordedObject("IAudioClient", endpointId), stream(std::make_shared<StreamState>())
    {
        stream->endpointId = endpointId;
        stream->flow = endpoint(endpointId).flow;
    }
    ~AudioClient() override
    {
        const std::lock_guard lock(streamMutex());
        stream->open = false;
        stream->started = false;
        streamsChanged().notify_all();
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void **result) override
    {
        const bool isAbsent = id == IID_IAudioClient3 && !endpoint(endpointId).hasAudioClient3;
        if (!isAbsent)
            return RecordedObject::QueryInterface(id, result);
        const auto fault = called("QueryInterface", nameOf(id));
        if (result)
            *result = nullptr;
        return fault.value_or(E_NOINTERFACE);
    }

    HRESULT STDMETHODCALLTYPE Initialize(AUDCLNT_SHAREMODE ShareMode, DWORD StreamFlags,
                                         REFERENCE_TIME hnsBufferDuration,
                                         REFERENCE_TIME hnsPeriodicity, const WAVEFORMATEX *pFormat,
                                         LPCGUID AudioSessionGuid) override
    {
        const QString arguments = QStringLiteral("%1 %2 %3 %4 %5")
                                      .arg(ShareMode)
                                      .arg(hex(StreamFlags))
                                      .arg(hnsBufferDuration)
                                      .arg(hnsPeriodicity)
                                      .arg(formatText(pFormat));
        if (const auto fault = called("Initialize", arguments))
            return *fault;
        StreamSetup setup;
        setup.shareMode = ShareMode;
        setup.flags = StreamFlags;
        setup.bufferDuration = hnsBufferDuration;
        setup.periodicity = hnsPeriodicity;
        setup.hasSession = AudioSessionGuid != nullptr;
        return initialise(setup, pFormat, (StreamFlags & AUDCLNT_STREAMFLAGS_AUTOCONVERTPCM) != 0);
    }

    HRESULT STDMETHODCALLTYPE InitializeSharedAudioStream(DWORD StreamFlags, UINT32 PeriodInFrames,
                                                          const WAVEFORMATEX *pFormat,
                                                          LPCGUID AudioSessionGuid) override
    {
        const QString arguments = QStringLiteral("%1 %2 %3")
                                      .arg(hex(StreamFlags))
                                      .arg(PeriodInFrames)
                                      .arg(formatText(pFormat));
        if (const auto fault = called("InitializeSharedAudioStream", arguments))
            return *fault;
        StreamSetup setup;
        setup.flags = StreamFlags;
        setup.periodFrames = PeriodInFrames;
        setup.hasSession = AudioSessionGuid != nullptr;
        return initialise(setup, pFormat, false);
    }

    HRESULT STDMETHODCALLTYPE GetBufferSize(UINT32 *pNumBufferFrames) override
    {
        if (const auto fault = called("GetBufferSize"))
            return *fault;
        if (!pNumBufferFrames)
            return E_POINTER;
        const std::lock_guard lock(streamMutex());
        *pNumBufferFrames = stream->bufferFrames;
        return usability();
    }

    HRESULT STDMETHODCALLTYPE GetCurrentPadding(UINT32 *pNumPaddingFrames) override
    {
        if (const auto fault = called("GetCurrentPadding"))
            return *fault;
        if (!pNumPaddingFrames)
            return E_POINTER;
        const std::lock_guard lock(streamMutex());
        *pNumPaddingFrames = stream->padding();
        return usability();
    }

    HRESULT STDMETHODCALLTYPE GetMixFormat(WAVEFORMATEX **ppDeviceFormat) override
    {
        if (!ppDeviceFormat)
            return E_POINTER;
        *ppDeviceFormat = nullptr;
        if (const auto fault = called("GetMixFormat"))
            return *fault;
        const auto endpoint = findEndpoint(endpointId);
        if (!endpoint)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        auto *format = static_cast<WAVEFORMATEXTENSIBLE *>(
            posix::taskMemoryAlloc(sizeof(WAVEFORMATEXTENSIBLE)));
        if (!format)
            return E_OUTOFMEMORY;
        *format = mixFormat(*endpoint);
        *ppDeviceFormat = &format->Format;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetDevicePeriod(REFERENCE_TIME *phnsDefaultDevicePeriod,
                                              REFERENCE_TIME *phnsMinimumDevicePeriod) override
    {
        if (const auto fault = called("GetDevicePeriod"))
            return *fault;
        const auto endpoint = findEndpoint(endpointId);
        if (!endpoint)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        if (phnsDefaultDevicePeriod)
            *phnsDefaultDevicePeriod = endpoint->defaultPeriod;
        if (phnsMinimumDevicePeriod)
            *phnsMinimumDevicePeriod = endpoint->minimumPeriod;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetSharedModeEnginePeriod(const WAVEFORMATEX *pFormat,
                                                        UINT32 *pDefaultPeriodInFrames,
                                                        UINT32 *pFundamentalPeriodInFrames,
                                                        UINT32 *pMinPeriodInFrames,
                                                        UINT32 *pMaxPeriodInFrames) override
    {
        if (const auto fault = called("GetSharedModeEnginePeriod", formatText(pFormat)))
            return *fault;
        if (!pDefaultPeriodInFrames || !pFundamentalPeriodInFrames || !pMinPeriodInFrames ||
            !pMaxPeriodInFrames)
            return E_POINTER;
        const auto endpoint = findEndpoint(endpointId);
        if (!endpoint)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        if (const HRESULT result = checkFormat(pFormat, *endpoint, false); FAILED(result))
            return result;
        *pDefaultPeriodInFrames = endpoint->enginePeriods.defaultFrames;
        *pFundamentalPeriodInFrames = endpoint->enginePeriods.fundamentalFrames;
        *pMinPeriodInFrames = endpoint->enginePeriods.minimumFrames;
        *pMaxPeriodInFrames = endpoint->enginePeriods.maximumFrames;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Start() override
    {
        if (const auto fault = called("Start"))
            return *fault;
        const std::lock_guard lock(streamMutex());
        if (const HRESULT result = usability(); FAILED(result))
            return result;
        if (stream->started)
            return AUDCLNT_E_NOT_STOPPED;
        if (isEventDriven() && !stream->event)
            return AUDCLNT_E_EVENTHANDLE_NOT_SET;
        stream->started = true;
        streamsChanged().notify_all();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Stop() override
    {
        if (const auto fault = called("Stop"))
            return *fault;
        const std::lock_guard lock(streamMutex());
        if (const HRESULT result = usability(); FAILED(result))
            return result;
        const bool wasStarted = std::exchange(stream->started, false);
        return wasStarted ? S_OK : S_FALSE;
    }

    HRESULT STDMETHODCALLTYPE Reset() override
    {
        if (const auto fault = called("Reset"))
            return *fault;
        const std::lock_guard lock(streamMutex());
        if (const HRESULT result = usability(); FAILED(result))
            return result;
        if (stream->started)
            return AUDCLNT_E_NOT_STOPPED;
        stream->queue.clear();
        stream->packets.clear();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE SetEventHandle(HANDLE eventHandle) override
    {
        if (const auto fault = called("SetEventHandle", handleName(eventHandle)))
            return *fault;
        const std::lock_guard lock(streamMutex());
        if (const HRESULT result = usability(); FAILED(result))
            return result;
        if (!eventHandle || !isEventDriven())
            return E_INVALIDARG;
        stream->event = eventHandle;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetService(REFIID riid, void **ppv) override
    {
        if (!ppv)
            return E_POINTER;
        *ppv = nullptr;
        if (const auto fault = called("GetService", nameOf(riid)))
            return *fault;
        {
            const std::lock_guard lock(streamMutex());
            if (const HRESULT result = usability(); FAILED(result))
                return result;
        }
        const bool isRender = riid == IID_IAudioRenderClient;
        if (!isRender && riid != IID_IAudioCaptureClient)
            return E_NOINTERFACE;
        if (isRender != (stream->flow == eRender))
            return AUDCLNT_E_WRONG_ENDPOINT_TYPE;
        *ppv = isRender ? static_cast<void *>(makeRenderClient(stream))
                        : static_cast<void *>(makeCaptureClient(stream));
        return S_OK;
    }

private:
    HRESULT initialise(StreamSetup setup, const WAVEFORMATEX *format, bool converts)
    {
        const auto endpoint = findEndpoint(endpointId);
        if (!endpoint || endpoint->state != DEVICE_STATE_ACTIVE)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        if (const HRESULT result = checkFormat(format, *endpoint, converts); FAILED(result))
            return result;
        setup.format = copyOf(*format);
        const std::lock_guard lock(streamMutex());
        if (stream->initialised)
            return AUDCLNT_E_ALREADY_INITIALIZED;
        stream->initialised = true;
        stream->setup = setup;
        stream->bufferFrames = endpoint->bufferFrames;
        enlistStream(stream);
        return S_OK;
    }

    /// What every call on a stream answers first. Call with the lock held.
    [[nodiscard]] HRESULT usability() const
    {
        if (!stream->initialised)
            return AUDCLNT_E_NOT_INITIALIZED;
        return stream->invalidated ? AUDCLNT_E_DEVICE_INVALIDATED : S_OK;
    }

    [[nodiscard]] bool isEventDriven() const
    {
        return (stream->setup.flags & AUDCLNT_STREAMFLAGS_EVENTCALLBACK) != 0;
    }

    static WAVEFORMATEXTENSIBLE mixFormat(const Endpoint &endpoint)
    {
        constexpr WORD bits = 32;
        WAVEFORMATEXTENSIBLE mix{};
        mix.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
        mix.Format.nChannels = endpoint.channels;
        mix.Format.nSamplesPerSec = endpoint.sampleRate;
        mix.Format.wBitsPerSample = bits;
        mix.Format.nBlockAlign = static_cast<WORD>(endpoint.channels * bits / 8);
        mix.Format.nAvgBytesPerSec = mix.Format.nBlockAlign * endpoint.sampleRate;
        mix.Format.cbSize = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
        mix.Samples.wValidBitsPerSample = bits;
        mix.SubFormat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
        return mix;
    }

    const std::shared_ptr<StreamState> stream;
};

} // namespace

IAudioClient3 *makeAudioClient(const QString &endpointId)
{
    return new AudioClient(endpointId);
}

} // namespace simulated
