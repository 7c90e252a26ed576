// The global functions of the vocabulary, as this platform gives them.
#include "platform/coreaudio.h"
#include "platform/systemversion.h"

#include <QtTest>

#include <unistd.h>

class tst_linuxkernel : public QObject
{
    Q_OBJECT

private slots:
    void eventsAreSetAndReset();
    void anAutoResetEventReleasesOneWait();
    void theLowestSetEventIsTold();
    void waitingForAllIsNotOffered();
    void closedHandlesAreInvalid();
    void memoryCrossesTheInterface();
    void guidsDiffer();
    void theVersionIsNotTold();
    void noBeepWithoutADisplay();
    void theProcessHasItsId();
};

void tst_linuxkernel::eventsAreSetAndReset()
{
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    QVERIFY(event);
    QCOMPARE(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    QVERIFY(SetEvent(event));
    QCOMPARE(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    QCOMPARE(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    QVERIFY(ResetEvent(event));
    QCOMPARE(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    QVERIFY(CloseHandle(event));
}

void tst_linuxkernel::anAutoResetEventReleasesOneWait()
{
    const HANDLE event = CreateEventW(nullptr, FALSE, TRUE, nullptr);
    QCOMPARE(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
    QCOMPARE(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
    CloseHandle(event);
}

void tst_linuxkernel::theLowestSetEventIsTold()
{
    const HANDLE events[] = {CreateEventW(nullptr, TRUE, FALSE, nullptr),
                             CreateEventW(nullptr, TRUE, TRUE, nullptr),
                             CreateEventW(nullptr, TRUE, TRUE, nullptr)};
    QCOMPARE(WaitForMultipleObjects(3, events, FALSE, INFINITE), WAIT_OBJECT_0 + 1);
    for (const HANDLE event : events)
        CloseHandle(event);
}

void tst_linuxkernel::waitingForAllIsNotOffered()
{
    const HANDLE event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    const HANDLE events[] = {event, event};
    QCOMPARE(WaitForMultipleObjects(2, events, TRUE, 0), WAIT_FAILED);
    QCOMPARE(GetLastError(), ERROR_INVALID_PARAMETER);
    QCOMPARE(WaitForMultipleObjects(1, events, TRUE, 0), WAIT_OBJECT_0);
    CloseHandle(event);
}

void tst_linuxkernel::closedHandlesAreInvalid()
{
    const HANDLE event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    QVERIFY(CloseHandle(event));
    SetLastError(ERROR_SUCCESS);
    QVERIFY(!CloseHandle(event));
    QCOMPARE(GetLastError(), ERROR_INVALID_HANDLE);
    QVERIFY(!SetEvent(event));
    QCOMPARE(WaitForSingleObject(event, 0), WAIT_FAILED);
}

void tst_linuxkernel::memoryCrossesTheInterface()
{
    void *block = CoTaskMemAlloc(16);
    QVERIFY(block);
    CoTaskMemFree(block);
    CoTaskMemFree(nullptr);
    QCOMPARE(PropVariantClear(nullptr), E_POINTER);
}

void tst_linuxkernel::guidsDiffer()
{
    GUID first{};
    GUID second{};
    QCOMPARE(CoCreateGuid(&first), S_OK);
    QCOMPARE(CoCreateGuid(&second), S_OK);
    QVERIFY(first != second);
    QVERIFY(first != GUID_NULL);
}

void tst_linuxkernel::theVersionIsNotTold()
{
    int major = 1;
    int minor = 2;
    int build = 3;
    QVERIFY(!readSystemVersion(major, minor, build));
    QCOMPARE(major, 1);
    QCOMPARE(minor, 2);
    QCOMPARE(build, 3);
}

void tst_linuxkernel::noBeepWithoutADisplay()
{
    QCOMPARE(MessageBeep(0), FALSE);
}

void tst_linuxkernel::theProcessHasItsId()
{
    QCOMPARE(GetCurrentProcessId(), DWORD(::getpid()));
}

QTEST_GUILESS_MAIN(tst_linuxkernel)
#include "tst_linuxkernel.moc"
