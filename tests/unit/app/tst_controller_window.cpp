// The diagnostic window: what the combo box offers, and what the button records.
#include "platform/simulated/devicefiles.h"
#include "platform/simulated/endpoints.h"
#include "platform/simulated/notifications.h"
#include "platform/simulated/simulated.h"
#include "tests/unit/app/channelfeed.h"
#include "tests/unit/app/controllerfixture.h"
#include "tests/unit/streams/recordingsupport.h"

#include <QBoxLayout>
#include <QComboBox>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>

namespace
{
/// A started controller, and its window's parts.
struct Window : ControllerFixture
{
    Window()
    {
        start();
        combo = widget->findChild<QComboBox *>();
        button = widget->findChild<QPushButton *>();
    }
    [[nodiscard]] bool logged(const QString &line) const { return log.lines().contains(line); }

    QComboBox *combo;
    QPushButton *button;
};

QString nameOf(tavoriDeviceType type)
{
    return channelOfType(type)->fullName();
}
} // namespace

class ControllerWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void rowsShareTheHeightAsTold()
    {
        const Window window;
        const auto *rows = qobject_cast<QVBoxLayout *>(window.widget->layout());
        QVERIFY(rows);
        QCOMPARE(rows->count(), 2);
        QCOMPARE(rows->stretch(0), 1);
        QCOMPARE(rows->stretch(1), 0);
        const auto *view = qobject_cast<QHBoxLayout *>(rows->itemAt(0)->layout());
        QVERIFY(view);
        QVERIFY(qobject_cast<QTextEdit *>(view->itemAt(0)->widget()));
        const auto *record = qobject_cast<QHBoxLayout *>(rows->itemAt(1)->layout());
        QVERIFY(record);
        QCOMPARE(record->itemAt(0)->widget(), window.combo);
        QCOMPARE(record->itemAt(1)->widget(), window.button);
        QCOMPARE(record->stretch(0), 1);
        QCOMPARE(record->stretch(1), 0);
        QCOMPARE(window.combo->minimumHeight(), 24);
    }

    void itemsCarryTheirEndpoints()
    {
        const Window window;
        QCOMPARE(window.combo->itemData(window.combo->findText(nameOf(tavoriGame))),
                 window.renderId(tavoriGame));
        // The last item is the input side of the microphone.
        QCOMPARE(window.combo->itemData(window.combo->count() - 1),
                 window.captureId(tavoriChatCapture));
        QCOMPARE(window.combo->findText("Speakers"), -1);
    }

    void namesLookVirtualAtBothEnds()
    {
        ControllerFixture fixture;
        const QStringList others{"Headset (tavori Virtual Audio Device)", "tavori - Headset",
                                 "Tavori - Headset (tavori Virtual Audio Device)"};
        for (const QString &name : others)
            simulated::addEndpoint({.name = name});
        const QString alike = "tavori - Headset (tavori Virtual Audio Device)";
        simulated::addEndpoint({.name = alike});
        fixture.start();
        const auto *combo = fixture.widget->findChild<QComboBox *>();
        for (const QString &name : others)
            QCOMPARE(combo->findText(name, Qt::MatchExactly | Qt::MatchCaseSensitive), -1);
        QVERIFY(combo->findText(alike, Qt::MatchExactly | Qt::MatchCaseSensitive) >= 0);
    }

    void listingIsLogged()
    {
        const Window window;
        const QStringList lines = window.log.lines();
        const qsizetype begin =
            lines.indexOf("Info: \"QuorvaneWidget::printEndpointDeviceNames : begin\"");
        const qsizetype input = lines.indexOf("Info: \"InputDevice :\"");
        QVERIFY(begin >= 0);
        QCOMPARE(lines.value(begin + 1), "Info: \"OutputDevice :\"");
        QVERIFY(lines.value(begin + 2).startsWith("Info: \"Device Name : "));
        QVERIFY(lines.value(begin + 3).startsWith("Info: \"Device id : {"));
        QCOMPARE(lines.value(begin + 4), "Info: \"---------------------------------\"");
        QCOMPARE(lines.value(input - 1), "Info: \"\"");
        QVERIFY(lines.indexOf("Info: \"QuorvaneWidget::printEndpointDeviceNames : end\"") > input);
    }

    void choiceIsLogged()
    {
        Window window;
        window.combo->setCurrentIndex(window.combo->findText(nameOf(tavoriGame)));
        QVERIFY(window.logged("Info: \"Select audio record device : " + nameOf(tavoriGame) + '"'));
        // An input's name comes from the other list.
        window.log.clear();
        window.combo->setCurrentIndex(window.combo->count() - 1);
        QVERIFY(window.logged("Info: \"Select audio record device : " + nameOf(tavoriChatCapture) +
                              '"'));
    }

    void endpointsThatComeLaterAreNotListed()
    {
        Window window;
        const int before = window.combo->count();
        window.send("addOutputDevice", {{"outputDeviceName", "Browser"}});
        (void)window.waitForEvent("finishAddOutputDevice");
        simulated::notifyDeviceState(window.renderId(tavoriBrowser), DEVICE_STATE_ACTIVE);
        (void)window.waitForEvent("deviceActive");
        QCOMPARE(window.combo->count(), before);
    }

    void recordings_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("prefix");
        QTest::newRow("Aux") << int(tavoriAux) << "aux-";
        QTest::newRow("Chat") << int(tavoriChat) << "chat-";
        QTest::newRow("Gaming") << int(tavoriGame) << "game-";
        QTest::newRow("Media") << int(tavoriMedia) << "media-";
    }

    void recordings()
    {
        QFETCH(const int, type);
        QFETCH(const QString, prefix);
        const auto channel = static_cast<tavoriDeviceType>(type);
        const WorkingDirectory directory;
        Window window;
        window.combo->setCurrentIndex(window.combo->findText(nameOf(channel)));
        window.button->click();
        QCOMPARE(window.button->text(), "Stop Record");
        QVERIFY(window.logged("Info: \"Start (" + nameOf(channel) + ") audio record.\""));

        const QByteArray sound = blockOf(1234, 480);
        simulated::queueAudio(channelOfType(channel)->fileSuffix, sound);
        QTRY_COMPARE(directory.temporaries(), QList<qint64>({sound.size()}));
        window.button->click();
        QCOMPARE(window.button->text(), "Start Record");
        QVERIFY(window.logged("Info: Stop audio record."));
        const QStringList files = WorkingDirectory::recordings();
        QCOMPARE(files.size(), 1);
        QVERIFY2(files.first().startsWith(prefix), qPrintable(files.first()));
        QCOMPARE(contentOf(files.first()), wavOf(sound));
    }

    void everyChannelStopsWhateverIsChosen_data()
    {
        QTest::addColumn<int>("type");
        for (const tavoriDeviceType type : {tavoriAux, tavoriChat, tavoriGame, tavoriMedia})
            QTest::newRow(qPrintable(nameOf(type))) << int(type);
    }

    void everyChannelStopsWhateverIsChosen()
    {
        QFETCH(const int, type);
        const auto channel = static_cast<tavoriDeviceType>(type);
        const WorkingDirectory directory;
        Window window;
        window.combo->setCurrentIndex(window.combo->findText(nameOf(channel)));
        window.button->click();
        const QByteArray sound = blockOf(1234, 480);
        simulated::queueAudio(channelOfType(channel)->fileSuffix, sound);
        QTRY_COMPARE_WITH_TIMEOUT(directory.temporaries(), QList<qint64>({sound.size()}), 30000);

        const tavoriDeviceType other = channel == tavoriChat ? tavoriGame : tavoriChat;
        window.combo->setCurrentIndex(window.combo->findText(nameOf(other)));
        window.button->click();
        QCOMPARE(window.button->text(), "Start Record");
        QCOMPARE(WorkingDirectory::recordings().size(), 1);
        QCOMPARE(contentOf(WorkingDirectory::recordings().first()), wavOf(sound));
    }

    void emptyRecording()
    {
        const WorkingDirectory directory;
        Window window;
        window.combo->setCurrentIndex(window.combo->findText(nameOf(tavoriGame)));
        window.button->click();
        window.button->click();
        QCOMPARE(WorkingDirectory::recordings().size(), 1);
        QCOMPARE(contentOf(WorkingDirectory::recordings().first()), wavOf({}));
    }

    void microphoneIsNotRecorded()
    {
        const WorkingDirectory directory;
        Window window;
        // The output side goes by its name, the input side is no output at all.
        for (const auto &[index, name] :
             {std::pair(window.combo->findText(nameOf(tavoriChatCapture)),
                        nameOf(tavoriChatCapture)),
              std::pair(window.combo->count() - 1, QString())}) {
            window.log.clear();
            window.combo->setCurrentIndex(index);
            window.button->click();
            QCOMPARE(window.button->text(), "Stop Record");
            QVERIFY(window.logged("Info: \"Not support this device : " + name + ",\""));
            window.button->click();
            QCOMPARE(window.button->text(), "Start Record");
        }
        QCOMPARE(WorkingDirectory::recordings(), QStringList());
    }

    void endpointThatLeftIsNotRecorded()
    {
        const WorkingDirectory directory;
        Window window;
        window.combo->setCurrentIndex(window.combo->findText(nameOf(tavoriGame)));
        simulated::notifyDeviceRemoved(window.renderId(tavoriGame));
        (void)window.waitForEvent("deviceRemoved");
        window.button->click();
        QVERIFY(window.logged("Info: \"Not support this device : ,\""));
        QCOMPARE(WorkingDirectory::recordings(), QStringList());
    }

    void channelThatWasNeverAddedDoesNothing()
    {
        const WorkingDirectory directory;
        ControllerFixture fixture;
        // Its endpoint was left shown, and start-up's hiding fails.
        simulated::setState(fixture.renderId(tavoriBrowser), DEVICE_STATE_ACTIVE);
        simulated::failAlways("IPolicyConfig::SetEndpointVisibility", E_FAIL);
        fixture.start();
        auto *combo = fixture.widget->findChild<QComboBox *>();
        const int browser = combo->findText(nameOf(tavoriBrowser));
        QVERIFY(browser >= 0);
        combo->setCurrentIndex(browser);
        fixture.log.clear();
        fixture.widget->findChild<QPushButton *>()->click();
        QCOMPARE(fixture.log.lines().filter("Not support"), QStringList());
        QCOMPARE(fixture.log.lines().filter("audio record."), QStringList());
        QCOMPARE(WorkingDirectory::recordings(), QStringList());
    }

    void recordingIsFinishedWhenItsEndpointLeaves()
    {
        const WorkingDirectory directory;
        Window window;
        window.combo->setCurrentIndex(window.combo->findText(nameOf(tavoriGame)));
        window.button->click();
        simulated::queueAudio("tavori.Game.WaveSpeaker", blockOf(99, 480));
        QTRY_COMPARE(directory.temporaries().value(0), qint64(480 * 4));
        // A removal of the endpoint closes the channel, which ends the recording first.
        simulated::notifyDeviceRemoved(window.renderId(tavoriGame));
        (void)window.waitForEvent("deviceRemoved");
        QCOMPARE(contentOf(WorkingDirectory::recordings().value(0)), wavOf(blockOf(99, 480)));
        window.button->click();
        QCOMPARE(window.button->text(), "Start Record");
        QCOMPARE(WorkingDirectory::recordings().size(), 1);
    }

    void printfInfoLogsOneLine()
    {
        Window window;
        window.log.clear();
        window.widget->printfInfo("a line");
        QCOMPARE(window.log.lines(), QStringList("Info: \"a line\""));
    }

    void withoutEndpointsOnlyTheHeadersAreLogged()
    {
        ControllerFixture fixture;
        simulated::failAlways("CoCreateInstance MMDeviceEnumerator", REGDB_E_CLASSNOTREG);
        fixture.start();
        QVERIFY(fixture.log.lines().contains("Info: \"OutputDevice :\""));
        QVERIFY(fixture.log.lines().contains("Info: \"InputDevice :\""));
        QCOMPARE(fixture.log.lines().filter("Device Name :"), QStringList());
        QCOMPARE(fixture.widget->findChild<QComboBox *>()->count(), 0);
    }
};

QTEST_MAIN(ControllerWindowTest)
#include "tst_controller_window.moc"
