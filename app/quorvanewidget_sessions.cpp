// Audio sessions: their events pass through to the client unchanged.
#include "app/handlertrace.h"
#include "app/quorvanewidget.h"
#include "link/websocketserver.h"
#include "sessions/audiosessionmanager.h"

#include <QDebug>

#include <tuple>
#include <type_traits>

namespace
{

/// Lists and objects are too long for a log line.
template <typename Argument>
void logArgument(QDebug &line, const Argument &argument)
{
    if constexpr (!std::is_same_v<Argument, QJsonObject> && !std::is_same_v<Argument, QJsonArray>)
        line << argument;
}

/// A handler's first line: its name and its first two arguments.
template <typename First, typename... More>
void logFirstLine(const char *handler, const First &first, const More &...more)
{
    QDebug line = qInfo();
    line << (QByteArray(handler) + "() :").constData();
    logArgument(line, first);
    if constexpr (sizeof...(More) > 0)
        logArgument(line, std::get<0>(std::tie(more...)));
}

} // namespace

void QuorvaneWidget::connectSessionEvents()
{
    using Manager = AudioSessionManager;
    using Link = WebSocketServer;
    const Manager *manager = audioSessionManager.data();
    const auto relay = [this, manager](const char *handler, auto signal, auto sender) {
        connect(manager, signal, this, [this, handler, sender](const auto &...arguments) {
            logFirstLine(handler, arguments...);
            if (webSocketServer)
                (webSocketServer.data()->*sender)(arguments...);
            qInfo() << (QByteArray(handler) + "() : end").constData();
        });
    };
    connect(manager, &Manager::sigPrintfLog, this, &QuorvaneWidget::printfInfo);
    relay("onUpdateAudioSessionInfos", &Manager::sigUpdateAudioSessionInfos,
          &Link::didReceiveAudioSessionInfos);
    relay("onUpdateDeviceAudioSessionInfos", &Manager::sigUpdateDeviceAudioSessionInfos,
          &Link::didReceiveDeviceAudioSessionInfos);
    relay("onAudioSessionInfoChanged", &Manager::sigAudioSessionInfoChanged,
          &Link::audioSessionInfoChanged);
    relay("onDisplayNameChanged", &Manager::sigDisplayNameChanged,
          &Link::audioSessionDisplayNameChanged);
    relay("onIconPathChanged", &Manager::sigIconPathChanged, &Link::audioSessionIconPathChanged);
    relay("onGroupingParamChanged", &Manager::sigGroupingParamChanged,
          &Link::audioSessionGroupingParamChanged);
    relay("onAudioSessionStateActive", &Manager::sigAudioSessionStateActive,
          &Link::audioSessionStateActive);
    relay("onAudioSessionStateInactive", &Manager::sigAudioSessionStateInactive,
          &Link::audioSessionStateInactive);
    relay("onAudioSessionStateExpired", &Manager::sigAudioSessionStateExpired,
          &Link::audioSessionStateExpired);
    relay("onAudioSessionDisconnected", &Manager::sigAudioSessionDisconnected,
          &Link::audioSessionDisconnected);
    relay("onFinishSetAppDefaultDevice", &Manager::sigFinishSetAppDefaultAudioEndpoint,
          &Link::finishSetAppDefaultAudioEndpoint);
}

void QuorvaneWidget::onGetAudioSessionInfos()
{
    const HandlerTrace trace("onGetAudioSessionInfos");
    QJsonObject infos;
    if (audioSessionManager)
        infos = audioSessionManager->getAllAudioSessionInfos(false);
    if (webSocketServer)
        webSocketServer->didReceiveAudioSessionInfos(infos);
}

void QuorvaneWidget::onGetDeviceAudioSessionInfos(const QString &deviceID)
{
    const HandlerTrace trace("onGetDeviceAudioSessionInfos", deviceID);
    QJsonArray infos;
    if (audioSessionManager)
        infos = audioSessionManager->getDeviceAudioSessionInfos(deviceID);
    if (webSocketServer)
        webSocketServer->didReceiveDeviceAudioSessionInfos(deviceID, infos);
}
