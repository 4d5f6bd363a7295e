#include "Semaphore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

using Brindel::GaussianBlur::Semaphore;

namespace {

// Waits for `condition` to hold. A semaphore that never lets a thread through
// would hang the run, so after a generous bound the program stops instead.
void WaitUntil(const std::function<bool()>& condition, const char* what) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            std::fprintf(stderr, "gave up waiting until %s\n", what);
            std::abort();
        }
        std::this_thread::yield();
    }
}

// `count` threads that each wait once on `semaphore`, counting in `passed`.
class Waiters {
public:
    Waiters(Semaphore& semaphore, int count) {
        for (int i = 0; i < count; ++i) {
            mThreads.emplace_back([&] {
                semaphore.wait();
                ++mPassed;
            });
        }
    }
    ~Waiters() {
        for (auto& thread : mThreads) {
            thread.join();
        }
    }

    int passed() const { return mPassed.load(); }

private:
    std::atomic<int> mPassed{0};
    std::vector<std::thread> mThreads;
};

} // namespace

TEST(Semaphore, WaitsPassWhileTheCountLastsThenEachSignalLetsThatManyThrough) {
    Semaphore semaphore(2);
    semaphore.wait();
    semaphore.wait();

    Waiters waiters(semaphore, 4);
    WaitUntil([&] { return semaphore.waiting() == 4; }, "four threads wait on a spent count");
    semaphore.signal(0u);
    semaphore.signal(3u);
    WaitUntil([&] { return waiters.passed() == 3; }, "three waits pass");
    // The fourth stays blocked: the count is spent again.
    EXPECT_EQ(semaphore.waiting(), 1);
    EXPECT_EQ(waiters.passed(), 3);

    semaphore.signal();
    WaitUntil([&] { return waiters.passed() == 4; }, "the last wait passes");
}

TEST(Semaphore, SignalAllWakesTheWaitersOfThatMomentAndLeavesTheCount) {
    Semaphore semaphore(1);
    // With nobody waiting the unit stays and nothing is added.
    semaphore.signalAll();
    semaphore.wait();
    {
        Waiters waiters(semaphore, 3);
        WaitUntil([&] { return semaphore.waiting() == 3; }, "three threads wait");
        semaphore.signalAll();
        WaitUntil([&] { return waiters.passed() == 3; }, "all three are woken");
    }

    // Nothing was left for later waits either.
    Waiters later(semaphore, 2);
    WaitUntil([&] { return semaphore.waiting() == 2; }, "two later threads wait");
    EXPECT_EQ(later.passed(), 0);
    semaphore.signal(2u);
}

TEST(Semaphore, CountOfOneExcludesOtherThreadsAndPublishesTheirWrites) {
    Semaphore lock(1);
    // Deliberately not atomic: the semaphore alone orders the writes, and a
    // race here is what the thread sanitizer build reports.
    long counter = 0;
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                lock.wait();
                const long seen = counter;
                std::this_thread::yield();
                counter = seen + 1;
                lock.signal();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, kThreads * kRounds);
}
