// The control link: the program's only control surface, JSON text messages over a plain WebSocket.
#pragma once

#include "common/tavoritypes.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QString>
#include <QTimer>
#include <QVariant>
#include <QWebSocket>
#include <QWebSocketServer>

#include <atomic>
#include <cstddef>

/// Listens, keeps the one current client, turns each incoming command into a typed signal and
/// sends events to whoever connected last. Lives on the GUI thread together with its sockets.
///
/// Every sender bears the name of its event and takes the values of its payload in the order of
/// the event table. With no client connected a sender returns at once and the event is lost.
/// Senders hold a non-recursive lock: one must not be called from inside another.
class WebSocketServer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(WebSocketServer)

public:
    explicit WebSocketServer(QObject *parent);
    ~WebSocketServer() override;

    /// Listens on all interfaces. False if that failed; the server then tries again every 1000 ms
    /// with a port of its own drawing, without end. True if it listens already.
    bool startListen(unsigned short port);

    void defaultDeviceChanged(const QString &deviceType, const QString &deviceName,
                              const QString &deviceID);
    void deviceActive(const QString &deviceName, const QString &deviceID);
    void deviceAdded(const QString &deviceName, const QString &deviceID);
    /// `deviceVolume` in whole percent, here and in every other sender.
    void deviceControlChanged(const QString &deviceName, const QString &deviceID, bool deviceMute,
                              int deviceVolume);
    void deviceDisabled(const QString &deviceID);
    void deviceNotPresent(const QString &deviceID);
    void deviceRemoved(const QString &deviceID);
    void deviceUnplugged(const QString &deviceID);
    void didReceiveDeviceMute(const QString &deviceName, const QString &deviceID, bool deviceMute);
    void didReceiveDeviceVolume(const QString &deviceName, const QString &deviceID,
                                int deviceVolume);
    void didReceiveInputDeviceInfos(const QJsonObject &defaultDevice,
                                    const QJsonArray &inputDevice);
    void didReceiveOutputDeviceInfos(const QJsonObject &defaultDevice,
                                     const QJsonArray &outputDevice);
    void failedToSetDeviceMute(const QString &deviceName, const QString &deviceID, bool deviceMute);
    void failedToSetDeviceVolume(const QString &deviceName, const QString &deviceID,
                                 int deviceVolume);

signals:
    // One signal a command. Arguments come from the wire unchecked; a key that is missing or of
    // another type has given the empty string, 0, false, or an empty object or array.
    void sigQuitApp();
    void sigGetOutputDeviceInfos();
    void sigGetInputDeviceInfos();
    void sigSetCurrentOutputDevice(QString deviceName, QString deviceID);
    void sigSetCurrentInputDevice(QString deviceName, QString deviceID);
    void sigSwitchOutputDevice(tavoriDeviceType deviceType, QString deviceName, QString deviceID);
    void sigSwitchInputDevice(tavoriDeviceType deviceType, QString deviceName, QString deviceID);
    void sigGetDeviceMute(QString deviceName, QString deviceID);
    void sigSetDeviceMute(QString deviceName, QString deviceID, bool isMute);
    void sigGetDeviceVolume(QString deviceName, QString deviceID);
    void sigSetDeviceVolume(QString deviceName, QString deviceID, uint volume);
    void sigGetInputDeviceMute(QString deviceName, QString deviceID);
    void sigSetInputDeviceMute(QString deviceName, QString deviceID, bool isMute);
    void sigGetInputDeviceVolume(QString deviceName, QString deviceID);
    void sigSetInputDeviceVolume(QString deviceName, QString deviceID, uint volume);
    void sigGetOutputDeviceMute(QString deviceName, QString deviceID);
    void sigSetOutputDeviceMute(QString deviceName, QString deviceID, bool isMute);
    void sigGetOutputDeviceVolume(QString deviceName, QString deviceID);
    void sigSetOutputDeviceVolume(QString deviceName, QString deviceID, uint volume);
    void sigIncreaseDeviceVolume(QString deviceName, QString deviceID, uint singleStep);
    void sigDecreaseDeviceVolume(QString deviceName, QString deviceID, uint singleStep);
    void sigSetControlMode(tavoriSoftwareMode mode);
    void sigSwitchPersonalSynthesizerDevice(QString deviceName, QString deviceID);
    void sigAddToPersonalSynthesizer(QString deviceName, QString deviceID, bool checked);
    void sigSetPersonalSynthesizerDeviceVolume(QString deviceName, QString deviceID, uint volume);
    void sigSetPersonalSynthesizerDeviceMute(QString deviceName, QString deviceID, bool mute);
    void sigSwitchStreamingSynthesizerDevice(QString deviceName, QString deviceID);
    void sigAddToStreamingSynthesizer(QString deviceName, QString deviceID, bool checked);
    void sigSetStreamingSynthesizerDeviceVolume(QString deviceName, QString deviceID, uint volume);
    void sigSetStreamingSynthesizerDeviceMute(QString deviceName, QString deviceID, bool mute);
    void sigSwitchMicrophoneInputDevice(QString deviceName, QString deviceID);
    void sigOpenHidDevice(QJsonObject deviceInfo);
    void sigCloseHidDevice(QJsonObject deviceInfo);
    void sigWriteDataToHidDevice(QJsonObject deviceInfo, QJsonArray dataArray);
    void sigGetInputReportFromHidDevice(QJsonObject deviceInfo);
    void sigSetGamingChatMixEnable(bool isEnable);
    void sigSetGamingChatMixProportion(int gamingMixProportion, int chatMixProportion);
    void sigGetAudioSessionInfos();
    void sigGetDeviceAudioSessionInfos(QString deviceID);
    void sigSetAppDefaultAudioEndpoint(int appProcessID, QString appName, QString audioEndpointID,
                                       QString fromAudioEndpointID, QString deviceType);
    void sigAddOutputDevice(QString outputDeviceName);
    void sigRemoveOutputDevice(QString outputDeviceName);
    void sigFinishSetControlMode(tavoriSoftwareMode mode);
    void sigAddMemoryCheck(uint pid);

