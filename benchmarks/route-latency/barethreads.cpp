// What a route's four threads take when they only wake each other: no sound, no PipeWire, no Qt.
//
//   barethreads QUANTUM [SECONDS]
//
// A process in the server's place wakes the data thread twice a cycle: for the endpoint's stream,
// where that arms the play thread's timer, and for the speaker's, where it wakes the reader, which
// wakes the worker. Prints each one's share of a processor.
#include "platform/posix/realtimepriority.h"
#include "realtime.h"

#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace
{
using namespace std::chrono_literals;
using std::chrono::nanoseconds;

constexpr int sampleRate = 48000;
constexpr int serverPriority = 88;
/// The part of a cycle after which the play thread is called, as by the program.
constexpr int playPart = 4;
/// From the endpoint's stream to the speaker's, whose block an application has to write first.
constexpr nanoseconds applicationTime = 300us;

double processorSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

/// What one sleeps on and another, or a timer, wakes it by.
class WakeUp
{
public:
    explicit WakeUp(int descriptor) : descriptor(descriptor) {}

    void call() const
    {
        const uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(descriptor, &one, sizeof one);
    }
    void await() const
    {
        uint64_t count = 0;
        [[maybe_unused]] const auto taken = ::read(descriptor, &count, sizeof count);
    }
    void callAfter(nanoseconds delay) const
    {
        itimerspec order{};
        order.it_value.tv_nsec = delay.count();
        timerfd_settime(descriptor, 0, &order, nullptr);
    }

private:
    const int descriptor;
};

struct Threads
{
    // Each call counts, also where the one that is called comes late.
    const WakeUp data{eventfd(0, EFD_SEMAPHORE)};
    const WakeUp reader{eventfd(0, EFD_SEMAPHORE)};
    const WakeUp worker{eventfd(0, EFD_SEMAPHORE)};
    const WakeUp play{timerfd_create(CLOCK_MONOTONIC, 0)};
};

void serve(const WakeUp &data, int cycles, nanoseconds cycle)
{
    requestRealtime(serverPriority);
    auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < cycles; ++i, begin += cycle) {
        std::this_thread::sleep_until(begin);
        data.call();
        std::this_thread::sleep_until(begin + applicationTime);
        data.call();
    }
}

/// Runs its steps until the server has ended; the share of a processor goes to `share`.
template <typename Step>
std::thread run(int priority, const std::atomic<bool> &ended, double &share, Step step)
{
    return std::thread([=, &ended, &share] {
        requestRealtime(priority);
        const double before = processorSeconds();
        const auto begin = std::chrono::steady_clock::now();
        while (!ended)
            step();
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
        share = 100 * (processorSeconds() - before) / elapsed.count();
    });
}
} // namespace

int main(int argc, char **argv)
{
    const int quantum = argc > 1 ? std::atoi(argv[1]) : 0;
    const int seconds = argc > 2 ? std::atoi(argv[2]) : 10;
    // Both calls lie within a cycle, and the timer is told no whole seconds.
    const nanoseconds cycle = nanoseconds(1s) * quantum / sampleRate;
    if (cycle < 2 * applicationTime || cycle > 1s || seconds < 1) {
        std::fputs("usage: barethreads QUANTUM [SECONDS]\n", stderr);
        return 2;
    }
    const int cycles = int(nanoseconds(1s) * seconds / cycle);
    const Threads threads;

    const pid_t server = fork();
    if (server < 0) {
        std::perror("barethreads");
        return 1;
    }
    if (server == 0) {
        serve(threads.data, cycles, cycle);
        _exit(0);
    }
    std::atomic<bool> ended{false};
    std::array<double, 4> shares{};
    std::array all{
        run(posix::fedPriority, ended, shares[0],
            [&threads, cycle] {
                threads.data.await();
                threads.play.callAfter(cycle / playPart);
                threads.data.await();
                threads.reader.call();
            }),
        run(posix::pacedPriority, ended, shares[1],
            [&threads] {
                threads.reader.await();
                threads.worker.call();
            }),
        run(posix::fedPriority, ended, shares[2], [&threads] { threads.worker.await(); }),
        run(posix::pacedPriority, ended, shares[3], [&threads] { threads.play.await(); }),
    };
    waitpid(server, nullptr, 0);
    ended = true;
    for (const WakeUp *wakeUp : {&threads.data, &threads.data, &threads.reader, &threads.worker})
        wakeUp->call();
    threads.play.callAfter(1ns);
    for (std::thread &thread : all)
        thread.join();
    const auto [data, reader, worker, play] = shares;
    std::printf("bare threads   quantum %5d: data %.2f, reader %.2f, worker %.2f, play %.2f, "
                "CPU %.2f %% of a core\n",
                quantum, data, reader, worker, play, data + reader + worker + play);
}
