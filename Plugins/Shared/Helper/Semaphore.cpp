#include "Semaphore.h"

namespace Brindel::GaussianBlur {

Semaphore::Semaphore(unsigned int count) : mCount(count) {}

Semaphore::~Semaphore() = default;

void Semaphore::wait() {
    std::unique_lock<std::mutex> lock(mMutex);
    ++mWaiting;
    const std::uint64_t generation = mWakeAllGeneration;
    // A unit of the count is taken in preference to a wake-all, so that a
    // signal and a wake-all that meet leave the count as one waiter used it.
    mCondition.wait(lock, [&] { return mCount > 0 || mWakeAllGeneration != generation; });
    if (mCount > 0) {
        --mCount;
    }
    --mWaiting;
}

void Semaphore::signal() {
    signal(1);
}

void Semaphore::signal(unsigned int count) {
    if (count == 0) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mCount += count;
    }
    if (count == 1) {
        mCondition.notify_one();
    } else {
        mCondition.notify_all();
    }
}

void Semaphore::signalAll() {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mWaiting == 0) {
            return;
        }
        ++mWakeAllGeneration;
    }
    mCondition.notify_all();
}

} // namespace Brindel::GaussianBlur
