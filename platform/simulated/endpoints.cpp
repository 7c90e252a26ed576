#include "platform/simulated/endpoints.h"

#include "platform/simulated/immortal.h"
#include "platform/simulated/streamstate.h"
#include "platform/simulated/tables.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace simulated
{

namespace
{

constexpr int flows = 2;
constexpr int roles = 3;

struct Tables
{
    std::mutex mutex;
    std::vector<Endpoint> endpoints;
    QString defaults[flows][roles];
    int made = 0;
};

Tables &tables()
{
    return immortal<Tables>();
}

auto find(const QString &id)
{
    auto &all = tables().endpoints;
    return std::find_if(all.begin(), all.end(),
                        [&](const Endpoint &endpoint) { return endpoint.id == id; });
}

template <typename Change>
bool change(const QString &id, Change apply)
{
    const std::lock_guard lock(tables().mutex);
    const auto found = find(id);
    if (found == tables().endpoints.end())
        return false;
    apply(*found);
    return true;
}

bool isFlowWithRole(EDataFlow flow, ERole role)
{
    return flow >= 0 && flow < flows && role >= 0 && role < roles;
}

} // namespace

QString addEndpoint(const Endpoint &endpoint)
{
    const std::lock_guard lock(tables().mutex);
    Endpoint added = endpoint;
    if (added.id.isEmpty())
        added.id = QStringLiteral("{0.0.%1.00000000}.{00000000-0000-0000-0000-%2}")
                       .arg(added.flow == eCapture ? 1 : 0)
                       .arg(++tables().made, 12, 16, QLatin1Char('0'));
    tables().endpoints.push_back(added);
    return added.id;
}

void removeEndpoint(const QString &id)
{
    {
        const std::lock_guard lock(tables().mutex);
        if (const auto found = find(id); found != tables().endpoints.end())
            tables().endpoints.erase(found);
    }
    invalidateStreams(id);
}

void setState(const QString &id, DWORD state)
{
    change(id, [&](Endpoint &endpoint) { endpoint.state = state; });
    if (state != DEVICE_STATE_ACTIVE)
        invalidateStreams(id);
}

void rename(const QString &id, const QString &name)
{
    change(id, [&](Endpoint &endpoint) { endpoint.name = name; });
}

void setNameReadable(const QString &id, bool readable)
{
    change(id, [&](Endpoint &endpoint) { endpoint.nameReadable = readable; });
}

void setVolume(const QString &id, float scalar)
{
    change(id, [&](Endpoint &endpoint) { endpoint.volume = scalar; });
}

void setMute(const QString &id, bool muted)
{
    change(id, [&](Endpoint &endpoint) { endpoint.muted = muted; });
}

void setMixFormat(const QString &id, WORD channels, DWORD sampleRate)
{
    change(id, [&](Endpoint &endpoint) {
        endpoint.channels = channels;
        endpoint.sampleRate = sampleRate;
    });
}

void setPeriods(const QString &id, REFERENCE_TIME defaultPeriod, REFERENCE_TIME minimumPeriod)
{
    change(id, [&](Endpoint &endpoint) {
        endpoint.defaultPeriod = defaultPeriod;
        endpoint.minimumPeriod = minimumPeriod;
    });
}

void setBufferFrames(const QString &id, UINT32 frames)
{
    change(id, [&](Endpoint &endpoint) { endpoint.bufferFrames = frames; });
}

void setHasAudioClient3(const QString &id, bool present)
{
    change(id, [&](Endpoint &endpoint) { endpoint.hasAudioClient3 = present; });
}

Endpoint endpoint(const QString &id)
{
    return findEndpoint(id).value_or(Endpoint{});
}

QStringList endpointIds()
{
    const std::lock_guard lock(tables().mutex);
    QStringList ids;
    for (const Endpoint &endpoint : tables().endpoints)
        ids.append(endpoint.id);
    return ids;
}

void setDefault(EDataFlow flow, const QString &id)
{
    for (const ERole role : {eConsole, eMultimedia, eCommunications})
        setDefault(flow, role, id);
}

void setDefault(EDataFlow flow, ERole role, const QString &id)
{
    if (!isFlowWithRole(flow, role))
        return;
    const std::lock_guard lock(tables().mutex);
    tables().defaults[flow][role] = id;
}

QString defaultEndpoint(EDataFlow flow, ERole role)
{
    if (!isFlowWithRole(flow, role))
        return {};
    const std::lock_guard lock(tables().mutex);
    return tables().defaults[flow][role];
}

std::optional<Endpoint> findEndpoint(const QString &id)
{
    const std::lock_guard lock(tables().mutex);
    const auto found = find(id);
    if (found == tables().endpoints.end())
        return std::nullopt;
    return *found;
}

QStringList enumerate(EDataFlow flow, DWORD stateMask)
{
    const std::lock_guard lock(tables().mutex);
    QStringList ids;
    for (const Endpoint &endpoint : tables().endpoints) {
        if ((flow == eAll || endpoint.flow == flow) && (endpoint.state & stateMask) != 0)
            ids.append(endpoint.id);
    }
    return ids;
}

void resetTables()
{
    const std::lock_guard lock(tables().mutex);
    tables().endpoints.clear();
    tables().made = 0;
    for (auto &ofFlow : tables().defaults) {
        for (QString &id : ofFlow)
            id.clear();
    }
}

} // namespace simulated
