// The channel of a virtual speaker.
#pragma once

#include "common/tavoritypes.h"
#include "platform/coreaudio.h"

#include <QObject>
#include <QSharedPointer>
#include <QString>

class WASAPIAudioPlayer;
class tavoriGetSpeakerDataThread;

/// Owns the device file of a virtual speaker, the thread that reads it while it is open, and the
/// three players that its sound may go to. Flags, volumes and players survive a close. Used on the
/// controller's thread alone. Percents are 0 to 100.
class tavoriOutputDevice : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(tavoriOutputDevice)

public:
    explicit tavoriOutputDevice(QObject *parent = nullptr);
    ~tavoriOutputDevice() override;

    /// True when the file is open. A device that is already open is closed first. The read thread
    /// starts for the types 1 to 7 alone.
    bool openDevice(const wchar_t *devicePath, tavoriDeviceType deviceType);
    /// Legal on a closed object. Waits at most 100 ms for the read thread.
    void closeDevice();

    /// Sends a command block to the driver; nothing on a closed object.
    void sendDriverCommand(uchar deviceType, uchar command);

    void setDeviceName(const QString &deviceName) { m_deviceName = deviceName; }
    void setDeviceID(const QString &deviceID) { m_deviceID = deviceID; }
    [[nodiscard]] tavoriDeviceType deviceType() const { return m_deviceType; }
    [[nodiscard]] QString devicePath() const { return m_devicePath; }
    [[nodiscard]] QString deviceName() const { return m_deviceName; }
    [[nodiscard]] QString deviceID() const { return m_deviceID; }

    void startRecord();
    void stopRecord();

    // Each opens its output on a real endpoint; only while the read thread exists.
    void initAudioOutput(const QString &deviceID, const QString &deviceName, HWND window);
    void initPersonalSynthesizerAudioOutput(const QString &deviceID, const QString &deviceName,
                                            HWND window);
    void initStreamingSynthesizerAudioOutput(const QString &deviceID, const QString &deviceName,
                                             HWND window);

    // Each opens its output anew if it is on that endpoint.
    void reopenAudioOutput(const QString &deviceID, const QString &deviceName, HWND window);
    void reopenPersonalSynthesizerOutput(const QString &deviceID, const QString &deviceName,
                                         HWND window);
    void reopenStreamingSynthesizerOutput(const QString &deviceID, const QString &deviceName,
                                          HWND window);

    /// An endpoint left: closes the whole device if it is its own, else the outputs on it.
    void closeOutputsOnEndpoint(const QString &deviceID);

    /// Mute and volume percent of the virtual endpoint; only if `deviceID` is this device's own.
    void setOutputLevel(const QString &deviceID, bool mute, int volume);

    void addPersonalSynthesizer(bool add);
    void addStreamingSynthesizer(bool add);
    void setPersonalMute(bool mute);
    void setPersonalVolume(int percent);
    void setStreamingMute(bool mute);
    void setStreamingVolume(int percent);
    void setStreamSpeakerMute(bool mute);
    void setStreamSpeakerVolume(int percent);

    void setGamingChatMixEnable(bool enable);
    /// -100 to 100 in use; nothing clamps it.
    void setGamingChatMixProportion(int proportion);

    void setControlMode(tavoriSoftwareMode mode, bool changing);
    void finishControlMode();

    // The three outputs, for whoever watches them.
    [[nodiscard]] QSharedPointer<WASAPIAudioPlayer> audioOutput() const { return m_audioOutput; }
    [[nodiscard]] QSharedPointer<WASAPIAudioPlayer> personalSynthesizerOutput() const
    {
        return m_personalSynthesizerOutput;
    }
    [[nodiscard]] QSharedPointer<WASAPIAudioPlayer> streamingSynthesizerOutput() const
    {
        return m_streamingSynthesizerOutput;
    }

signals:
    void sigPrintfLog(QString logMessage);
    void sigGetAudioData(QString deviceID, QByteArray audioData);

private:
    using PlayerPointer = QSharedPointer<WASAPIAudioPlayer>;
    using AttachOutput = void (tavoriGetSpeakerDataThread::*)(const PlayerPointer &);

    void startSpeakerThread();
    void stopSpeakerThread();
    void handOverState();
    void initOutput(const char *caller, PlayerPointer &player, AttachOutput attach,
                    const QString &deviceID, const QString &deviceName);
    void closeOutputOnEndpoint(const PlayerPointer &player, AttachOutput attach,
                               const QString &deviceID);
    [[nodiscard]] double mixedVolume(double volume) const;

    bool m_controlModeChanging = false;
    tavoriSoftwareMode m_softwareMode = NormalMode;
    QString m_devicePath;
    HANDLE m_deviceHandle = INVALID_HANDLE_VALUE;
    tavoriDeviceType m_deviceType = tavoriNoDevice;
    QString m_deviceName;
    QString m_deviceID;
    bool m_isRecording = false;
    /// Exists while a speaker is open; letting it go retires it.
    QSharedPointer<tavoriGetSpeakerDataThread> m_speakerThread;
    bool m_isMute = false;
    double m_volume = 1.0;
    bool m_addPersonalSynthesizer = true;
    double m_personalVolume = 1.0;
    bool m_personalMute = false;
    bool m_addStreamingSynthesizer = false;
    double m_streamingVolume = 1.0;
    bool m_streamingMute = false;
    bool m_gamingChatMixEnable = false;
    int m_gamingChatMixProportion = 0;
    PlayerPointer m_audioOutput;
    PlayerPointer m_personalSynthesizerOutput;
    PlayerPointer m_streamingSynthesizerOutput;
    double m_streamSpeakerVolume = 1.0;
    bool m_streamSpeakerMute = false;
};
