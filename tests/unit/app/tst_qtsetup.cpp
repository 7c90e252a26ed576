#include "platform/qtsetup.h"

#include <QtTest>

class TestQtSetup : public QObject
{
    Q_OBJECT

private slots:
    void offscreenWhereNoDisplayIs_data()
    {
        QTest::addColumn<QByteArray>("display");
        QTest::addColumn<QByteArray>("wayland");
        QTest::addColumn<QByteArray>("chosen");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("nothing") << QByteArray() << QByteArray() << QByteArray()
                                 << QByteArray("offscreen");
        QTest::newRow("X11") << QByteArray(":0") << QByteArray() << QByteArray() << QByteArray();
        QTest::newRow("Wayland") << QByteArray() << QByteArray("wayland-0") << QByteArray()
                                 << QByteArray();
        QTest::newRow("empty names")
            << QByteArray("") << QByteArray("") << QByteArray() << QByteArray("offscreen");
        QTest::newRow("a choice") << QByteArray() << QByteArray() << QByteArray("minimal")
                                  << QByteArray("minimal");
    }
    void offscreenWhereNoDisplayIs()
    {
        QFETCH(QByteArray, expected);
        setVariable("DISPLAY", "display");
        setVariable("WAYLAND_DISPLAY", "wayland");
        setVariable("QT_QPA_PLATFORM", "chosen");
        prepareQt();
        QCOMPARE(qgetenv("QT_QPA_PLATFORM"), expected);
    }

    void plainEventLoops_data()
    {
        QTest::addColumn<QByteArray>("chosen");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("no choice") << QByteArray() << QByteArray("1");
        QTest::newRow("GLib's are chosen") << QByteArray("") << QByteArray("");
    }
    void plainEventLoops()
    {
        QFETCH(QByteArray, expected);
        setVariable("QT_NO_GLIB", "chosen");
        prepareQt();
        QVERIFY(qEnvironmentVariableIsSet("QT_NO_GLIB"));
        QCOMPARE(qgetenv("QT_NO_GLIB"), expected);
    }

private:
    /// Null takes the variable away, an empty value keeps it.
    static void setVariable(const char *variable, const char *column)
    {
        const QByteArray value =
            *static_cast<QByteArray *>(QTest::qData(column, QMetaType::QByteArray));
        if (value.isNull())
            qunsetenv(variable);
        else
            qputenv(variable, value);
    }
};

QTEST_GUILESS_MAIN(TestQtSetup)
#include "tst_qtsetup.moc"
