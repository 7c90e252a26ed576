#include "engines/playerslot.h"

#include <QMetaObject>

void PlayerSlot::set(const QSharedPointer<WASAPIAudioPlayer> &replacement)
{
    QSharedPointer<WASAPIAudioPlayer> previous = replacement;
    {
        const QMutexLocker locker(&mutex);
        attached.swap(previous);
    }
    // The previous player, if this was its last owner, ends here: outside the lock.
}

void PlayerSlot::play(const QByteArray &block, int sampleRate, int channels)
{
    if (!mutex.tryLock())
        return;
    // Posting under the lock keeps the player alive until its owner's `set` gets through.
    if (WASAPIAudioPlayer *target = attached.get()) {
        QMetaObject::invokeMethod(
            target,
            [target, block, sampleRate, channels] { target->play(block, sampleRate, channels); },
            Qt::QueuedConnection);
    }
    mutex.unlock();
}
