#include "platform/audiopolicyconfig.h"

#include "platform/posix/runtimestring.h"
#include "platform/simulated/approutes.h"
#include "platform/simulated/immortal.h"
#include "platform/simulated/objects.h"
#include "platform/simulated/runtimeobject.h"

#include <QMap>

#include <mutex>
#include <tuple>

namespace simulated
{

namespace
{

using Place = std::tuple<DWORD, EDataFlow, ERole>;

struct Routes
{
    std::mutex mutex;
    QMap<Place, QString> endpoints;
    bool isCurrent = true;
    bool isEarlier = true;
};

Routes &routes()
{
    return immortal<Routes>();
}

bool isGenerationMissing(REFIID id)
{
    const std::lock_guard lock(routes().mutex);
    return (id == IID_IAudioPolicyConfig && !routes().isCurrent) ||
           (id == IID_IAudioPolicyConfigEarlier && !routes().isEarlier);
}

class AudioPolicyConfig final : public RuntimeObject<IAudioPolicyConfig>
{
public:
    AudioPolicyConfig() : RuntimeObject("IAudioPolicyConfig") {}

    /// Answers to both generations.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void **result) override
    {
        *result = nullptr;
        if (isGenerationMissing(id))
            return E_NOINTERFACE;
        const IID &known = id == IID_IAudioPolicyConfigEarlier ? IID_IAudioPolicyConfig : id;
        return RuntimeObject::QueryInterface(known, result);
    }

    HRESULT STDMETHODCALLTYPE SetPersistedDefaultAudioEndpoint(UINT32 processId, EDataFlow flow,
                                                               ERole role,
                                                               HSTRING endpoint) override
    {
        const QString text = posix::textOfString(endpoint);
        const QString place = QStringLiteral("%1 %2 %3 ").arg(processId).arg(flow).arg(role);
        if (const auto fault = called("SetPersistedDefaultAudioEndpoint", place + text))
            return *fault;
        setPersistedEndpoint(processId, flow, role, text);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetPersistedDefaultAudioEndpoint(UINT32 processId, EDataFlow flow,
                                                               ERole role,
                                                               HSTRING *endpoint) override
    {
        *endpoint = nullptr;
        const QString place = QStringLiteral("%1 %2 %3").arg(processId).arg(flow).arg(role);
        if (const auto fault = called("GetPersistedDefaultAudioEndpoint", place))
            return *fault;
        *endpoint = posix::stringOfText(persistedEndpoint(processId, flow, role));
        return S_OK;
    }
};

} // namespace

IAudioPolicyConfig *makeAudioPolicyConfig()
{
    return new AudioPolicyConfig;
}

void setPersistedEndpoint(DWORD processId, EDataFlow flow, ERole role, const QString &endpoint)
{
    const std::lock_guard lock(routes().mutex);
    routes().endpoints.insert({processId, flow, role}, endpoint);
}

QString persistedEndpoint(DWORD processId, EDataFlow flow, ERole role)
{
    const std::lock_guard lock(routes().mutex);
    return routes().endpoints.value({processId, flow, role});
}

void setAudioPolicyGenerations(bool current, bool earlier)
{
    const std::lock_guard lock(routes().mutex);
    routes().isCurrent = current;
    routes().isEarlier = earlier;
}

void resetAppRoutes()
{
    const std::lock_guard lock(routes().mutex);
    routes().endpoints.clear();
    routes().isCurrent = true;
    routes().isEarlier = true;
}

} // namespace simulated
