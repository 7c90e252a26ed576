// Where the server's sockets are looked for, and that their coming is seen.
#include "platform/linux/socketwatch.h"

#include <QTemporaryDir>
#include <QtTest>

#include <pulse/mainloop.h>
#include <pulse/timeval.h>

#include <fstream>

namespace fs = std::filesystem;
using pulse::SocketWatch;

class tst_socketwatch : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void socketsOfTheEnvironment_data();
    void socketsOfTheEnvironment();
    void aSocketInAStandingFolderIsSeen();
    void aSocketInAFolderYetToComeIsSeen();
    void aFolderThatGoesAndComesAgainIsFollowed();
    void aStaleSocketThatIsReplacedIsSeen();
    void otherNamesDoNotCount();
    void nothingIsSeenWhileOff();

private:
    /// Runs the loop until `wanted` sightings, at most five seconds.
    bool runUntil(int wanted);
    /// Runs the loop for what is already waiting there.
    void runOut();
    fs::path folder() const { return temporary->path().toStdString(); }
    static void touch(const fs::path &file) { std::ofstream(file).put('\n'); }

    std::unique_ptr<QTemporaryDir> temporary;
    pa_mainloop *loop = nullptr;
    int seen = 0;
    std::unique_ptr<SocketWatch> watch;
};

void tst_socketwatch::init()
{
    temporary = std::make_unique<QTemporaryDir>();
    loop = pa_mainloop_new();
    seen = 0;
    watch = std::make_unique<SocketWatch>(pa_mainloop_get_api(loop),
                                          std::vector{folder() / "run" / "pulse" / "native"},
                                          [this] { ++seen; });
}

void tst_socketwatch::cleanup()
{
    watch.reset();
    pa_mainloop_free(loop);
    temporary.reset();
}

bool tst_socketwatch::runUntil(int wanted)
{
    QDeadlineTimer deadline(5000);
    while (seen < wanted && !deadline.hasExpired()) {
        pa_mainloop_prepare(loop, 100'000);
        pa_mainloop_poll(loop);
        pa_mainloop_dispatch(loop);
    }
    return seen >= wanted;
}

void tst_socketwatch::runOut()
{
    while (pa_mainloop_iterate(loop, 0, nullptr) > 0) {
    }
}

void tst_socketwatch::socketsOfTheEnvironment_data()
{
    QTest::addColumn<QMap<QByteArray, QByteArray>>("variables");
    QTest::addColumn<QStringList>("sockets");
    using Variables = QMap<QByteArray, QByteArray>;
    QTest::newRow("runtime folder")
        << Variables{{"XDG_RUNTIME_DIR", "/r"}}
        << QStringList{"/r/pulse/native", "/run/pulse/native", "/r/pipewire-0"};
    QTest::newRow("own folder first")
        << Variables{{"XDG_RUNTIME_DIR", "/r"}, {"PULSE_RUNTIME_PATH", "/p"}}
        << QStringList{"/p/native", "/run/pulse/native", "/r/pipewire-0"};
    QTest::newRow("server list") << Variables{{"XDG_RUNTIME_DIR", "/r"},
                                              {"PULSE_SERVER", "{a1b2}unix:/a tcp:host /b"}}
                                 << QStringList{"/a", "/b", "/r/pipewire-0"};
    QTest::newRow("another machine")
        << Variables{{"XDG_RUNTIME_DIR", "/r"}, {"PULSE_SERVER", "tcp:host:4713"}} << QStringList{};
    QTest::newRow("graph elsewhere")
        << Variables{{"XDG_RUNTIME_DIR", "/r"},
                     {"PIPEWIRE_RUNTIME_DIR", "/g"},
                     {"PIPEWIRE_REMOTE", "other"}}
        << QStringList{"/r/pulse/native", "/run/pulse/native", "/g/other"};
    QTest::newRow("graph by its path")
        << Variables{{"XDG_RUNTIME_DIR", "/r"}, {"PIPEWIRE_REMOTE", "/s/socket"}}
        << QStringList{"/r/pulse/native", "/run/pulse/native", "/s/socket"};
    QTest::newRow("nothing known") << Variables{} << QStringList{"/run/pulse/native"};
}

void tst_socketwatch::socketsOfTheEnvironment()
{
    using Variables = QMap<QByteArray, QByteArray>;
    QFETCH(const Variables, variables);
    QFETCH(QStringList, sockets);
    for (const char *name : {"PULSE_SERVER", "PULSE_RUNTIME_PATH", "XDG_RUNTIME_DIR",
                             "PIPEWIRE_REMOTE", "PIPEWIRE_RUNTIME_DIR"})
        qunsetenv(name);
    for (auto each = variables.begin(); each != variables.end(); ++each)
        qputenv(each.key().constData(), each.value());
    QStringList found;
    for (const fs::path &socket : pulse::serverSockets())
        found += QString::fromStdString(socket);
    QCOMPARE(found, sockets);
}

void tst_socketwatch::aSocketInAStandingFolderIsSeen()
{
    fs::create_directories(folder() / "run" / "pulse");
    watch->on();
    QVERIFY(!watch->anySocket());
    touch(folder() / "run" / "pulse" / "native");
    QVERIFY(runUntil(1));
    QVERIFY(watch->anySocket());
}

void tst_socketwatch::aSocketInAFolderYetToComeIsSeen()
{
    watch->on();
    fs::create_directories(folder() / "run");
    runOut();
    QCOMPARE(seen, 0);
    fs::create_directories(folder() / "run" / "pulse");
    touch(folder() / "run" / "pulse" / "native");
    QVERIFY(runUntil(1));
}

void tst_socketwatch::aFolderThatGoesAndComesAgainIsFollowed()
{
    fs::create_directories(folder() / "run" / "pulse");
    watch->on();
    fs::remove_all(folder() / "run");
    runOut();
    QCOMPARE(seen, 0);
    fs::create_directories(folder() / "run" / "pulse");
    runOut();
    QCOMPARE(seen, 0);
    touch(folder() / "run" / "pulse" / "native");
    QVERIFY(runUntil(1));
}

void tst_socketwatch::aStaleSocketThatIsReplacedIsSeen()
{
    const fs::path socket = folder() / "run" / "pulse" / "native";
    fs::create_directories(socket.parent_path());
    touch(socket);
    watch->on();
    QVERIFY(watch->anySocket());
    runOut();
    QCOMPARE(seen, 0);
    fs::remove(socket);
    runOut();
    QCOMPARE(seen, 0);
    touch(socket);
    QVERIFY(runUntil(1));
}

void tst_socketwatch::otherNamesDoNotCount()
{
    fs::create_directories(folder() / "run" / "pulse");
    watch->on();
    touch(folder() / "run" / "pulse" / "pid");
    touch(folder() / "run" / "other");
    runOut();
    QCOMPARE(seen, 0);
}

void tst_socketwatch::nothingIsSeenWhileOff()
{
    fs::create_directories(folder() / "run" / "pulse");
    watch->on();
    watch->off();
    touch(folder() / "run" / "pulse" / "native");
    runOut();
    QCOMPARE(seen, 0);
}

QTEST_GUILESS_MAIN(tst_socketwatch)
#include "tst_socketwatch.moc"