public slots:
    void unableToOpenDevice(const QJsonObject &device, const QString &errorString);
    void deviceDidConnect(int vid, int pid, const QString &serialNumber);
    void deviceDidConnect(const QJsonObject &deviceInfo);
    void deviceDidDisconnect(int vid, int pid, const QString &serialNumber);
    void deviceDidDisconnect(const QJsonObject &deviceInfo);
    void receivedFromGetInputReport(const QJsonObject &device, const QJsonArray &data, int result);
    /// Sends each byte of `data` as a signed number, -128 to 127.
    void receivedFromGetFeatureReport(const QJsonObject &device, const QByteArray &data,
                                      int result);
    void hidWriteResult(const QJsonObject &device, int writeResult, const QString &errorString);
    void didReceiveAudioSessionInfos(const QJsonObject &audioSessionInfos);
    void didReceiveDeviceAudioSessionInfos(const QString &deviceID,
                                           const QJsonArray &deviceAudioSessionInfos);
    void audioSessionInfoChanged(const QString &deviceID, const QJsonObject &audioSessionInfo);
    void audioSessionDisplayNameChanged(const QString &deviceID, const QString &audioEndpointID,
                                        const QString &sessionIdentifier,
                                        const QString &sessionInstanceIdentifier,
                                        int sessionProcessId, const QString &sessionProcessName,
                                        const QString &sessionDisplayName);
    void audioSessionIconPathChanged(const QString &deviceID, const QString &audioEndpointID,
                                     const QString &sessionIdentifier,
                                     const QString &sessionInstanceIdentifier, int sessionProcessId,
                                     const QString &sessionProcessName,
                                     const QString &sessionIconPath);
    void audioSessionGroupingParamChanged(const QString &deviceID, const QString &audioEndpointID,
                                          const QString &sessionIdentifier,
                                          const QString &sessionInstanceIdentifier,
                                          int sessionProcessId, const QString &sessionProcessName,
                                          const QString &oldGroupingParam,
                                          const QString &newGroupingParam);
    void audioSessionStateActive(const QString &deviceID, const QString &audioEndpointID,
                                 const QString &sessionIdentifier,
                                 const QString &sessionInstanceIdentifier,
                                 const QString &sessionGroupingParam, int sessionProcessId,
                                 const QString &sessionProcessName,
                                 const QString &sessionProcessFileIcon);
    void audioSessionStateInactive(const QString &deviceID, const QString &audioEndpointID,
                                   const QString &sessionIdentifier,
                                   const QString &sessionInstanceIdentifier,
                                   const QString &sessionGroupingParam, int sessionProcessId,
                                   const QString &sessionProcessName,
                                   const QString &sessionProcessFileIcon);
    void audioSessionStateExpired(const QString &deviceID, const QString &audioEndpointID,
                                  const QString &sessionIdentifier,
                                  const QString &sessionInstanceIdentifier,
                                  const QString &sessionGroupingParam, int sessionProcessId,
                                  const QString &sessionProcessName,
                                  const QString &sessionProcessFileIcon);
    void audioSessionDisconnected(const QString &deviceID, const QString &audioEndpointID,
                                  const QString &sessionIdentifier,
                                  const QString &sessionInstanceIdentifier,
                                  const QString &sessionGroupingParam, int sessionProcessId,
                                  const QString &sessionProcessName,
                                  const QString &disconnectReason);
    void finishSetAppDefaultAudioEndpoint(const QString &appName, const QString &audioEndpointID,
                                          bool success);
    void finishAddOutputDevice(const QString &outputDeviceName);
    void cannotAddOutputDevice(const QString &outputDeviceName);
    void finishRemoveOutputDevice(const QString &outputDeviceName);
    void cannotRemoveOutputDevice(const QString &outputDeviceName);
    void didReceiveSystemUUID(const QString &systemUUID);

private slots:
    void handleNewConnection();
    void onSocketDisconnected();
    void onBinaryMessageReceived(QByteArray message);
    void onTextMessageReceived(QString message);

private:
    friend class CommandTable;

    void ping();
    void replyHeartbeat();
    void replySystemUUID();

    /// Sends one event under the lock; `Row` is its place in the event table.
    template <std::size_t Row, typename... Values>
    void send(const Values &...values);
    /// True if there is a client to send to. The lock must be held, here and in `transmit`.
    [[nodiscard]] bool canSend() const;
    void transmit(const QJsonObject &document);

    // The flag stands first so that it outlives the server, whose end closes the sockets.
    std::atomic<bool> destroying{false};
    QSharedPointer<QWebSocketServer> webSocketServer;
    quint16 listenPort = 24925;
    QPointer<QWebSocket> client;
    QTimer *pingTimer;
    QMutex mutex;
    // No function uses these two; both stay empty.
    QString unusedText;
    QMap<QString, QVariant> unusedMap;
};
