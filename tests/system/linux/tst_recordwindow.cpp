// The diagnostic window on a real screen: the endpoint is chosen, the button clicked, and the file
// holds what an application played. The X server is the test's own.
#include "app/quorvanewidget.h"
#include "common/channels.h"
#include "tests/support/logcapture.h"
#include "tests/system/linux/privateserver.h"
#include "tests/unit/streams/recordingsupport.h"

#include <QApplication>
#include <QComboBox>
#include <QPushButton>
#include <QScreen>
#include <QTest>

#include <cmath>
#include <numbers>
#include <numeric>

namespace
{
constexpr int rate = 48000;
constexpr int frameBytes = 4;
constexpr int headerBytes = 44;
constexpr int toneHertz = 440;
constexpr double toneAmplitude = 0.25;

/// An X server without a screen, which ends with the object.
class XServer
{
public:
    /// Its display's name, such as ":7"; empty if it did not come up.
    QString start()
    {
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start("Xvfb",
                      {"-displayfd", "1", "-screen", "0", "800x600x24", "-nolisten", "tcp"});
        while (!process.canReadLine()) {
            if (!process.waitForReadyRead(30000))
                return {};
        }
        return ':' + QString::fromLatin1(process.readLine().trimmed());
    }
    ~XServer()
    {
        process.terminate();
        process.waitForFinished();
    }

private:
    QProcess process;
};

/// The amplitude of the tone in the left channel of frames of 16 bits.
double toneIn(const QByteArray &frames)
{
    const auto *samples = reinterpret_cast<const qint16 *>(frames.constData());
    const qsizetype count = frames.size() / frameBytes / rate * rate; // whole periods
    double real = 0;
    double imaginary = 0;
    for (qsizetype frame = 0; frame < count; ++frame) {
        const double angle = 2 * std::numbers::pi * toneHertz * double(frame) / rate;
        real += samples[2 * frame] * std::cos(angle);
        imaginary += samples[2 * frame] * std::sin(angle);
    }
    return 2 * std::hypot(real, imaginary) / double(count) / 32768;
}

qint64 recordedSoFar(const WorkingDirectory &directory)
{
    const QList<qint64> sizes = directory.temporaries();
    return std::accumulate(sizes.begin(), sizes.end(), qint64(0));
}
} // namespace

class RecordWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(QProcess::execute(MAKE_TONE, {QString::number(toneHertz), "60", "tone.wav",
                                              QString::number(toneAmplitude)}) == 0);
        tone = QDir::current().filePath("tone.wav");
        QVERIFY(QDir().mkpath(ARTEFACTS));
    }

    void playedToneIsInTheFile()
    {
        const WorkingDirectory directory;
        QuorvaneWidget window;
        QVERIFY(show(window, tavoriGame));
        QProcess player;
        player.start("paplay", {"--device=" + channelOfType(tavoriGame)->renderSuffix, tone});
        QVERIFY(player.waitForStarted());

        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(button->text(), "Stop Record");
        // The start of the player is silent; a whole second of the rest is measured.
        QTRY_VERIFY_WITH_TIMEOUT(recordedSoFar(directory) > 3 * rate * frameBytes, 30000);
        QVERIFY(window.screen()->grabWindow(0).save(ARTEFACTS "/record-window.png"));
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(button->text(), "Start Record");
        player.terminate();
        QVERIFY(player.waitForFinished());

        QCOMPARE(WorkingDirectory::recordings().size(), 1);
        const QString name = WorkingDirectory::recordings().first();
        QVERIFY2(name.startsWith("game-"), qPrintable(name));
        const QByteArray file = contentOf(name);
        const QByteArray sound = file.mid(headerBytes);
        QCOMPARE(file.left(headerBytes), wavHeader(2, 16, rate, quint32(sound.size())));
        const double amplitude = toneIn(sound.right(rate * frameBytes));
        QVERIFY2(std::abs(amplitude - toneAmplitude) < 0.005,
                 qPrintable(QString::number(amplitude)));
        QVERIFY(QFile::copy(name, QStringLiteral(ARTEFACTS "/record-window.wav")) ||
                QFile::exists(ARTEFACTS "/record-window.wav"));
    }

    void recordingOfASilentSpeakerIsAnEmptyFile()
    {
        const WorkingDirectory directory;
        QuorvaneWidget window;
        QVERIFY(show(window, tavoriChat));
        QTest::mouseClick(button, Qt::LeftButton);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(WorkingDirectory::recordings().size(), 1);
        QCOMPARE(contentOf(WorkingDirectory::recordings().first()), wavHeader(2, 16, rate, 0));
    }

private:
    /// Shows the window and chooses a channel in its box by the keyboard.
    bool show(QuorvaneWidget &window, tavoriDeviceType type)
    {
        window.show();
        if (!QTest::qWaitForWindowExposed(&window))
            return false;
        combo = window.findChild<QComboBox *>();
        button = window.findChild<QPushButton *>();
        const int wanted = combo->findText(channelOfType(type)->fullName());
        if (wanted < 0)
            return false;
        QTest::keyClick(combo, Qt::Key_Home);
        for (int index = 0; index < wanted; ++index)
            QTest::keyClick(combo, Qt::Key_Down);
        return combo->currentIndex() == wanted;
    }

    const LogCapture log; ///< keeps the program's lines out of the test's
    QString tone;
    QComboBox *combo = nullptr;
    QPushButton *button = nullptr;
};

int main(int argc, char *argv[])
{
    XServer server;
    const QString display = server.start();
    if (display.isEmpty()) {
        qCritical("No X server.");
        return 1;
    }
    qputenv("DISPLAY", display.toLatin1());
    qputenv("QT_QPA_PLATFORM", "xcb");
    const WorkingDirectory directory;
    QApplication application(argc, argv);
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    int result = 0;
    {
        RecordWindowTest test;
        result = QTest::qExec(&test, argc, argv);
    }
    CoUninitialize();
    return result;
}

#include "tst_recordwindow.moc"
