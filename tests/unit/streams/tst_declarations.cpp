// The signals and slots of the classes that carry sound: others connect to them by name and order.
#include "engines/wasapiaudioplayer.h"
#include "engines/wasapimicrophonecapturer.h"
#include "streams/audiorecorder.h"
#include "streams/tavorigetspeakerdatathread.h"
#include "streams/tavoriinputdevice.h"
#include "streams/tavorioutputdevice.h"

#include <QMetaMethod>
#include <QTest>

Q_DECLARE_METATYPE(const QMetaObject *)

class DeclarationsTest : public QObject
{
    Q_OBJECT

private slots:
    void signalsAndSlotsStandInTheirOrder_data()
    {
        const QString openFailed = "void sigFaildToOpenDevice(int deviceTpye, QString deviceName, "
                                   "QString deviceID, int errorCode, QString errorString)";
        QTest::addColumn<const QMetaObject *>("meta");
        QTest::addColumn<QStringList>("declared");
        QTest::newRow("output device")
            << &tavoriOutputDevice::staticMetaObject
            << QStringList{"void sigPrintfLog(QString logMessage)",
                           "void sigGetAudioData(QString deviceID, QByteArray audioData)"};
        QTest::newRow("input device") << &tavoriInputDevice::staticMetaObject << QStringList{};
        QTest::newRow("speaker thread")
            << &tavoriGetSpeakerDataThread::staticMetaObject
            << QStringList{"void sigPrintfLog(QString logMessage)", "void sigDeviceNotOpen()"};
        QTest::newRow("recorder") << &AudioRecorder::staticMetaObject
                                  << QStringList{"void addAudioData(QByteArray audioData)",
                                                 "void finishAudioRecord()",
                                                 "void writeAudioData()"};
        QTest::newRow("player") << &WASAPIAudioPlayer::staticMetaObject
                                << QStringList{openFailed,
                                               "void openDevice(QString deviceID, "
                                               "QString deviceName)",
                                               "void closeDevice()",
                                               "void setVolume(float fVolume)",
                                               "float getVolume()",
                                               "void play(QByteArray frame, int sampleRate, "
                                               "int channels)",
                                               "void clearPlayBuffer()"};
        QTest::newRow("capturer")
            << &WASAPIMicrophoneCapturer::staticMetaObject
            << QStringList{"void sigPrintfLog(QString logMessage)",
                           "void sigGetInputData(QByteArray audioData)",
                           "void sigGetInputData(QByteArray audioData, int sampleRate, "
                           "int channels)",
                           openFailed,
                           "void startCapture()",
                           "void stopCapture()",
                           "void stopCapture(long errCode, QString errString)",
                           "void onGetInputData(QByteArray audioData, int sampleRate, "
                           "int channels)"};
    }

    void signalsAndSlotsStandInTheirOrder()
    {
        QFETCH(const QMetaObject *, meta);
        QFETCH(const QStringList, declared);
        QStringList found;
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            QStringList parameters;
            for (int p = 0; p < method.parameterCount(); ++p)
                parameters << method.parameterTypes().at(p) + ' ' + method.parameterNames().at(p);
            found << QString("%1 %2(%3)")
                         .arg(method.typeName(), method.name(), parameters.join(", "));
        }
        QCOMPARE(found, declared);
    }
};

QTEST_GUILESS_MAIN(DeclarationsTest)
#include "tst_declarations.moc"
