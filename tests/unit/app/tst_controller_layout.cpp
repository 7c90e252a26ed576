// The diagnostic window, and the list of endpoints that it is filled from.
#include "platform/simulated/calls.h"
#include "tests/unit/app/controllerfixture.h"

#include <QComboBox>
#include <QLayout>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>

class ControllerLayoutTest : public QObject
{
    Q_OBJECT

private slots:
    void windowIsLaidOutAsTold()
    {
        ControllerFixture fixture;
        fixture.start();
        QCOMPARE(fixture.widget->minimumSize(), QSize(600, 480));
        QVERIFY(!fixture.widget->isVisible());
        auto *combo = fixture.widget->findChild<QComboBox *>();
        auto *button = fixture.widget->findChild<QPushButton *>();
        auto *view = fixture.widget->findChild<QTextEdit *>();
        QVERIFY(combo && button && view);
        QCOMPARE(button->text(), "Record");
        QCOMPARE(combo->maximumHeight(), 24);
        QVERIFY(view->toPlainText().isEmpty());
        auto *rows = qobject_cast<QVBoxLayout *>(fixture.widget->layout());
        QVERIFY(rows);
        QCOMPARE(rows->count(), 2);
        QCOMPARE(rows->stretch(0), 1);
        QCOMPARE(rows->stretch(1), 0);
        auto *viewRow = qobject_cast<QHBoxLayout *>(rows->itemAt(0)->layout());
        auto *recordRow = qobject_cast<QHBoxLayout *>(rows->itemAt(1)->layout());
        QVERIFY(viewRow && recordRow);
        QCOMPARE(viewRow->indexOf(view), 0);
        QCOMPARE(recordRow->indexOf(combo), 0);
        QCOMPARE(recordRow->indexOf(button), 1);
        QCOMPARE(recordRow->stretch(0), 1);
        QCOMPARE(recordRow->stretch(1), 0);
        QCOMPARE(combo->minimumHeight(), 24);
        QStringList names;
        for (int index = 0; index < combo->count(); ++index)
            names.append(combo->itemText(index));
        QStringList expected;
        for (const tavoriDeviceType type :
             {tavoriAux, tavoriChat, tavoriGame, tavoriMedia, tavoriChatCapture, tavoriChatCapture})
            expected.append(channelOfType(type)->fullName());
        QCOMPARE(names, expected);
        for (int index = 0; index < 5; ++index)
            QVERIFY(combo->itemData(index).toString().startsWith("{0.0.0."));
        QCOMPARE(combo->itemData(5).toString(), fixture.captureId(tavoriChatCapture));
    }

    void recordButtonTogglesItsText()
    {
        ControllerFixture fixture;
        simulated::failAlways("CoCreateInstance MMDeviceEnumerator", REGDB_E_CLASSNOTREG);
        fixture.start();
        auto *button = fixture.widget->findChild<QPushButton *>();
        button->click();
        QCOMPARE(button->text(), "Stop Record");
        QVERIFY(fixture.log.lines().contains("Info: \"Not support this device : ,\""));
        button->click();
        QCOMPARE(button->text(), "Start Record");
        QVERIFY(fixture.log.lines().contains("Info: Stop audio record."));
        button->click();
        QCOMPARE(button->text(), "Stop Record");
    }

    void endpointsAreAskedForUnderTheirHeader()
    {
        ControllerFixture fixture;
        bool isListing = false;
        simulated::onCall("IPropertyStore::GetValue", [] { qInfo() << "asked"; });
        fixture.start();
        QString header;
        QSet<QString> askedUnder;
        for (const QString &line : fixture.log.lines()) {
            if (line.contains("printEndpointDeviceNames"))
                isListing = line.contains(": begin");
            else if (line.contains("putDevice :"))
                header = line;
            else if (isListing && line == "Info: asked")
                askedUnder.insert(header);
        }
        QCOMPARE(askedUnder,
                 QSet<QString>({"Info: \"OutputDevice :\"", "Info: \"InputDevice :\""}));
    }
};

QTEST_MAIN(ControllerLayoutTest)
#include "tst_controller_layout.moc"
