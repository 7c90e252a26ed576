// The thread that pumps a virtual speaker's sound from the driver to the real outputs.
#pragma once

#include "common/tavoritypes.h"
#include "platform/coreaudio.h"
#include "streams/drivercommand.h"
#include "streams/gainrules.h"

#include <QList>
#include <QMutex>
#include <QSharedPointer>
#include <QThread>

#include <atomic>
#include <memory>

class AudioRecorder;
class WASAPIAudioPlayer;

/// Reads blocks of 48000 Hz stereo 16-bit PCM from one device file and hands each to the players
/// that the control mode calls for. Started once and never again.
///
/// Everything but `run` is called on the controller's thread. `run` takes no lock: it reads relaxed
/// flags and plain player pointers, and a stale one costs a block.
class tavoriGetSpeakerDataThread : public QThread
{
    Q_OBJECT

public:
    using PlayerPointer = QSharedPointer<WASAPIAudioPlayer>;

    explicit tavoriGetSpeakerDataThread(QObject *parent = nullptr);
    ~tavoriGetSpeakerDataThread() override;

    /// True from the construction to the start, and again from the stop request on.
    [[nodiscard]] bool isStopped() const;
    void setStopped(bool stopped);

    /// What to read from; before the start only. The handle stays the caller's.
    void setDevice(HANDLE deviceHandle, tavoriDeviceType deviceType);

    void setControlMode(tavoriSoftwareMode mode, bool changing);
    /// While true no block goes to any player.
    void setControlModeChanging(bool changing);

    void addPersonalSynthesizer(bool add);
    void addStreamingSynthesizer(bool add);

    // Each swaps the player, which receives its gain at once. Null is legal. A player that was
    // ever set lives on until this object's end or `releaseOutputs`.
    void setAudioOutput(const PlayerPointer &output);
    void setPersonalSynthesizerOutput(const PlayerPointer &output);
    void setStreamingSynthesizerOutput(const PlayerPointer &output);
    /// Lets all players go; after the thread's end only.
    void releaseOutputs();

    // Volumes are linear gains.
    void setMute(bool mute);
    void setVolume(double volume);
    void setPersonalMute(bool mute);
    void setPersonalVolume(double volume);
    void setStreamingMute(bool mute);
    void setStreamingVolume(double volume);
    void setStreamSpeakerMute(bool mute);
    void setStreamSpeakerVolume(double volume);

    [[nodiscard]] bool isRecording() const;
    /// From now on the recorder receives every block too; into a WAV file of this path.
    void startRecord(const QString &filePath);
    /// The file is complete when this returns.
    void stopRecord();

signals:
    void sigPrintfLog(QString logMessage);
    void sigDeviceNotOpen();

protected:
    void run() override;

private:
    /// One of the three outputs, as setters and the read loop share it.
    struct Output
    {
        PlayerPointer player;                       ///< of the setters, under m_outputMutex
        std::atomic<WASAPIAudioPlayer *> current{}; ///< of the read loop
    };

    enum StreamingScope
    {
        AnyEndpoint,
        StreamEndpointOnly
    };

    [[nodiscard]] QByteArray readBlock(ReadBlock &buffer) const;
    void fanOut(const QByteArray &block) const;
    /// Hands a block to a player's worker thread. The block is shared, not copied.
    static void sendTo(const Output &output, const QByteArray &block);
    void record(const QByteArray &block) const;

    void setOutput(Output &output, const PlayerPointer &player);
    void applyGain(Output &output, float gain);
    void applyStreamingGain(StreamingScope scope);

    std::atomic<bool> m_isStopped{true};
    std::atomic<bool> m_controlModeChanging{false};
    std::atomic<tavoriSoftwareMode> m_softwareMode{NormalMode};
    HANDLE m_deviceHandle = INVALID_HANDLE_VALUE;
    tavoriDeviceType m_deviceType = tavoriNoDevice;

    std::atomic<bool> m_isRecording{false};
    QString m_recordFilePath;
    QSharedPointer<AudioRecorder> m_audioRecorder; ///< never null

    bool m_isMute = false;
    double m_volume = 1.0;
    Output m_audioOutput;

    std::atomic<bool> m_addPersonalSynthesizer{true};
    double m_personalVolume = 1.0;
    std::atomic<bool> m_personalMute{false};
    Output m_personalSynthesizerOutput;

    std::atomic<bool> m_addStreamingSynthesizer{false};
    std::atomic<bool> m_streamingMute{false}; ///< for the read loop
    StreamingLevel m_streaming;
    Output m_streamingSynthesizerOutput;

    QMutex m_outputMutex; ///< the player pointers of the setters

    /// Every player that the read loop may still be holding by its plain pointer.
    QList<PlayerPointer> m_everAttached;
};
