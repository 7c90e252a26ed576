// Takes the sound of one real capture endpoint and passes it on to up to three players.
#pragma once

#include "common/tavoritypes.h"
#include "engines/playerslot.h"

#include <QByteArray>
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QString>

#include <atomic>
#include <memory>

class CaptureStream;
class QThread;
class QTimer;

/// There is one in the program; it runs for the microphone. The controller opens the players and
/// attaches them here; outputs, gains and flags survive a stop.
///
/// Setters and `restartCapture` are called from the controller's thread, which also ends the
/// object; `onGetInputData` runs on the worker thread that the object lives on. No failure is
/// reported but by the log: a capture that ended by an error stays so until `stopCapture` or
/// `restartCapture`.
class WASAPIMicrophoneCapturer : public QObject
{
    Q_OBJECT

public:
    /// An idle capturer. Its end stops it and waits at most 100 ms for the worker thread; a worker
    /// that is held up for longer deletes the capturer later.
    [[nodiscard]] static QSharedPointer<WASAPIMicrophoneCapturer> create();

    /// Stops, takes up the endpoint and starts. Always 0.
    int restartCapture(QString deviceID, QString deviceName, int channels);
    /// Stops if this is the endpoint in use; for an endpoint that left.
    void stopOnEndpoint(const QString &deviceID);
    /// ID of the endpoint in use or last in use; empty before the first.
    [[nodiscard]] QString deviceID() const;
    /// Packets kept in a round of the capture thread; 0 for no limit.
    void setMaximumPacketCount(int count);

    /// While `changing`, nothing is passed on: packets are lost, not held.
    void setControlMode(tavoriSoftwareMode mode, bool changing);
    void finishControlMode();

    /// Whether the microphone takes part in a mix; both count in `StreamerMode` only.
    void addPersonalSynthesizer(bool checked);
    void addStreamingSynthesizer(bool checked);

    /// Attach a player and give it its gain; null detaches. Once they return, the player that
    /// was attached before gets no more blocks.
    void setAudioOutput(const QSharedPointer<WASAPIAudioPlayer> &player);
    void setPersonalSynthesizerOutput(const QSharedPointer<WASAPIAudioPlayer> &player);
    void setStreamingSynthesizerOutput(const QSharedPointer<WASAPIAudioPlayer> &player);

    /// Volumes in percent. The volume of the audio and of the personal output goes to the player
    /// without a look at the mute, so a change during a mute sounds until the next mute.
    void setMute(bool mute);
    void setVolume(int percent);
    void setPersonalMute(bool mute);
    void setPersonalVolume(int percent);
    void setStreamingMute(bool mute);
    void setStreamingVolume(int percent);
    /// The level of the stream speaker; it sounds only while the streaming player is on that
    /// endpoint.
    void setStreamSpeakerMute(bool mute);
    void setStreamSpeakerVolume(int percent);

signals:
    /// All declared for their listeners' sake; nothing emits them.
    void sigPrintfLog(QString logMessage);
    void sigGetInputData(QByteArray audioData);
    void sigGetInputData(QByteArray audioData, int sampleRate, int channels);
    void sigFaildToOpenDevice(int deviceTpye, QString deviceName, QString deviceID, int errorCode,
                              QString errorString);

public slots:
    void startCapture();
    void stopCapture();
    /// Stops and tries again after 1500 ms.
    void stopCapture(long errCode, QString errString);
    /// Passes a packet on to the outputs of the present mode.
    void onGetInputData(QByteArray audioData, int sampleRate, int channels);

private:
    WASAPIMicrophoneCapturer();
    ~WASAPIMicrophoneCapturer() override;
    static void end(WASAPIMicrophoneCapturer *capturer);

    void stopLocked();
    [[nodiscard]] bool isOnStreamSpeaker() const;
    void applyStreamingGain();

    std::unique_ptr<QThread> workerThread; ///< the object lives on it
    mutable QMutex captureMutex;           ///< guards start, stop and the two strings
    QString currentDeviceID;
    QString currentDeviceName;
    int channels = 2; ///< until the endpoint tells its own
    /// Shared with the capture thread, which may outlive the capturer for a moment.
    std::shared_ptr<std::atomic<int>> maximumPacketCount;
    std::shared_ptr<CaptureStream> capture; ///< from start to stop, whatever became of its thread
    std::unique_ptr<QThread> captureThread;
    std::unique_ptr<QTimer> retryTimer; ///< null once the end has begun
    bool isRetryArmed = false;
    bool workerHasPriority = false; ///< asked for at the first start of a capture

    std::atomic<bool> controlModeChanging{false};
    std::atomic<tavoriSoftwareMode> softwareMode{NormalMode};

    QMutex outputMutex; ///< guards the players' pointers against the gain setters
    double volume = 1.0;
    bool isMute = false;
    PlayerSlot audioOutput;
    std::atomic<bool> inPersonalMix{false};
    double personalVolume = 1.0;
    std::atomic<bool> personalMute{false};
    PlayerSlot personalSynthesizerOutput;
    std::atomic<bool> inStreamingMix{false};
    double streamingVolume = 1.0;
    std::atomic<bool> streamingMute{false};
    PlayerSlot streamingSynthesizerOutput;
    double streamSpeakerVolume = 1.0;
    bool streamSpeakerMute = false;
};
