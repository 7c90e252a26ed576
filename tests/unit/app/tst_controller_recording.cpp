// What happens to a recording while it is being finished: events are handled meanwhile.
#include "platform/simulated/calls.h"
#include "platform/simulated/devicefiles.h"
#include "platform/simulated/endpoints.h"
#include "platform/simulated/notifications.h"
#include "streams/audiorecorder.h"
#include "tests/support/threadqueue.h"
#include "tests/unit/app/channelfeed.h"
#include "tests/unit/app/controllerfixture.h"
#include "tests/unit/streams/recordingsupport.h"

#include <QApplication>
#include <QComboBox>
#include <QPointer>
#include <QPushButton>
#include <QSemaphore>
#include <QTest>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

namespace
{
/// The recorder that had something to do last: nobody else tells where a channel has its own.
std::atomic<AudioRecorder *> busyRecorder{nullptr};

class WatchingApplication : public QApplication
{
public:
    using QApplication::QApplication;
    bool notify(QObject *receiver, QEvent *event) override
    {
        if (event->type() == QEvent::MetaCall && qobject_cast<AudioRecorder *>(receiver))
            busyRecorder = static_cast<AudioRecorder *>(receiver);
        return QApplication::notify(receiver, event);
    }
};

/// Lets a recorder take a block, and stalls its thread before the block is written.
class StalledRecorder
{
public:
    StalledRecorder(AudioRecorder *recorder, const QByteArray &block) : recorder(recorder)
    {
        QMetaObject::invokeMethod(
            recorder,
            [recorder, block, state = state] {
                recorder->addAudioData(block);
                state->taken.release();
                state->goOn.tryAcquire(1, queueMs);
            },
            Qt::QueuedConnection);
        if (!state->taken.tryAcquire(1, queueMs))
            qFatal("the recorder does not come to what is queued for it");
    }
    ~StalledRecorder() { goOn(); }
    StalledRecorder(const StalledRecorder &) = delete;
    StalledRecorder &operator=(const StalledRecorder &) = delete;

    /// Returns when the thread has done what it was behind with.
    void goOn()
    {
        if (std::exchange(isGoingOn, true))
            return;
        // Behind all that the thread was told meanwhile, and gone with the recorder.
        const auto caughtUp = std::make_shared<QSemaphore>();
        std::shared_ptr<void> mark(nullptr, [caughtUp](void *) { caughtUp->release(); });
        QMetaObject::invokeMethod(
            recorder, [mark = std::move(mark)] {}, Qt::QueuedConnection);
        state->goOn.release();
        if (!caughtUp->tryAcquire(1, queueMs))
            qFatal("the recorder does not come to what is queued for it");
        if (!recorder)
            qFatal("the recorder has gone before its recording was finished");
    }

private:
    struct State
    {
        QSemaphore taken;
        QSemaphore goOn;
    };
    const QPointer<AudioRecorder> recorder;
    const std::shared_ptr<State> state = std::make_shared<State>();
    bool isGoingOn = false;
};

/// A controller that records a channel, one block of it written and another one taken.
class Recording : public ControllerFixture
{
public:
    explicit Recording(tavoriDeviceType type) : file(channelOfType(type)->fileSuffix)
    {
        // An endpoint that start-up cannot hide is there to be chosen.
        simulated::setState(renderId(type), DEVICE_STATE_ACTIVE);
        simulated::failAlways("IPolicyConfig::SetEndpointVisibility", E_FAIL);
        start();
        simulated::clearFaults();
        if (type == tavoriBrowser) {
            send("addOutputDevice", {{"outputDeviceName", "Browser"}});
            (void)waitForEvent("finishAddOutputDevice");
        }
        auto *combo = widget->findChild<QComboBox *>();
        combo->setCurrentIndex(combo->findText(channelOfType(type)->fullName()));
        button = widget->findChild<QPushButton *>();
        button->click();
        record(first);
        stalled = std::make_unique<StalledRecorder>(busyRecorder.load(), second);
        log.clear();
    }

    /// Returns when the block is written.
    void record(const QByteArray &block)
    {
        simulated::queueAudio(file, block);
        QTRY_COMPARE_WITH_TIMEOUT(directory.temporaries(), QList<qint64>({block.size()}), queueMs);
    }

    /// Ends the recording by a click; its writing goes on when this line has been logged.
    void finishBeyond(const QString &line)
    {
        QTimer watch;
        QObject::connect(&watch, &QTimer::timeout, &watch, [&] {
            if (!log.lines().contains(line))
                return;
            watch.stop();
            // What a handler lets go is deleted by events that are posted now.
            QTimer::singleShot(0, &watch, [this] { stalled->goOn(); });
        });
        watch.start(1);
        button->click();
        stalled->goOn(); // a recording that was ended otherwise did not wait for it
    }

