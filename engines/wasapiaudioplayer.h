// Plays a stream of 16-bit PCM blocks to one render endpoint.
#pragma once

#include "engines/sharedslot.h"

#include <QByteArray>
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QString>

#include <atomic>
#include <memory>

class QThread;
class RenderStream;

/// The only way by which sound leaves the program. Shared mode, driven by the endpoint's event,
/// with a bounded queue that drops its oldest bytes first.
///
/// The owner opens, closes, sets and ends it on its own thread; `play` is normally a queued call
/// and runs on the player's worker thread. No failure is reported but by the log: a player that
/// could not be opened, or whose endpoint went away, drops all blocks until the next good open.
/// Volume and queue limit survive a close.
class WASAPIAudioPlayer : public QObject
{
    Q_OBJECT

public:
    /// A closed player. Its end closes it and waits at most 100 ms for the worker thread; a
    /// worker that is held up for longer deletes the player later.
    [[nodiscard]] static QSharedPointer<WASAPIAudioPlayer> create();

    /// Limit of the queue in ms, 0 for none; it counts from the next open on.
    void setMaximumAudioDataDuration(int ms);
    /// The channel in whose service the player is; it only labels log lines.
    void setDeviceType(int type);

    /// ID and name of the endpoint of the last open, good or bad; empty after a close.
    [[nodiscard]] QString deviceID() const;
    [[nodiscard]] QString deviceName() const;

signals:
    /// Declared for the owners' sake; nothing emits it.
    void sigFaildToOpenDevice(int deviceTpye, QString deviceName, QString deviceID, int errorCode,
                              QString errorString);

public slots:
    /// Closes what is open, then opens the endpoint with this ID.
    void openDevice(QString deviceID, QString deviceName);
    /// Returns within 500 ms and a little, also when the endpoint hangs.
    void closeDevice();
    /// Linear gain, clamped to 0.0 .. 1.0. Any thread.
    void setVolume(float fVolume);
    [[nodiscard]] float getVolume() const;
    /// Queues a block of interleaved 16-bit samples at `sampleRate` Hz, converting it if the
    /// endpoint runs differently. Dropped while the player is not playing.
    void play(QByteArray frame, int sampleRate, int channels);
    /// Drops what is queued. Any thread.
    void clearPlayBuffer();

private:
    WASAPIAudioPlayer();
    ~WASAPIAudioPlayer() override;
    static void end(WASAPIAudioPlayer *player);

    std::unique_ptr<QThread> workerThread; ///< the object lives on it
    mutable QMutex deviceMutex;            ///< guards open and close and the two strings
    QString currentDeviceID;
    QString currentDeviceName;
    std::atomic<int> maximumAudioDataDuration{0};
    std::unique_ptr<QThread> playThread; ///< from open to close
    /// Shared with the play thread, which may outlive the player for a moment.
    std::shared_ptr<std::atomic<float>> volume;
    SharedSlot<RenderStream> stream; ///< null while closed
    std::atomic<int> deviceType{0};
    bool workerHasPriority = false; ///< asked for at the first good open
};
