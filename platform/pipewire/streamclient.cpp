#include "platform/pipewire/streamclient.h"

#include "platform/pipewire/card.h"
#include "platform/pipewire/streamservices.h"
#include "platform/pipewire/waveformat.h"

#include <utility>

namespace
{
// 480 frames at 48000 Hz in 100 ns units.
constexpr REFERENCE_TIME devicePeriod = 100'000;
// The power of two next to that period: a server that keeps to powers of two would make 256 frames
// of 480, half of what is meant.
constexpr uint32_t wantedQuantum = 512;
constexpr std::chrono::seconds openTimeout(2);
// The session manager refuses a stream whose ID it still knows from one that was just closed.
constexpr int openTries = 5;
constexpr DWORD knownFlags = AUDCLNT_STREAMFLAGS_EVENTCALLBACK |
                             AUDCLNT_STREAMFLAGS_AUTOCONVERTPCM |
                             AUDCLNT_STREAMFLAGS_SRC_DEFAULT_QUALITY;

pw_properties *clientProperties(bool isPassive)
{
    pw_properties *properties = pw_properties_new(nullptr, nullptr);
    pw_properties_setf(properties, PW_KEY_NODE_LATENCY, "%u/%u", wantedQuantum, periodRate);
    if (isPassive)
        pw_properties_set(properties, PW_KEY_NODE_PASSIVE, "true");
    return properties;
}
} // namespace

StreamClient::StreamClient(const StreamTarget &target)
    : target(target), connection(Connection::instance()),
      path(target.flow == eRender ? static_cast<StreamPath &>(render) : capture),
      lineOutput(card::lineOutputOf(target.nodeName).toStdString())
{
    // A line that nobody records from would run for nothing: the graph may leave it idle.
    if (lineOutput.empty())
        return;
    const Connection::Lock lock(connection);
    idleClock = std::make_unique<IdleClock>(connection, render);
}

StreamClient::~StreamClient()
{
    const Connection::Lock lock(connection);
    connection.removeObserver(this);
    stream.reset();
    idleClock.reset();
}

HRESULT StreamClient::Initialize(AUDCLNT_SHAREMODE shareMode, DWORD flags, REFERENCE_TIME,
                                 REFERENCE_TIME, const WAVEFORMATEX *format, LPCGUID)
{
    if (!format)
        return E_POINTER;
    if (isInitialized.load())
        return AUDCLNT_E_ALREADY_INITIALIZED;
    if (shareMode != AUDCLNT_SHAREMODE_SHARED || (flags & ~knownFlags) != 0)
        return E_INVALIDARG;
    const auto samples = sampleFormatOf(*format);
    if (!samples)
        return AUDCLNT_E_UNSUPPORTED_FORMAT;
    streamFlags = flags;
    return open(*samples);
}

HRESULT StreamClient::open(const SampleFormat &format)
{
    const Connection::Lock lock(connection);
    if (!connection.isConnected())
        return AUDCLNT_E_SERVICE_NOT_RUNNING;
    const ServerObjects &objects = connection.objects();
    const auto node = objects.nodeOfName(target.nodeName.toStdString());
    if (!node)
        return AUDCLNT_E_DEVICE_INVALIDATED;
    // A stream to a node that the session manager has not prepared would be refused for good.
    const auto isPrepared = [&] { return objects.isLinkable(*node) || !objects.hasNode(*node); };
    connection.waitUntil(isPrepared, openTimeout);
    if (!objects.isLinkable(*node))
        return AUDCLNT_E_DEVICE_INVALIDATED;

    targetNode = *node;
    path.prepare(format);
    connection.addObserver(this);
    for (int i = 0; i < openTries; ++i) {
        if (connect(format)) {
            isInitialized.store(true);
            return S_OK;
        }
        if (!connection.isConnected() || !objects.hasNode(targetNode))
            break;
    }
    connection.removeObserver(this);
    return AUDCLNT_E_DEVICE_INVALIDATED;
}

bool StreamClient::connect(const SampleFormat &format)
{
    path.markFound();
    wasRecorded = false;
    const bool plays = target.flow == eRender;
    stream = std::make_unique<ServerStream>(
        connection,
        ServerStream::Request{plays ? SPA_DIRECTION_OUTPUT : SPA_DIRECTION_INPUT,
                              target.nodeName.toStdString(), "Quorvane", format,
                              clientProperties(isOnLine()), false, !isOnLine()},
        idleClock ? static_cast<StreamHandler &>(*idleClock) : path);
    // Linked, it is accepted: the session manager may still refuse a stream that is only there.
    const auto isDecided = [&] {
        return path.isLost() || connection.objects().hasLinkBetween(stream->nodeId(), targetNode);
    };
    if (connection.waitUntil(isDecided, openTimeout) && !path.isLost()) {
        if (isOnLine())
            joinWhileRecorded();
        return true;
    }
    stream.reset();
    return false;
}

HRESULT StreamClient::usable() const
{
    if (!isInitialized.load())
        return AUDCLNT_E_NOT_INITIALIZED;
    return path.isLost() ? AUDCLNT_E_DEVICE_INVALIDATED : S_OK;
}

HRESULT StreamClient::GetBufferSize(UINT32 *frames)
{
    if (!frames)
        return E_POINTER;
    *frames = 0;
    const HRESULT result = usable();
    if (SUCCEEDED(result))
        *frames = target.flow == eRender ? render.bufferSize() : capture.bufferSize();
    return result;
}

