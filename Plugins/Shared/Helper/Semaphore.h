#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace Brindel::GaussianBlur {

// A counting semaphore: `wait` takes one unit of the count, blocking while
// there is none; `signal` gives units back. `signalAll` wakes every thread
// blocked in `wait` at that moment without adding to the count.
class Semaphore {
public:
    explicit Semaphore(unsigned int count);
    virtual ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    void wait();
    void signal();
    // Gives `count` units at once; 0 does nothing.
    void signal(unsigned int count);
    void signalAll();

    // Threads inside `wait` now; a thread counts from the moment it is
    // entered, so once this reads N, a following `signalAll` wakes all N.
    std::int64_t waiting() const { return mWaiting.load(); }

private:
    std::mutex mMutex;
    std::condition_variable mCondition;
    std::uint64_t mCount;
    // Bumped by `signalAll`; a waiter that sees it change was woken by it.
    std::uint64_t mWakeAllGeneration = 0;
    std::atomic<std::int64_t> mWaiting{0};
};

} // namespace Brindel::GaussianBlur
