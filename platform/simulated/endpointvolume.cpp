#include "platform/simulated/objects.h"
#include "platform/simulated/recordedobject.h"
#include "platform/simulated/sinks.h"
#include "platform/simulated/tables.h"

namespace simulated
{

namespace
{

class EndpointVolume final : public RecordedObject<IAudioEndpointVolume>
{
public:
    explicit EndpointVolume(const QString &endpointId)
        : RecordedObject("IAudioEndpointVolume", endpointId)
    {
    }
    ~EndpointVolume() override { levelSinks().removeAll(this); }

    HRESULT STDMETHODCALLTYPE
    RegisterControlChangeNotify(IAudioEndpointVolumeCallback *pNotify) override
    {
        if (const auto fault = called("RegisterControlChangeNotify"))
            return *fault;
        if (!pNotify)
            return E_POINTER;
        levelSinks().add(this, endpointId, pNotify);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE
    UnregisterControlChangeNotify(IAudioEndpointVolumeCallback *pNotify) override
    {
        if (const auto fault = called("UnregisterControlChangeNotify"))
            return *fault;
        return levelSinks().remove(this, pNotify) ? S_OK : E_NOTFOUND;
    }

    HRESULT STDMETHODCALLTYPE SetMasterVolumeLevelScalar(float fLevel,
                                                         LPCGUID pguidEventContext) override
    {
        const QString arguments =
            QString::number(static_cast<double>(fLevel)) + u' ' + contextText(pguidEventContext);
        if (const auto fault = called("SetMasterVolumeLevelScalar", arguments))
            return *fault;
        if (!findEndpoint(endpointId))
            return AUDCLNT_E_DEVICE_INVALIDATED;
        if (!(fLevel >= 0.0f && fLevel <= 1.0f))
            return E_INVALIDARG;
        setVolume(endpointId, fLevel);
        announce(pguidEventContext);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetMasterVolumeLevelScalar(float *pfLevel) override
    {
        if (const auto fault = called("GetMasterVolumeLevelScalar"))
            return *fault;
        if (!pfLevel)
            return E_POINTER;
        const auto endpoint = findEndpoint(endpointId);
        if (!endpoint)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        *pfLevel = endpoint->volume;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE SetMute(BOOL bMute, LPCGUID pguidEventContext) override
    {
        const QString arguments =
            QStringLiteral("%1 %2").arg(bMute).arg(contextText(pguidEventContext));
        if (const auto fault = called("SetMute", arguments))
            return *fault;
        const auto endpoint = findEndpoint(endpointId);
        if (!endpoint)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        const bool muted = bMute != FALSE;
        if (endpoint->muted == muted)
            return S_FALSE;
        setMute(endpointId, muted);
        announce(pguidEventContext);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetMute(BOOL *pbMute) override
    {
        if (const auto fault = called("GetMute"))
            return *fault;
        if (!pbMute)
            return E_POINTER;
        const auto endpoint = findEndpoint(endpointId);
        if (!endpoint)
            return AUDCLNT_E_DEVICE_INVALIDATED;
        *pbMute = endpoint->muted ? TRUE : FALSE;
        return S_OK;
    }

private:
    void announce(LPCGUID context) const
    {
        announceLevel(endpointId, context ? *context : GUID_NULL);
    }
};

} // namespace

IAudioEndpointVolume *makeEndpointVolume(const QString &endpointId)
{
    return new EndpointVolume(endpointId);
}

} // namespace simulated
