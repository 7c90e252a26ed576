// Reference-counted objects, task memory, GUIDs and the state of each thread.
#include "platform/comptr.h"
#include "platform/posix/comobject.h"
#include "platform/posix/comruntime.h"
#include "platform/posix/lasterror.h"
#include "platform/posix/taskmemory.h"

#include <QTest>

#include <atomic>
#include <set>
#include <string>
#include <thread>

namespace
{

constexpr HRESULT untouched = 0x1234;

/// Two interfaces in one object.
class Pair final : public posix::ComObject<IPropertyStore, IAudioRenderClient>
{
public:
    HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY, PROPVARIANT *) override { return untouched; }
    HRESULT STDMETHODCALLTYPE GetBuffer(UINT32, BYTE **) override { return untouched; }
    HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32, DWORD) override { return untouched; }
};

/// An interface that extends another.
class Client final : public posix::ComObject<IAudioClient3>
{
public:
    HRESULT STDMETHODCALLTYPE Initialize(AUDCLNT_SHAREMODE, DWORD, REFERENCE_TIME, REFERENCE_TIME,
                                         const WAVEFORMATEX *, LPCGUID) override
    {
        return untouched;
    }
    HRESULT STDMETHODCALLTYPE GetBufferSize(UINT32 *) override { return untouched; }
    HRESULT STDMETHODCALLTYPE GetCurrentPadding(UINT32 *) override { return untouched; }
    HRESULT STDMETHODCALLTYPE GetMixFormat(WAVEFORMATEX **) override { return untouched; }
    HRESULT STDMETHODCALLTYPE GetDevicePeriod(REFERENCE_TIME *, REFERENCE_TIME *) override
    {
        return untouched;
    }
    HRESULT STDMETHODCALLTYPE Start() override { return untouched; }
    HRESULT STDMETHODCALLTYPE Stop() override { return untouched; }
    HRESULT STDMETHODCALLTYPE Reset() override { return untouched; }
    HRESULT STDMETHODCALLTYPE SetEventHandle(HANDLE) override { return untouched; }
    HRESULT STDMETHODCALLTYPE GetService(REFIID, void **) override { return untouched; }
    HRESULT STDMETHODCALLTYPE GetSharedModeEnginePeriod(const WAVEFORMATEX *, UINT32 *, UINT32 *,
                                                        UINT32 *, UINT32 *) override
    {
        return untouched;
    }
    HRESULT STDMETHODCALLTYPE InitializeSharedAudioStream(DWORD, UINT32, const WAVEFORMATEX *,
                                                          LPCGUID) override
    {
        return untouched;
    }
};

template <typename Interface>
ComPtr<Interface> query(IUnknown *object, REFIID id)
{
    ComPtr<Interface> result;
    object->QueryInterface(id, result.receiveVoid());
    return result;
}

} // namespace

class TestComObject : public QObject
{
    Q_OBJECT

private slots:
    void init() { objectsBefore = posix::liveComObjects(); }
    void cleanup() { QCOMPARE(posix::liveComObjects(), objectsBefore); }

    void answersForItsInterfaces();
    void answersForTheExtendedInterface();
    void refusesOtherInterfaces();
    void countsReferencesFromManyThreads();
    void taskMemoryIsCounted();
    void propVariantGivesItsStringBack();
    void guidsAreRandom();
    void comIsCountedByThread();
    void lastErrorBelongsToItsThread();

private:
    std::size_t objectsBefore = 0;
};

void TestComObject::answersForItsInterfaces()
{
    const auto store = ComPtr<IPropertyStore>::adopt(new Pair);
    QCOMPARE(posix::liveComObjects(), objectsBefore + 1);
    const auto render = query<IAudioRenderClient>(store.get(), IID_IAudioRenderClient);
    QVERIFY(render);
    QCOMPARE(render->ReleaseBuffer(0, 0), untouched);
    const auto same = query<IPropertyStore>(render.get(), IID_IPropertyStore);
    QCOMPARE(same.get(), store.get());
    // The identity is one, whichever interface is asked for it.
    const auto identity = query<IUnknown>(store.get(), IID_IUnknown);
    QCOMPARE(query<IUnknown>(render.get(), IID_IUnknown).get(), identity.get());
}

