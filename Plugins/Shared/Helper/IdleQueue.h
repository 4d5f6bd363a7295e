#pragma once

#include <deque>
#include <functional>
#include <memory>

#include "Semaphore.h"

namespace Brindel::GaussianBlur {

// A first-in, first-out queue of tasks that its owner pumps from its idle
// moments. Any thread may add tasks; `updateQueue` runs them, one a call, on
// the thread that calls it, and only one thread may pump at a time. Tasks run
// without the queue's lock held, so they may add tasks; the lock is not
// re-entrant otherwise.
class IdleQueue {
public:
    IdleQueue();
    // Pending tasks are destroyed unrun. No other thread may be inside an
    // operation of the queue.
    virtual ~IdleQueue();
    IdleQueue(const IdleQueue&) = delete;
    IdleQueue& operator=(const IdleQueue&) = delete;

    void async(const std::function<void()>& task);
    bool hasTask();
    // Runs the oldest task, if any. An exception from the task (an empty
    // function throws std::bad_function_call) reaches the caller; the task
    // has been removed by then.
    void updateQueue();
    // Drops every pending task unrun.
    void clearAsyncQueue();

private:
    std::unique_ptr<Semaphore> mLock;
    std::deque<std::function<void()>> mTasks;
};

} // namespace Brindel::GaussianBlur
