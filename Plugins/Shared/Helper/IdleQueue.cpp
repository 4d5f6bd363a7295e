#include "IdleQueue.h"

#include <utility>

namespace Brindel::GaussianBlur {

namespace {

// Holds a semaphore of count 1 as a lock for one scope, so that an exception
// (a task copy that runs out of memory) cannot leave it taken.
class Hold {
public:
    explicit Hold(Semaphore& lock) : mLock(lock) { mLock.wait(); }
    ~Hold() { mLock.signal(); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    Semaphore& mLock;
};

} // namespace

IdleQueue::IdleQueue() : mLock(std::make_unique<Semaphore>(1)) {}

IdleQueue::~IdleQueue() = default;

void IdleQueue::async(const std::function<void()>& task) {
    Hold hold(*mLock);
    mTasks.push_back(task);
}

bool IdleQueue::hasTask() {
    Hold hold(*mLock);
    return !mTasks.empty();
}

void IdleQueue::updateQueue() {
    std::function<void()> task;
    {
        // The emptiness test and the removal share one hold, so a second
        // pumper can never find the queue emptied between them.
        Hold hold(*mLock);
        if (mTasks.empty()) {
            return;
        }
        task = std::move(mTasks.front());
        mTasks.pop_front();
    }
    // Run outside the lock: the task may add tasks to this queue, and those
    // wait for a later call.
    task();
}

void IdleQueue::clearAsyncQueue() {
    std::deque<std::function<void()>> dropped;
    {
        Hold hold(*mLock);
        dropped.swap(mTasks);
    }
    // The dropped tasks are destroyed here, after the lock is let go, so that
    // whatever they captured may use the queue as it goes.
}

} // namespace Brindel::GaussianBlur
