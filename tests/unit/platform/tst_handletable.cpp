// Handles that are closed while others use them.
#include "platform/coreaudio.h"
#include "platform/posix/handletable.h"
#include "platform/posix/lasterror.h"

#include <QTest>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace
{

/// Tells what happened to it.
struct Fate
{
    std::atomic<int> closed{0};
    std::atomic<int> destroyed{0};
};

class Probe final : public posix::Object
{
public:
    explicit Probe(Fate &fate) : fate(fate) {}
    ~Probe() override
    {
        alive = false;
        ++fate.destroyed;
    }
    void close() override { ++fate.closed; }

    bool alive = true;

private:
    Fate &fate;
};

class Other final : public posix::Object
{
};

} // namespace

class TestHandleTable : public QObject
{
    Q_OBJECT

private slots:
    void refusesWhatIsNoHandle_data();
    void refusesWhatIsNoHandle();
    void keepsAnObjectWhileItIsReferenced();
    void tellsTypesApart();
    void refusesAHandleWhoseSlotIsReused();
    void refusesObjectsWhenFull();
    void letsOneOfManyClosersSucceed();
    void survivesUseDuringClose();
};

void TestHandleTable::refusesWhatIsNoHandle_data()
{
    QTest::addColumn<quintptr>("value");
    QTest::newRow("null") << quintptr(0);
    QTest::newRow("INVALID_HANDLE_VALUE") << ~quintptr(0);
    QTest::newRow("not a multiple of four") << quintptr(0x500005);
    QTest::newRow("below the table") << quintptr(0x4FFFFC);
    QTest::newRow("slot zero") << quintptr(0x500000);
    QTest::newRow("slot beyond the table") << quintptr(0x5FFFFC);
}

void TestHandleTable::refusesWhatIsNoHandle()
{
    QFETCH(quintptr, value);
    const auto handle = reinterpret_cast<HANDLE>(value);
    QVERIFY(!posix::acquire(handle));
    posix::setLastError(ERROR_SUCCESS);
    QVERIFY(!posix::closeHandle(handle));
    QCOMPARE(posix::lastError(), ERROR_INVALID_HANDLE);
}

void TestHandleTable::keepsAnObjectWhileItIsReferenced()
{
    const std::size_t before = posix::openHandles();
    Fate fate;
    const HANDLE handle = posix::createHandle(std::make_unique<Probe>(fate));
    QVERIFY(handle);
    QCOMPARE(posix::openHandles(), before + 1);
    {
        const posix::ReferenceTo<Probe> inside(handle);
        QVERIFY(inside);
        QVERIFY(posix::closeHandle(handle));
        QCOMPARE(posix::openHandles(), before);
        QCOMPARE(fate.closed.load(), 1);
        QCOMPARE(fate.destroyed.load(), 0);
        QVERIFY(inside->alive);
        QVERIFY(!posix::acquire(handle));
        QVERIFY(!posix::closeHandle(handle));
        QCOMPARE(fate.closed.load(), 1);
    }
    QCOMPARE(fate.destroyed.load(), 1);
}

void TestHandleTable::tellsTypesApart()
{
    const HANDLE handle = posix::createHandle(std::make_unique<Other>());
    QVERIFY(posix::ReferenceTo<Other>(handle));
    QVERIFY(!posix::ReferenceTo<Probe>(handle));
    QVERIFY(posix::closeHandle(handle));
}

void TestHandleTable::refusesAHandleWhoseSlotIsReused()
{
    const HANDLE stale = posix::createHandle(std::make_unique<Other>());
    QVERIFY(posix::closeHandle(stale));
    // Twice round the table: every slot has had a new handle since.
    for (std::size_t round = 0; round < 2 * posix::maximumHandles; ++round) {
        const HANDLE fresh = posix::createHandle(std::make_unique<Other>());
        QVERIFY(fresh && fresh != stale);
        QVERIFY(!posix::acquire(stale));
        QVERIFY(posix::closeHandle(fresh));
    }
}

void TestHandleTable::refusesObjectsWhenFull()
{
    std::vector<HANDLE> handles;
    while (posix::openHandles() < posix::maximumHandles) {
        handles.push_back(posix::createHandle(std::make_unique<Other>()));
        QVERIFY(handles.back());
    }
    Fate fate;
    QVERIFY(!posix::createHandle(std::make_unique<Probe>(fate)));
    QCOMPARE(posix::lastError(), ERROR_NOT_ENOUGH_MEMORY);
    QCOMPARE(fate.destroyed.load(), 1);

    QVERIFY(posix::closeHandle(handles.front()));
    handles.front() = posix::createHandle(std::make_unique<Other>());
    QVERIFY(handles.front());
    for (const HANDLE handle : handles)
        QVERIFY(posix::closeHandle(handle));
}

void TestHandleTable::letsOneOfManyClosersSucceed()
{
    constexpr int closers = 4;
    for (int round = 0; round < 500; ++round) {
        Fate fate;
        const HANDLE handle = posix::createHandle(std::make_unique<Probe>(fate));
        std::atomic<int> succeeded{0};
        std::vector<std::thread> threads;
        for (int closer = 0; closer < closers; ++closer)
            threads.emplace_back([&] { succeeded += posix::closeHandle(handle) ? 1 : 0; });
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(succeeded.load(), 1);
        QCOMPARE(fate.closed.load(), 1);
        QCOMPARE(fate.destroyed.load(), 1);
    }
}

void TestHandleTable::survivesUseDuringClose()
{
    constexpr int users = 3;
    constexpr int rounds = 20000;
    std::atomic<HANDLE> shared{nullptr};
    std::atomic<bool> over{false};
    std::atomic<int> dead{0};
    std::atomic<int> used{0};
    std::vector<std::thread> threads;
    for (int user = 0; user < users; ++user) {
        threads.emplace_back([&] {
            while (!over) {
                const posix::ReferenceTo<Probe> probe(shared.load());
                if (!probe)
                    continue;
                ++used;
                if (!probe->alive)
                    ++dead;
            }
        });
    }
    Fate fate;
    for (int round = 0; round < rounds || used == 0; ++round) {
        const HANDLE handle = posix::createHandle(std::make_unique<Probe>(fate));
        shared = handle;
        if (round % 64 == 0)
            std::this_thread::yield();
        QVERIFY(posix::closeHandle(handle));
    }
    over = true;
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(dead.load(), 0);
    QCOMPARE(fate.destroyed.load(), fate.closed.load());
}

QTEST_GUILESS_MAIN(TestHandleTable)
#include "tst_handletable.moc"
