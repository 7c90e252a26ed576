// Which Windows this is.
#include "platform/systemversion.h"

#include <QTest>

#include <windows.h>

class TestSystemVersion : public QObject
{
    Q_OBJECT

private slots:
    void isTheKernels();
};

void TestSystemVersion::isTheKernels()
{
    // From the page that the kernel shows to every process, at the same place in all of them.
    constexpr quintptr kernelPage = 0x7FFE0000;
    const auto number = [](quintptr offset) {
        return int(*reinterpret_cast<const volatile ULONG *>(kernelPage + offset));
    };
    int major = 0, minor = -1, build = 0;
    QVERIFY(readSystemVersion(major, minor, build));
    QCOMPARE(major, number(0x26C));
    QCOMPARE(minor, number(0x270));
    QVERIFY(major >= 6);
    wchar_t text[32] = {};
    DWORD size = sizeof(text);
    QCOMPARE(RegGetValueW(HKEY_LOCAL_MACHINE, LR"(SOFTWARE\Microsoft\Windows NT\CurrentVersion)",
                          L"CurrentBuildNumber", RRF_RT_REG_SZ, nullptr, text, &size),
             LSTATUS(ERROR_SUCCESS));
    QCOMPARE(build, QString::fromWCharArray(text).toInt());
}

QTEST_GUILESS_MAIN(TestSystemVersion)
#include "tst_systemversion.moc"