    const QByteArray first = blockOf(1, 480);
    const QByteArray second = blockOf(2, 480);
    const QString file;
    QPushButton *button = nullptr;

private:
    const WorkingDirectory directory;
    std::unique_ptr<StalledRecorder> stalled;
};
} // namespace

class ControllerRecordingTest : public QObject
{
    Q_OBJECT

private slots:
    void aChannelThatClosesMeanwhileKeepsItsRecording_data()
    {
        QTest::addColumn<std::function<void(Recording &)>>("close");
        QTest::addColumn<QString>("handled");
        const auto row = [](const char *name, const QString &handled,
                            const std::function<void(Recording &)> &close) {
            QTest::newRow(name) << close << handled;
        };
        row("removed by the client", "Info: onRemoveOutputDevice() : end",
            [](Recording &recording) {
                recording.send("removeOutputDevice", {{"outputDeviceName", "Browser"}});
            });
        row("its endpoint left", "Info: onDeviceRemoved() : end", [](Recording &recording) {
            simulated::notifyDeviceRemoved(recording.renderId(tavoriBrowser));
        });
    }

    void aChannelThatClosesMeanwhileKeepsItsRecording()
    {
        QFETCH(const std::function<void(Recording &)>, close);
        QFETCH(const QString, handled);
        Recording recording(tavoriBrowser);
        QCOMPARE(simulated::openDeviceFiles(recording.file), 1);
        close(recording);
        recording.finishBeyond(handled);
        QVERIFY(recording.log.lines().contains(handled));
        QCOMPARE(simulated::openDeviceFiles(recording.file), 0);
        QCOMPARE(recording.button->text(), "Start Record");
        QCOMPARE(WorkingDirectory::recordings().size(), 1);
        QCOMPARE(contentOf(WorkingDirectory::recordings().first()),
                 wavOf(recording.first + recording.second));
    }

    void aRecordingThatBeginsMeanwhileLeavesTheOldOneWhole()
    {
        Recording recording(tavoriGame);
        QTimer::singleShot(0, recording.button, &QPushButton::click);
        recording.finishBeyond("Info: Start audio record.");
        QCOMPARE(recording.button->text(), "Stop Record");
        recording.record(blockOf(3, 480));
        recording.button->click();
        QCOMPARE(recording.button->text(), "Start Record");
        QCOMPARE(WorkingDirectory::recordings().size(), 2);
        QCOMPARE(contentOf(WorkingDirectory::recordings().first()),
                 wavOf(recording.first + recording.second));
        QCOMPARE(contentOf(WorkingDirectory::recordings().last()), wavOf(blockOf(3, 480)));
    }

    void aRecordingCanBeginAndEndMeanwhile()
    {
        Recording recording(tavoriGame);
        QTimer::singleShot(0, recording.button, [&recording] {
            recording.button->click();
            recording.button->click();
            qInfo() << "clicked twice";
        });
        recording.finishBeyond("Info: clicked twice");
        QCOMPARE(recording.button->text(), "Start Record");
        QCOMPARE(WorkingDirectory::recordings().size(), 2);
        QCOMPARE(contentOf(WorkingDirectory::recordings().first()),
                 wavOf(recording.first + recording.second));
        QCOMPARE(contentOf(WorkingDirectory::recordings().last()), wavOf({}));
    }

    void aQuitWaitsForTheRecording()
    {
        Recording recording(tavoriGame);
        QTimer::singleShot(0, recording.button, [&recording] {
            recording.send("quitApp");
            recording.finishBeyond("Info: onQuitApp() : end");
        });
        QCOMPARE(QCoreApplication::exec(), 0);
        const QStringList lines = recording.log.lines();
        const auto asked = lines.indexOf("Info: onQuitApp() : end");
        const auto stopped = lines.indexOf("Info: Stop audio record.");
        QVERIFY(asked >= 0);
        QVERIFY(stopped > asked);
        QVERIFY(lines.indexOf("Info: About to quit - begin") > stopped);
        QCOMPARE(WorkingDirectory::recordings().size(), 1);
        QCOMPARE(contentOf(WorkingDirectory::recordings().first()),
                 wavOf(recording.first + recording.second));
    }
};

int main(int argc, char **argv)
{
    WatchingApplication application(argc, argv);
    ControllerRecordingTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_controller_recording.moc"
