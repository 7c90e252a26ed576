// AudioSessionManager: moving one application to another endpoint.
#include "platform/audiopolicyconfig.h"
#include "sessions/audiosessionmanager.h"

#include <QTimer>

#include <iterator>

namespace
{
constexpr QLatin1StringView longPrefix{R"(\\?\SWD#MMDEVAPI#)"};
constexpr QLatin1StringView renderSuffix{"#{e6327cad-dcec-4949-ae8a-991e976a79d2}"};
constexpr QLatin1StringView captureSuffix{"#{2eef81be-33fa-4800-9670-1cd474972c3f}"};
constexpr int refreshDelay = 250; // ms, for the streams to have moved

enum RoutingResult
{
    Refused = 0,
    Done = 1,
    NoProcess = -1,
    NoName = -2,
    NoEndpoint = -3,
};

/// The render suffix is the only one that is removed: an application's capture endpoint that is
/// read back is never equal to the one that was asked for.
QString shortForm(QString endpoint)
{
    return endpoint.remove(longPrefix).remove(renderSuffix);
}

QString longForm(const QString &endpointID, int flow)
{
    return longPrefix + endpointID + (flow == eRender ? renderSuffix : captureSuffix);
}

RoutingResult checked(int appProcessID, const QString &appName, const QString &audioEndpointID)
{
    if (appProcessID == 0)
        return NoProcess;
    if (appName.isEmpty())
        return NoName;
    return audioEndpointID.isEmpty() ? NoEndpoint : Done;
}
} // namespace

void AudioSessionManager::fetchPolicyFactory()
{
    HSTRING_HEADER header{};
    HSTRING name = nullptr;
    if (FAILED(WindowsCreateStringReference(audioPolicyConfigClass,
                                            std::size(audioPolicyConfigClass) - 1, &header, &name)))
        return;
    HRESULT result =
        RoGetActivationFactory(name, IID_IAudioPolicyConfig, policyFactory.receiveVoid());
    if (result == E_NOINTERFACE)
        result = RoGetActivationFactory(name, IID_IAudioPolicyConfigEarlier,
                                        policyFactory.receiveVoid());
    if (FAILED(result))
        policyFactory.reset();
    WindowsDeleteString(name);
}

QString AudioSessionManager::getPersistedDefaultAudioEndpoint(unsigned long pid, int flow)
{
    HSTRING string = nullptr;
    if (!policyFactory ||
        FAILED(policyFactory->GetPersistedDefaultAudioEndpoint(
            static_cast<UINT32>(pid), static_cast<EDataFlow>(flow), eMultimedia, &string)))
        return {};
    QString endpoint = QString::fromWCharArray(WindowsGetStringRawBuffer(string, nullptr));
    WindowsDeleteString(string);
    return endpoint;
}

int AudioSessionManager::setPersistedDefaultAudioEndpoint(unsigned long pid, int flow,
                                                          const QString &id)
{
    if (!policyFactory)
        return Refused;
    const std::wstring endpoint = longForm(id, flow).toStdWString();
    HSTRING string = nullptr;
    if (FAILED(
            WindowsCreateString(endpoint.c_str(), static_cast<UINT32>(endpoint.size()), &string)))
        return Refused;
    const auto set = [&](ERole role) {
        return policyFactory->SetPersistedDefaultAudioEndpoint(
            static_cast<UINT32>(pid), static_cast<EDataFlow>(flow), role, string);
    };
    const HRESULT forConsole = set(eConsole);
    const HRESULT forMultimedia = set(eMultimedia);
    WindowsDeleteString(string);
    return SUCCEEDED(forConsole) && SUCCEEDED(forMultimedia) ? Done : Refused;
}

int AudioSessionManager::setAppDefaultAudioEndpoint(int appProcessID, const QString &appName,
                                                    const QString &audioEndpointID,
                                                    const QString &fromAudioEndpointID, int flow)
{
    int result = checked(appProcessID, appName, audioEndpointID);
    if (result != Done) {
        emit sigFinishSetAppDefaultAudioEndpoint(appName, audioEndpointID, false);
        return result;
    }

    enterRouting(appName, audioEndpointID);
    const auto pid = static_cast<unsigned long>(appProcessID);
    QString previous = shortForm(getPersistedDefaultAudioEndpoint(pid, flow));
    if (previous.isEmpty())
        previous = getDefaultRenderDeviceID();
    QString current;
    if (audioEndpointID != previous) {
        result = setPersistedDefaultAudioEndpoint(pid, flow, audioEndpointID);
        current = shortForm(getPersistedDefaultAudioEndpoint(pid, flow));
        if (current != audioEndpointID)
            result = Refused;
    }
    leaveRouting(appName);
    emit sigFinishSetAppDefaultAudioEndpoint(appName, audioEndpointID, result == Done);
    refreshLater({previous, current, audioEndpointID, fromAudioEndpointID});
    return result;
}

void AudioSessionManager::refreshLater(QStringList endpointIDs)
{
    endpointIDs.removeAll(QString());
    endpointIDs.removeDuplicates();
    // Begun on the manager's own thread, the timer goes with that thread when it never fires.
    QMetaObject::invokeMethod(this, [this, endpointIDs] {
        QTimer::singleShot(refreshDelay, this, [this, endpointIDs] {
            for (const QString &endpointID : endpointIDs)
                tryToUpdateDeviceAudioSessionsInfo(endpointID);
        });
    });
}
