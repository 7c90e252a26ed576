#include "platform/linux/audiopolicyconfig.h"

#include "platform/linux/desktopentries.h"
#include "platform/linux/processfiles.h"
#include "platform/pipewire/approutes.h"
#include "platform/posix/runtimestring.h"

#include <algorithm>

namespace pulse
{
namespace
{
/// All names that the process may be shown under.
approutes::Application applicationOf(quint32 processId)
{
    const QString executable = processfiles::executable(processId);
    approutes::Application application{executable, {processfiles::shortName(processId)}};
    const auto addName = [&](const std::optional<DesktopEntry> &entry) {
        if (entry && !entry->name.isEmpty())
            application.names.append(entry->name);
    };
    addName(desktopentries::byId(processfiles::desktopId(processId)));
    addName(desktopentries::byExecutable(executable));
    application.names.removeAll(QString());
    application.names.removeDuplicates();
    return application;
}

/// The one endpoint that all these sessions are at; empty if there is no such one.
QString commonEndpoint(const std::vector<Session> &sessions)
{
    if (sessions.empty())
        return {};
    const QString &first = sessions.front().endpointId;
    const bool isCommon = std::all_of(sessions.begin(), sessions.end(), [&](const Session &each) {
        return each.endpointId == first;
    });
    return isCommon ? first : QString();
}
} // namespace

HRESULT AudioPolicyConfig::SetPersistedDefaultAudioEndpoint(UINT32 processId, EDataFlow flow,
                                                            ERole role, HSTRING endpoint)
{
    const approutes::Application application = applicationOf(processId);
    if (application.executable.isEmpty())
        return E_INVALIDARG;
    const QString text = posix::textOfString(endpoint);
    if (text.isEmpty()) {
        approutes::setRoute(application, flow, role, {});
        return S_OK;
    }
    const auto target = service.endpoints().endpoint(approutes::endpointOfLongForm(text));
    if (!target || target->flow != flow || target->state != DEVICE_STATE_ACTIVE)
        return E_NOTFOUND;
    // First, so that no stream that begins meanwhile is missed.
    const QString before = approutes::route(application.executable, flow, role);
    approutes::setRoute(application, flow, role, target->id);
    const HRESULT moved =
        service.server().moveStreams(service.sessions().sessionsOf(processId, flow), *target);
    if (FAILED(moved))
        approutes::setRoute(application, flow, role, before);
    return moved;
}

HRESULT AudioPolicyConfig::GetPersistedDefaultAudioEndpoint(UINT32 processId, EDataFlow flow,
                                                            ERole role, HSTRING *endpoint)
{
    if (!endpoint)
        return E_POINTER;
    *endpoint = nullptr;
    const QString executable = processfiles::executable(processId);
    if (executable.isEmpty())
        return E_INVALIDARG;
    QString id = approutes::route(executable, flow, role);
    // An application here may have chosen an output itself, or been moved by the desktop: it does
    // not follow the default then, and can be moved back to it.
    if (id.isEmpty() && flow == eRender)
        id = commonEndpoint(service.sessions().sessionsOf(processId, flow));
    *endpoint = posix::stringOfText(approutes::longForm(id, flow));
    return S_OK;
}
} // namespace pulse
