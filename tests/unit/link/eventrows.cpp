#include "eventrows.h"

#include "link/websocketserver.h"

#include <QJsonArray>
#include <QJsonObject>

namespace
{
const QJsonObject speakers{{"deviceVolume", 42},
                           {"deviceName", "Speakers"},
                           {"deviceMute", false},
                           {"deviceID", "{0.0.0.00000000}.{a}"}};
const QString speakersText = QStringLiteral(
    R"({"deviceID":"{0.0.0.00000000}.{a}","deviceMute":false,"deviceName":"Speakers","deviceVolume":42})");

QList<EventCase> endpointRows()
{
    using Link = WebSocketServer;
    return {
        {"didReceiveOutputDeviceInfos",
         [](Link &link) {
             link.didReceiveOutputDeviceInfos(speakers, {speakers, speakers});
         },
         R"({"event":"didReceiveOutputDeviceInfos","payload":{"defaultDevice":)" + speakersText +
             R"(,"outputDevice":[)" + speakersText + ',' + speakersText + "]}}"},
        {"didReceiveOutputDeviceInfos, empty",
         [](Link &link) { link.didReceiveOutputDeviceInfos({}, {}); },
         R"({"event":"didReceiveOutputDeviceInfos","payload":{"defaultDevice":{},"outputDevice":[]}})"},
        {"didReceiveInputDeviceInfos",
         [](Link &link) { link.didReceiveInputDeviceInfos(speakers, {speakers}); },
         R"({"event":"didReceiveInputDeviceInfos","payload":{"defaultDevice":)" + speakersText +
             R"(,"inputDevice":[)" + speakersText + "]}}"},
        {"defaultDeviceChanged",
         [](Link &link) { link.defaultDeviceChanged("outputDevice", "Speakers", "{a}"); },
         R"({"event":"defaultDeviceChanged","payload":{"deviceID":"{a}","deviceName":"Speakers","deviceType":"outputDevice"}})"},
        {"deviceAdded", [](Link &link) { link.deviceAdded("Speakers", "{a}"); },
         R"({"event":"deviceAdded","payload":{"deviceID":"{a}","deviceName":"Speakers"}})"},
        {"deviceActive", [](Link &link) { link.deviceActive("Speakers", "{a}"); },
         R"({"event":"deviceActive","payload":{"deviceID":"{a}","deviceName":"Speakers"}})"},
        {"deviceRemoved", [](Link &link) { link.deviceRemoved("{a}"); },
         R"({"event":"deviceRemoved","payload":{"deviceID":"{a}"}})"},
        {"deviceDisabled", [](Link &link) { link.deviceDisabled("{a}"); },
         R"({"event":"deviceDisabled","payload":{"deviceID":"{a}"}})"},
        {"deviceNotPresent", [](Link &link) { link.deviceNotPresent("{a}"); },
         R"({"event":"deviceNotPresent","payload":{"deviceID":"{a}"}})"},
        {"deviceUnplugged", [](Link &link) { link.deviceUnplugged("{a}"); },
         R"({"event":"deviceUnplugged","payload":{"deviceID":"{a}"}})"},
        {"deviceControlChanged",
         [](Link &link) { link.deviceControlChanged("Speakers", "{a}", true, 7); },
         R"({"event":"deviceControlChanged","payload":{"deviceID":"{a}","deviceMute":true,"deviceName":"Speakers","deviceVolume":7}})"},
        {"didReceiveDeviceMute",
         [](Link &link) { link.didReceiveDeviceMute("Speakers", "{a}", true); },
         R"({"event":"didReceiveDeviceMute","payload":{"deviceID":"{a}","deviceMute":true,"deviceName":"Speakers"}})"},
        {"didReceiveDeviceVolume",
         [](Link &link) { link.didReceiveDeviceVolume("Speakers", "{a}", -1); },
         R"({"event":"didReceiveDeviceVolume","payload":{"deviceID":"{a}","deviceName":"Speakers","deviceVolume":-1}})"},
        {"failedToSetDeviceMute",
         [](Link &link) { link.failedToSetDeviceMute("Speakers", "{a}", false); },
         R"({"event":"failedToSetDeviceMute","payload":{"deviceID":"{a}","deviceMute":false,"deviceName":"Speakers"}})"},
        {"failedToSetDeviceVolume",
         [](Link &link) { link.failedToSetDeviceVolume("Speakers", "{a}", 100); },
         R"({"event":"failedToSetDeviceVolume","payload":{"deviceID":"{a}","deviceName":"Speakers","deviceVolume":100}})"},
        {"finishAddOutputDevice", [](Link &link) { link.finishAddOutputDevice("Browser"); },
         R"({"event":"finishAddOutputDevice","payload":{"outputDeviceName":"Browser"}})"},
        {"cannotAddOutputDevice", [](Link &link) { link.cannotAddOutputDevice("Browser"); },
         R"({"event":"cannotAddOutputDevice","payload":{"outputDeviceName":"Browser"}})"},
        {"finishRemoveOutputDevice", [](Link &link) { link.finishRemoveOutputDevice("Browser"); },
         R"({"event":"finishRemoveOutputDevice","payload":{"outputDeviceName":"Browser"}})"},
        {"cannotRemoveOutputDevice", [](Link &link) { link.cannotRemoveOutputDevice("Browser"); },
         R"({"event":"cannotRemoveOutputDevice","payload":{"outputDeviceName":"Browser"}})"},
        {"names as they are",
         [](Link &link) { link.deviceAdded(QStringLiteral("扬声器 \"é\"\n\\"), ""); },
         QStringLiteral(
             R"({"event":"deviceAdded","payload":{"deviceID":"","deviceName":"扬声器 \"é\"\n\\"}})")},
    };
}