void TestComObject::answersForTheExtendedInterface()
{
    const auto client = ComPtr<IAudioClient3>::adopt(new Client);
    const auto base = query<IAudioClient>(client.get(), IID_IAudioClient);
    QVERIFY(base);
    QCOMPARE(query<IAudioClient3>(base.get(), IID_IAudioClient3).get(), client.get());
}

void TestComObject::refusesOtherInterfaces()
{
    const auto store = ComPtr<IPropertyStore>::adopt(new Pair);
    void *result = store.get();
    QCOMPARE(store->QueryInterface(IID_IMMDevice, &result), E_NOINTERFACE);
    QCOMPARE(result, nullptr);
    QCOMPARE(store->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

void TestComObject::countsReferencesFromManyThreads()
{
    auto *object = new Pair;
    std::vector<std::thread> threads;
    for (int user = 0; user < 4; ++user) {
        threads.emplace_back([object] {
            for (int round = 0; round < 10000; ++round) {
                object->AddRef();
                object->Release();
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(object->AddRef(), 2u);
    QCOMPARE(object->Release(), 1u);
    QCOMPARE(object->Release(), 0u);
}

void TestComObject::taskMemoryIsCounted()
{
    const std::size_t before = posix::taskMemoryBlocks();
    void *block = posix::taskMemoryAlloc(100);
    void *empty = posix::taskMemoryAlloc(0);
    QVERIFY(block && empty);
    QCOMPARE(posix::taskMemoryBlocks(), before + 2);
    posix::taskMemoryFree(nullptr);
    QCOMPARE(posix::taskMemoryBlocks(), before + 2);
    posix::taskMemoryFree(block);
    posix::taskMemoryFree(empty);
    QCOMPARE(posix::taskMemoryBlocks(), before);
}

void TestComObject::propVariantGivesItsStringBack()
{
    const std::size_t before = posix::taskMemoryBlocks();
    PROPVARIANT value;
    PropVariantInit(&value);
    value.vt = VT_LPWSTR;
    value.pwszVal = posix::taskMemoryString(QStringLiteral("Kopfhörer 耳机"));
    QCOMPARE(QString::fromWCharArray(value.pwszVal), QStringLiteral("Kopfhörer 耳机"));
    QCOMPARE(posix::propVariantClear(&value), S_OK);
    QCOMPARE(value.vt, VT_EMPTY);
    QCOMPARE(value.pwszVal, nullptr);
    QCOMPARE(posix::taskMemoryBlocks(), before);
    QCOMPARE(posix::propVariantClear(&value), S_OK); // an empty one
    QCOMPARE(posix::propVariantClear(nullptr), E_POINTER);
}

void TestComObject::guidsAreRandom()
{
    std::set<std::string> seen;
    for (int round = 0; round < 100; ++round) {
        GUID guid{};
        QCOMPARE(posix::createGuid(&guid), S_OK);
        QCOMPARE(guid.Data3 >> 12, 4);
        QCOMPARE(guid.Data4[0] >> 6, 2);
        seen.insert(std::string(reinterpret_cast<const char *>(&guid), sizeof(guid)));
    }
    QCOMPARE(seen.size(), std::size_t(100));
    QCOMPARE(posix::createGuid(nullptr), E_POINTER);
}

void TestComObject::comIsCountedByThread()
{
    std::thread([] {
        posix::uninitializeCom(); // never started here
        QCOMPARE(posix::initializeCom(), S_OK);
        QCOMPARE(posix::initializeCom(), S_FALSE);
        posix::uninitializeCom();
        posix::uninitializeCom();
        QCOMPARE(posix::initializeCom(), S_OK);
    }).join();
}

void TestComObject::lastErrorBelongsToItsThread()
{
    DWORD elsewhere = ERROR_INVALID_HANDLE;
    std::atomic isSet{false};
    std::atomic isRead{false};
    std::thread other([&] {
        while (!isSet)
            std::this_thread::yield();
        elsewhere = posix::lastError();
        posix::setLastError(ERROR_INVALID_HANDLE);
        isRead = true;
    });
    posix::setLastError(ERROR_ACCESS_DENIED);
    isSet = true;
    while (!isRead)
        std::this_thread::yield();
    const DWORD here = posix::lastError(); // before a call of the system resets it
    other.join();
    QCOMPARE(elsewhere, ERROR_SUCCESS);
    QCOMPARE(here, ERROR_ACCESS_DENIED);
}

QTEST_GUILESS_MAIN(TestComObject)
#include "tst_comobject.moc"