HRESULT StreamClient::GetCurrentPadding(UINT32 *frames)
{
    if (!frames)
        return E_POINTER;
    *frames = 0;
    const HRESULT result = usable();
    if (SUCCEEDED(result))
        *frames = target.flow == eRender ? render.padding() : capture.padding();
    return result;
}

HRESULT StreamClient::GetMixFormat(WAVEFORMATEX **format)
{
    if (!format)
        return E_POINTER;
    *format = makeMixFormat(target.sampleRate, target.channels);
    return *format ? S_OK : E_OUTOFMEMORY;
}

HRESULT StreamClient::GetDevicePeriod(REFERENCE_TIME *usual, REFERENCE_TIME *minimum)
{
    if (!usual && !minimum)
        return E_POINTER;
    if (usual)
        *usual = devicePeriod;
    if (minimum)
        *minimum = devicePeriod;
    return S_OK;
}

HRESULT StreamClient::Start()
{
    if (const HRESULT result = usable(); FAILED(result))
        return result;
    if ((streamFlags & AUDCLNT_STREAMFLAGS_EVENTCALLBACK) && !path.hasEvent())
        return AUDCLNT_E_EVENTHANDLE_NOT_SET;
    if (isStarted.exchange(true))
        return AUDCLNT_E_NOT_STOPPED;
    path.setRunning(true);
    const Connection::Lock lock(connection);
    if (idleClock)
        idleClock->setRunning(true);
    if (stream)
        stream->setActive(true);
    return S_OK;
}

HRESULT StreamClient::Stop()
{
    if (!isInitialized.load())
        return AUDCLNT_E_NOT_INITIALIZED;
    if (!isStarted.exchange(false))
        return S_FALSE;
    path.setRunning(false);
    const Connection::Lock lock(connection);
    if (idleClock)
        idleClock->setRunning(false);
    if (stream)
        stream->setActive(false);
    // No event comes any more when this returns, and its handle may be closed.
    connection.flushDataThread();
    path.cancelEvent();
    return S_OK;
}

HRESULT StreamClient::Reset()
{
    if (const HRESULT result = usable(); FAILED(result))
        return result;
    if (isStarted.load())
        return AUDCLNT_E_NOT_STOPPED;
    path.reset();
    return S_OK;
}

HRESULT StreamClient::SetEventHandle(HANDLE handle)
{
    if (!isInitialized.load())
        return AUDCLNT_E_NOT_INITIALIZED;
    if (!handle)
        return E_INVALIDARG;
    path.setEvent(handle);
    return S_OK;
}

HRESULT StreamClient::GetService(REFIID id, void **service)
{
    if (!service)
        return E_POINTER;
    *service = nullptr;
    if (!isInitialized.load())
        return AUDCLNT_E_NOT_INITIALIZED;
    const bool plays = target.flow == eRender;
    if (id != IID_IAudioRenderClient && id != IID_IAudioCaptureClient)
        return E_NOINTERFACE;
    if ((id == IID_IAudioRenderClient) != plays)
        return AUDCLNT_E_WRONG_ENDPOINT_TYPE;
    auto owner = ComPtr<IAudioClient>::retain(this);
    if (plays)
        *service = static_cast<IAudioRenderClient *>(new RenderService(std::move(owner), render));
    else
        *service =
            static_cast<IAudioCaptureClient *>(new CaptureService(std::move(owner), capture));
    return S_OK;
}

HRESULT StreamClient::GetSharedModeEnginePeriod(const WAVEFORMATEX *format, UINT32 *usual,
                                                UINT32 *fundamental, UINT32 *minimum,
                                                UINT32 *maximum)
{
    if (!format || !usual || !fundamental || !minimum || !maximum)
        return E_POINTER;
    if (!sampleFormatOf(*format))
        return AUDCLNT_E_UNSUPPORTED_FORMAT;
    const auto frames = UINT32(uint64_t(format->nSamplesPerSec) * periodFrames / periodRate);
    *usual = *fundamental = *minimum = *maximum = frames;
    return S_OK;
}

HRESULT StreamClient::InitializeSharedAudioStream(DWORD flags, UINT32, const WAVEFORMATEX *format,
                                                  LPCGUID session)
{
    return Initialize(AUDCLNT_SHAREMODE_SHARED, flags, 0, 0, format, session);
}

void StreamClient::serverLost()
{
    stream.reset();
    path.markLost();
}

void StreamClient::objectsChanged()
{
    if (!connection.objects().hasNode(targetNode))
        path.markLost();
    if (isOnLine() && stream)
        joinWhileRecorded();
}

/// In the group while idle, it would run whenever another stream does.
void StreamClient::joinWhileRecorded()
{
    const ServerObjects &objects = connection.objects();
    const auto node = objects.nodeOfName(lineOutput);
    const bool isRecorded = node && objects.hasLinkFrom(*node);
    if (isRecorded != std::exchange(wasRecorded, isRecorded))
        stream->setGrouped(isRecorded);
}

HRESULT createAudioClient(const StreamTarget &target, IAudioClient **client)
{
    if (!client)
        return E_POINTER;
    *client = new StreamClient(target);
    return S_OK;
}
