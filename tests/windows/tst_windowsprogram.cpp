// What Windows is told of a program that is made as Quorvane is: this one.
#include <QGuiApplication>
#include <QTest>
#include <QWidget>

#include <windows.h>

class TestWindowsProgram : public QObject
{
    Q_OBJECT

private slots:
    void versionResource();
    void noConsole();
    void manifest_data();
    void manifest();
    void window();
};

void TestWindowsProgram::versionResource()
{
    // Nobody has set it: Qt looks into the resource.
    QCOMPARE(QCoreApplication::applicationVersion(), QStringLiteral(QUORVANE_VERSION));
}

void TestWindowsProgram::noConsole()
{
    const auto *image = reinterpret_cast<const uchar *>(GetModuleHandleW(nullptr));
    const auto *dos = reinterpret_cast<const IMAGE_DOS_HEADER *>(image);
    const auto *headers = reinterpret_cast<const IMAGE_NT_HEADERS *>(image + dos->e_lfanew);
    QCOMPARE(headers->OptionalHeader.Subsystem, WORD(IMAGE_SUBSYSTEM_WINDOWS_GUI));
}

void TestWindowsProgram::manifest_data()
{
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("version") << QByteArray("name=\"Quorvane\" version=\"" QUORVANE_VERSION "\"");
    QTest::newRow("long paths") << QByteArray(">true</longPathAware>");
    QTest::newRow("no other rights") << QByteArray("level=\"asInvoker\"");
    QTest::newRow("Windows 10") << QByteArray("{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}");
}

void TestWindowsProgram::manifest()
{
    QFETCH(QByteArray, words);
    const HRSRC place = FindResourceW(nullptr, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));
    QVERIFY(place);
    const HGLOBAL block = LoadResource(nullptr, place);
    QVERIFY(block);
    const QByteArray found(static_cast<const char *>(LockResource(block)),
                           qsizetype(SizeofResource(nullptr, place)));
    QVERIFY2(found.contains(words), found);
}

// Qt loads what draws it by itself, from a folder beside the program.
void TestWindowsProgram::window()
{
    QCOMPARE(QGuiApplication::platformName(), QStringLiteral("windows"));
    QWidget window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QVERIFY(IsWindowVisible(reinterpret_cast<HWND>(window.winId())));
}

QTEST_MAIN(TestWindowsProgram)
#include "tst_windowsprogram.moc"