QList<EventCase> hidRows()
{
    using Link = WebSocketServer;
    static const QJsonObject device{{"VID", 1}, {"PID", 2}};
    return {
        {"deviceDidConnect, first form", [](Link &link) { link.deviceDidConnect(1133, 7, "S-1"); },
         R"({"event":"deviceDidConnect","payload":{"device":{"PID":7,"SerialNumber":"S-1","VID":1133}}})"},
        {"deviceDidConnect, second form", [](Link &link) { link.deviceDidConnect(device); },
         R"({"event":"deviceDidConnect","payload":{"device":{"PID":2,"VID":1}}})"},
        {"deviceDidDisconnect, first form",
         [](Link &link) { link.deviceDidDisconnect(1133, 7, "S-1"); },
         R"({"event":"deviceDidDisconnect","payload":{"device":{"PID":7,"SerialNumber":"S-1","VID":1133}}})"},
        {"deviceDidDisconnect, second form", [](Link &link) { link.deviceDidDisconnect(device); },
         R"({"event":"deviceDidDisconnect","payload":{"device":{"PID":2,"VID":1}}})"},
        {"unableToOpenDevice", [](Link &link) { link.unableToOpenDevice(device, "gone"); },
         R"({"event":"unableToOpenDevice","payload":{"device":{"PID":2,"VID":1},"errorString":"gone"}})"},
        {"hidWriteResult", [](Link &link) { link.hidWriteResult(device, -1, "gone"); },
         R"({"event":"hidWriteResult","payload":{"device":{"PID":2,"VID":1},"errorString":"gone","writeResult":-1}})"},
        {"receivedFromGetInputReport",
         [](Link &link) {
             link.receivedFromGetInputReport(device, {255, "as it stands"}, 2);
         },
         R"({"event":"receivedFromGetInputReport","payload":{"data":[255,"as it stands"],"device":{"PID":2,"VID":1},"result":2}})"},
        {"receivedFromGetFeatureReport",
         [](Link &link) {
             link.receivedFromGetFeatureReport(device, QByteArray("\x01\x80\xFF\x00\x7F", 5), 5);
         },
         R"({"event":"receivedFromGetFeatureReport","payload":{"data":[1,-128,-1,0,127],"device":{"PID":2,"VID":1},"result":5}})"},
        {"receivedFromGetFeatureReport, empty",
         [](Link &link) { link.receivedFromGetFeatureReport({}, {}, -1); },
         R"({"event":"receivedFromGetFeatureReport","payload":{"data":[],"device":{},"result":-1}})"},
    };
}

