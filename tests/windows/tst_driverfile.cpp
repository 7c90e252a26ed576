// A line's device file by the system's real calls: what travels on a pipe that stands in for the
// driver, and whom an open file shuts out. The latter is seen on a file: a pipe's instance has one
// client, whatever the client shares.
#include "streams/driverfile.h"
#include "streams/tavoriinputdevice.h"
#include "streams/tavorioutputdevice.h"
#include "tests/support/logcapture.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <string>

namespace
{

constexpr DWORD readAndWrite = GENERIC_READ | GENERIC_WRITE;

/// The driver's end. Each write of the client is a message of its own.
class ServedPipe
{
public:
    ServedPipe()
        : pipe(CreateNamedPipeW(path.c_str(), PIPE_ACCESS_DUPLEX,
                                PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, room, room, 0,
                                nullptr))
    {
    }
    ~ServedPipe() { CloseHandle(pipe); }
    ServedPipe(const ServedPipe &) = delete;
    ServedPipe &operator=(const ServedPipe &) = delete;

    /// What has come and has not been taken yet.
    [[nodiscard]] QList<QByteArray> take() const
    {
        QList<QByteArray> messages;
        DWORD waiting = 0;
        while (PeekNamedPipe(pipe, nullptr, 0, nullptr, &waiting, nullptr) && waiting > 0) {
            QByteArray message(room, '\0');
            DWORD got = 0;
            if (!ReadFile(pipe, message.data(), room, &got, nullptr))
                break;
            messages.append(message.first(got));
        }
        return messages;
    }
    [[nodiscard]] bool isLeft() const
    {
        return !PeekNamedPipe(pipe, nullptr, 0, nullptr, nullptr, nullptr) &&
               GetLastError() == ERROR_BROKEN_PIPE;
    }

    const std::wstring path =
        QString(R"(\\.\pipe\quorvane-line-%1)").arg(GetCurrentProcessId()).toStdWString();

private:
    static constexpr DWORD room = 4096;
    const HANDLE pipe;
};

/// Whether a file opens for such access to one who shares everything.
bool opensBeside(const std::wstring &path, DWORD access)
{
    const HANDLE file =
        CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    CloseHandle(file);
    return true;
}

} // namespace

class TestDriverFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void captureLineTellsItsOpenAndClose_data();
    void captureLineTellsItsOpenAndClose();
    void outputTellsItsOpenAndClose();
    void fileIsReadAndWritten();
    void openFileShutsOthersOut();
    void onlyWhatIsThereIsOpened();

private:
    /// A file that nobody has open, with these bytes in it.
    std::wstring fileWith(const QByteArray &content);

    std::unique_ptr<QTemporaryDir> folder;
};

void TestDriverFile::init()
{
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
}

std::wstring TestDriverFile::fileWith(const QByteArray &content)
{
    QFile file(folder->filePath("line"));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("no file can be made");
    return QDir::toNativeSeparators(file.fileName()).toStdWString();
}

void TestDriverFile::captureLineTellsItsOpenAndClose_data()
{
    QTest::addColumn<tavoriDeviceType>("type");
    QTest::addColumn<QByteArray>("opening");
    QTest::addColumn<QByteArray>("closing");
    QTest::newRow("chat capture") << tavoriChatCapture << QByteArray("\x08")
                                  << QByteArray("\x08\x01");
    QTest::newRow("stream") << tavoriStream << QByteArray("\x0a") << QByteArray("\x0a\x01");
}

void TestDriverFile::captureLineTellsItsOpenAndClose()
{
    QFETCH(const tavoriDeviceType, type);
    QFETCH(const QByteArray, opening);
    QFETCH(const QByteArray, closing);
    const ServedPipe pipe;
    tavoriInputDevice device;
    QVERIFY(device.openDevice(pipe.path.c_str(), type));
    QCOMPARE(pipe.take(), QList<QByteArray>{opening});
    QVERIFY(!pipe.isLeft());
    device.closeDevice();
    QCOMPARE(pipe.take(), QList<QByteArray>{closing});
    QVERIFY(pipe.isLeft());
}

void TestDriverFile::outputTellsItsOpenAndClose()
{
    const ServedPipe pipe;
    tavoriOutputDevice device;
    // No speaker's: nobody reads from the pipe.
    QVERIFY(device.openDevice(pipe.path.c_str(), tavoriStream));
    QCOMPARE(pipe.take(), QList<QByteArray>{"\x0a"});
    // The command's code stays behind the zero before it.
    device.sendDriverCommand(tavoriGame, 4);
    QCOMPARE(pipe.take(), QList<QByteArray>{"\x06"});
    device.closeDevice();
    QCOMPARE(pipe.take(), QList<QByteArray>{"\x0a\x01"});
    QVERIFY(pipe.isLeft());
}

void TestDriverFile::fileIsReadAndWritten()
{
    const std::wstring path = fileWith("abc");
    HANDLE line = openDriverFile(path.c_str());
    QByteArray content(8, '\0');
    DWORD got = 0;
    QVERIFY(ReadFile(line, content.data(), DWORD(content.size()), &got, nullptr));
    QCOMPARE(content.first(got), "abc");
    closeDriverFile(line, tavoriStream);
    QCOMPARE(line, INVALID_HANDLE_VALUE);

    QFile file(QString::fromStdWString(path));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), "abc\x0a\x01");
}

void TestDriverFile::openFileShutsOthersOut()
{
    const std::wstring path = fileWith("abc");
    HANDLE line = openDriverFile(path.c_str());
    QVERIFY(line != INVALID_HANDLE_VALUE);
    QVERIFY(!opensBeside(path, GENERIC_READ));
    QVERIFY(!opensBeside(path, GENERIC_WRITE));
    QVERIFY(!opensBeside(path, DELETE));
    const LogCapture log;
    QCOMPARE(openDriverFile(path.c_str()), INVALID_HANDLE_VALUE);
    QVERIFY(log.lines().value(0).endsWith("err: 32\\n\""));

    closeDriverFile(line, tavoriStream);
    QVERIFY(opensBeside(path, readAndWrite));
}

void TestDriverFile::onlyWhatIsThereIsOpened()
{
    const QString missing = folder->filePath("missing");
    const LogCapture log;
    QCOMPARE(openDriverFile(missing.toStdWString().c_str()), INVALID_HANDLE_VALUE);
    QVERIFY(log.lines().value(0).endsWith("err: 2\\n\""));
    QVERIFY(!QFile::exists(missing));
}

QTEST_GUILESS_MAIN(TestDriverFile)
#include "tst_driverfile.moc"
