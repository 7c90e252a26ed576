// Preloaded into a program under test: a heap with one lock, in which a thread can be made to
// crash while it holds it. The thread that gets the signal does so at its next allocation.
#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>

// The C library's own heap, under the names that it keeps for this purpose.
extern "C" void *__libc_malloc(std::size_t size);                         // NOLINT
extern "C" void *__libc_calloc(std::size_t count, std::size_t size);      // NOLINT
extern "C" void *__libc_realloc(void *memory, std::size_t size);          // NOLINT
extern "C" void *__libc_memalign(std::size_t boundary, std::size_t size); // NOLINT
extern "C" void __libc_free(void *memory);                                // NOLINT

#define TELLING extern "C" __attribute__((noinline, visibility("default")))

namespace
{

volatile int *volatile nowhere = nullptr;
volatile pid_t threadToCrash = 0;
pthread_mutex_t heapLock = PTHREAD_MUTEX_INITIALIZER;
constexpr int crashSignal = 20; ///< from SIGRTMIN on; crashes.py has the same

} // namespace

TELLING void crash_holding_the_heap()
{
    *nowhere = 1;
}

namespace
{

class Held
{
public:
    Held()
    {
        pthread_mutex_lock(&heapLock);
        if (threadToCrash != 0 && threadToCrash == gettid())
            crash_holding_the_heap();
    }
    ~Held() { pthread_mutex_unlock(&heapLock); }
    Held(const Held &) = delete;
    Held &operator=(const Held &) = delete;
};

void onSignal(int)
{
    threadToCrash = gettid();
}

[[gnu::constructor]] void listen()
{
    struct sigaction action
    {
    };
    action.sa_handler = &onSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGRTMIN + crashSignal, &action, nullptr);
}

} // namespace

TELLING void *malloc(std::size_t size)
{
    const Held held;
    return __libc_malloc(size);
}

TELLING void *calloc(std::size_t count, std::size_t size)
{
    const Held held;
    return __libc_calloc(count, size);
}

TELLING void *realloc(void *memory, std::size_t size)
{
    const Held held;
    return __libc_realloc(memory, size);
}

TELLING void *memalign(std::size_t boundary, std::size_t size)
{
    const Held held;
    return __libc_memalign(boundary, size);
}

TELLING void *aligned_alloc(std::size_t boundary, std::size_t size)
{
    return memalign(boundary, size);
}

TELLING int posix_memalign(void **memory, std::size_t boundary, std::size_t size)
{
    *memory = memalign(boundary, size);
    return *memory ? 0 : 12; // ENOMEM
}

TELLING void free(void *memory)
{
    if (!memory)
        return; // nothing to lock the heap for
    const Held held;
    __libc_free(memory);
}