QList<EventCase> sessionRows()
{
    using Link = WebSocketServer;
    return {
        {"didReceiveAudioSessionInfos",
         [](Link &link) {
             link.didReceiveAudioSessionInfos({{"outputDevice", QJsonArray{1}}});
         },
         R"({"event":"didReceiveAudioSessionInfos","payload":{"audioSessionInfos":{"outputDevice":[1]}}})"},
        {"didReceiveDeviceAudioSessionInfos",
         [](Link &link) {
             link.didReceiveDeviceAudioSessionInfos("{a}", {QJsonObject{{"k", 1}}});
         },
         R"({"event":"didReceiveDeviceAudioSessionInfos","payload":{"deviceAudioSessionInfos":[{"k":1}],"deviceID":"{a}"}})"},
        {"audioSessionInfoChanged",
         [](Link &link) {
             link.audioSessionInfoChanged("{a}", {{"k", 1}});
         },
         R"({"event":"audioSessionInfoChanged","payload":{"audioSessionInfo":{"k":1},"deviceID":"{a}"}})"},
        {"audioSessionDisplayNameChanged",
         [](Link &link) { link.audioSessionDisplayNameChanged("1", "2", "3", "4", 5, "6", "7"); },
         R"({"event":"audioSessionDisplayNameChanged","payload":{"audioEndpointID":"2","deviceID":"1","sessionDisplayName":"7","sessionIdentifier":"3","sessionInstanceIdentifier":"4","sessionProcessId":5,"sessionProcessName":"6"}})"},
        {"audioSessionIconPathChanged",
         [](Link &link) { link.audioSessionIconPathChanged("1", "2", "3", "4", 5, "6", "7"); },
         R"({"event":"audioSessionIconPathChanged","payload":{"audioEndpointID":"2","deviceID":"1","sessionIconPath":"7","sessionIdentifier":"3","sessionInstanceIdentifier":"4","sessionProcessId":5,"sessionProcessName":"6"}})"},
        {"audioSessionGroupingParamChanged",
         [](Link &link) {
             link.audioSessionGroupingParamChanged("1", "2", "3", "4", 5, "6", "7", "8");
         },
         R"({"event":"audioSessionGroupingParamChanged","payload":{"audioEndpointID":"2","deviceID":"1","sessionIdentifier":"3","sessionInstanceIdentifier":"4","sessionNewGroupingParam":"8","sessionOldGroupingParam":"7","sessionProcessId":5,"sessionProcessName":"6"}})"},
        {"audioSessionStateActive",
         [](Link &link) { link.audioSessionStateActive("1", "2", "3", "4", "5", 6, "7", "8"); },
         R"({"event":"audioSessionStateActive","payload":{"audioEndpointID":"2","deviceID":"1","sessionGroupingParam":"5","sessionIdentifier":"3","sessionInstanceIdentifier":"4","sessionProcessFileIcon":"8","sessionProcessId":6,"sessionProcessName":"7"}})"},
        {"audioSessionStateInactive",
         [](Link &link) { link.audioSessionStateInactive("1", "2", "3", "4", "5", 6, "7", "8"); },
         R"({"event":"audioSessionStateInactive","payload":{"audioEndpointID":"2","deviceID":"1","sessionGroupingParam":"5","sessionIdentifier":"3","sessionInstanceIdentifier":"4","sessionProcessFileIcon":"8","sessionProcessId":6,"sessionProcessName":"7"}})"},
        {"audioSessionStateExpired",
         [](Link &link) { link.audioSessionStateExpired("1", "2", "3", "4", "5", 6, "7", "8"); },
         R"({"event":"audioSessionStateExpired","payload":{"audioEndpointID":"2","deviceID":"1","sessionGroupingParam":"5","sessionIdentifier":"3","sessionInstanceIdentifier":"4","sessionProcessFileIcon":"8","sessionProcessId":6,"sessionProcessName":"7"}})"},
        {"audioSessionDisconnected",
         [](Link &link) { link.audioSessionDisconnected("1", "2", "3", "4", "5", 6, "7", "8"); },
         R"({"event":"audioSessionDisconnected","payload":{"audioEndpointID":"2","deviceID":"1","disconnectReason":"8","sessionGroupingParam":"5","sessionIdentifier":"3","sessionInstanceIdentifier":"4","sessionProcessId":6,"sessionProcessName":"7"}})"},
        {"finishSetAppDefaultAudioEndpoint",
         [](Link &link) { link.finishSetAppDefaultAudioEndpoint("Player", "{a}", true); },
         R"({"event":"finishSetAppDefaultAudioEndpoint","payload":{"appName":"Player","audioEndpointID":"{a}","success":true}})"},
        {"didReceiveSystemUUID", [](Link &link) { link.didReceiveSystemUUID("u-1"); },
         R"({"event":"didReceiveSystemUUID","payload":{"systemUUID":"u-1"}})"},
    };
}

} // namespace

QList<EventCase> eventCases()
{
    return endpointRows() + hidRows() + sessionRows();
}
