// Records blocks of PCM to a WAV file.
#pragma once

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QTemporaryFile>
#include <QThread>

#include <atomic>
#include <memory>

/// Collects raw PCM in a temporary file on a thread of its own and writes the WAV at the end, when
/// the length is known. No failure is reported: what cannot be written is dropped.
class AudioRecorder : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AudioRecorder)

public:
    /// `sampleRate` in Hz. The parent must be null, since the object moves to its own thread.
    AudioRecorder(int channels, int bitsPerSample, int sampleRate, QObject *parent);
    /// As the constructor, without a parent. Its end, on the owner's thread, finishes a recording
    /// that still runs and waits at most 100 ms for the recorder's thread; one that is held up for
    /// longer deletes the recorder later.
    [[nodiscard]] static QSharedPointer<AudioRecorder> create(int channels, int bitsPerSample,
                                                              int sampleRate);

    /// Begins a recording that will become this WAV file; nothing while one runs. One that is being
    /// finished is complete first. On the owner's thread.
    void startAudioRecord(const QString &filePath);

public slots:
    /// Takes a block while a recording runs. By queued call, on the recorder's thread.
    void addAudioData(QByteArray audioData);
    /// Ends the recording and writes the file. On the owner's thread, whose events are handled
    /// while the blocks that were already taken are written.
    void finishAudioRecord();

private slots:
    void writeAudioData();

private:
    ~AudioRecorder() override;
    static void end(AudioRecorder *recorder);
    // Both under the mutex.
    void writeFirstBlock();
    /// Writes what is left of the queue, and the file; nothing while idle.
    void completeRecord();
    void writeWavFile();

    const int m_channels;
    const int m_bitsPerSample;
    const int m_sampleRate;
    QString m_filePath;
    std::atomic<bool> m_isRecording{false};
    QFile *m_outputFile;                        ///< child; the WAV
    QMutex m_mutex;                             ///< the queue and both files
    std::unique_ptr<QTemporaryFile> m_tempFile; ///< the PCM; null while idle
    QList<QByteArray> m_audioDataQueue;
    /// The queue's length, for the wait that reads it without the mutex.
    std::atomic<qsizetype> m_waitingBlocks{0};
    int m_recordNumber = 0;            ///< of the latest; of the owner's thread
    std::unique_ptr<QThread> m_thread; ///< the object lives on it
};
