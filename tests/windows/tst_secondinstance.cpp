// The hand-over of a second start to the first, over Windows' own named pipes.
#include "app/vxapplication.h"
#include "tests/support/processend.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <cstdio>

namespace
{
constexpr int boundMs = 60000;

VXApplication &application()
{
    return *static_cast<VXApplication *>(QCoreApplication::instance());
}

/// This program once more, as another instance of the name.
void startInstance(QProcess &process, const QString &name, const QStringList &more = {})
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(), QStringList{"--instance", name} + more);
}
} // namespace

/// The application under test is the test program's own.
class TestSecondInstance : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        name = QString("guard-%1-%2").arg(QCoreApplication::applicationPid()).arg(++counter);
    }

    void handsItsArgumentsOverAndEnds()
    {
        QCOMPARE(application().initLocalServer(name), 0);
        QSignalSpy received(&application(), &VXApplication::receivedMessage);
        QProcess second;
        startInstance(second, name, {"zwei;drei", "with space", "四 😀"});
        QVERIFY(received.wait(boundMs));
        const QByteArray message = received.first().first().toByteArray();
        const QByteArray end = ";--instance;" + name.toUtf8() + ";zwei;drei;with space;四 😀";
        QVERIFY2(message.endsWith(end), message.constData());
        QVERIFY(message.contains("tst_secondinstance.exe;"));
        QVERIFY(hasEnded(second, boundMs));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 1);
    }

    void eachOneIsHeard()
    {
        QCOMPARE(application().initLocalServer(name), 0);
        QSignalSpy received(&application(), &VXApplication::receivedMessage);
        for (int i = 1; i <= 3; ++i) {
            QProcess second;
            startInstance(second, name, {QString::number(i)});
            QVERIFY(received.wait(boundMs));
            QCOMPARE(received.size(), i);
            QVERIFY(received.last().first().toByteArray().endsWith(";" + QByteArray::number(i)));
            QVERIFY(hasEnded(second, boundMs));
            QCOMPARE(second.exitCode(), 1);
        }
    }

    void theNameIsFreeAfterAKill()
    {
        QProcess first;
        startInstance(first, name);
        QVERIFY(first.waitForReadyRead(boundMs)); // it listens
        {
            QProcess second;
            startInstance(second, name);
            QVERIFY(hasEnded(second, boundMs));
            QCOMPARE(second.exitCode(), 1);
        }
        first.kill();
        QVERIFY(hasEnded(first, boundMs));
        QCOMPARE(application().initLocalServer(name), 0);
    }

private:
    QString name;
    int counter = 0;
};

int main(int argc, char **argv)
{
    VXApplication application(argc, argv);
    if (QCoreApplication::arguments().value(1) == "--instance") {
        const int result = application.initLocalServer(QCoreApplication::arguments().value(2));
        if (result != 0)
            return result;
        std::puts("listening");
        std::fflush(stdout);
        return QCoreApplication::exec();
    }
    TestSecondInstance test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_secondinstance.moc"
