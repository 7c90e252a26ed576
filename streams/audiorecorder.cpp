#include "streams/audiorecorder.h"

#include "platform/signalstack.h"
#include "platform/threads.h"
#include "streams/wavheader.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

AudioRecorder::AudioRecorder(int channels, int bitsPerSample, int sampleRate, QObject *parent)
    : QObject(parent), m_channels(channels), m_bitsPerSample(bitsPerSample),
      m_sampleRate(sampleRate), m_outputFile(new QFile(this)), m_thread(std::make_unique<QThread>())
{
    moveToThread(m_thread.get());
    SignalStack::provideTo(*m_thread);
    m_thread->start(QThread::InheritPriority);
}

AudioRecorder::~AudioRecorder() = default;

QSharedPointer<AudioRecorder> AudioRecorder::create(int channels, int bitsPerSample, int sampleRate)
{
    return {new AudioRecorder(channels, bitsPerSample, sampleRate, nullptr), &AudioRecorder::end};
}

void AudioRecorder::end(AudioRecorder *recorder)
{
    recorder->finishAudioRecord();
    endOnItsThread(recorder, std::move(recorder->m_thread));
}

void AudioRecorder::startAudioRecord(const QString &filePath)
{
    if (m_isRecording)
        return;
    const QMutexLocker locker(&m_mutex);
    // One that is still being finished: an event that its finish handled led to this call.
    completeRecord();
    ++m_recordNumber;
    m_filePath = filePath;
    m_outputFile->setFileName(filePath);
    m_outputFile->open(QIODevice::ReadWrite);
    m_tempFile = std::make_unique<QTemporaryFile>();
    m_tempFile->open();
    m_isRecording = true;
}

void AudioRecorder::addAudioData(QByteArray audioData)
{
    if (!m_isRecording)
        return;
    const QMutexLocker locker(&m_mutex);
    m_audioDataQueue.append(audioData);
    m_waitingBlocks = m_audioDataQueue.size();
    QTimer::singleShot(0, this, &AudioRecorder::writeAudioData);
}

void AudioRecorder::writeAudioData()
{
    const QMutexLocker locker(&m_mutex);
    if (!m_audioDataQueue.isEmpty())
        writeFirstBlock();
}

void AudioRecorder::writeFirstBlock()
{
    const QByteArray block = m_audioDataQueue.takeFirst();
    m_waitingBlocks = m_audioDataQueue.size();
    if (m_tempFile && m_tempFile->isOpen()) {
        m_tempFile->write(block);
        m_tempFile->flush();
    }
}

void AudioRecorder::finishAudioRecord()
{
    if (!m_isRecording.exchange(false))
        return;
    const int record = m_recordNumber;
    while (m_recordNumber == record && m_waitingBlocks > 0)
        QCoreApplication::processEvents();
    if (m_recordNumber != record)
        return;
    // The last block has left the queue; the mutex waits for its writing.
    const QMutexLocker locker(&m_mutex);
    completeRecord();
}

void AudioRecorder::completeRecord()
{
    while (!m_audioDataQueue.isEmpty())
        writeFirstBlock();
    writeWavFile();
    m_tempFile.reset();
}

void AudioRecorder::writeWavFile()
{
    for (const QFile *file : {static_cast<QFile *>(m_tempFile.get()), m_outputFile}) {
        if (!file || file->fileName().isEmpty() || !file->isOpen())
            return;
    }
    m_tempFile->flush();
    m_tempFile->seek(0);
    const QByteArray data = m_tempFile->readAll();
    m_tempFile->close();

    m_outputFile->write(
        wavHeader(m_channels, m_bitsPerSample, m_sampleRate, static_cast<quint32>(data.size())));
    m_outputFile->write(data);
    m_outputFile->flush();
    m_outputFile->close();
}
