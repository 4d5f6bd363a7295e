#include "IdleQueue.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "Deadline.h"

using Brindel::GaussianBlur::IdleQueue;

TEST(IdleQueue, RunsOneTaskPerPumpInOrderAndNeverUnderItsLockEvenWhenATaskFails) {
    IdleQueue queue;
    std::vector<int> ran;
    queue.updateQueue(); // an empty queue does nothing
    queue.async([&] {
        ran.push_back(queue.hasTask() ? -1 : 1); // the running task has left the queue
        queue.async([&] { ran.push_back(2); });  // would block if the pump held the lock
    });
    FinishesInTime([&] { queue.updateQueue(); });
    EXPECT_EQ(ran, (std::vector<int>{1}));
    queue.async(std::function<void()>());
    queue.async([] { throw std::runtime_error("task failed"); });
    queue.async([&] { ran.push_back(3); });
    FinishesInTime([&] {
        queue.updateQueue();
        EXPECT_THROW(queue.updateQueue(), std::bad_function_call);
        EXPECT_THROW(queue.updateQueue(), std::runtime_error); // removed before it ran
        queue.updateQueue();
        queue.updateQueue();
    });
    EXPECT_EQ(ran, (std::vector<int>{1, 2, 3}));
    EXPECT_FALSE(queue.hasTask());
}

TEST(IdleQueue, ClearingOrDestroyingDropsTasksUnrunAndReleasesTheirCapturesOutsideTheLock) {
    struct AddsOnRelease { // its release uses the queue
        IdleQueue& queue;
        ~AddsOnRelease() {
            queue.async([] {});
        }
    };
    auto captured = std::make_shared<int>(0);
    {
        IdleQueue queue;
        queue.async([captured] { ADD_FAILURE() << "a cleared task ran"; });
        queue.async([adder = std::make_shared<AddsOnRelease>(AddsOnRelease{queue})] {});
        FinishesInTime([&] { queue.clearAsyncQueue(); });
        EXPECT_EQ(captured.use_count(), 1);
        EXPECT_TRUE(queue.hasTask()); // only the task added during the release
        queue.async([captured] { ADD_FAILURE() << "a destroyed queue's task ran"; });
    }
    EXPECT_EQ(captured.use_count(), 1);
}

TEST(IdleQueue, ManyProducersAndOnePumpRunEveryTaskOnceInEachProducersOrder) {
    constexpr int kProducers = 4, kTasksEach = 2000;
    IdleQueue queue;
    // Touched by tasks only, so only on the pumping thread: the sanitizer build checks the
    // hand-over.
    std::vector<int> next(kProducers, 0);
    int runs = 0, outOfOrder = 0;
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&, p] {
            for (int i = 0; i < kTasksEach; ++i) {
                queue.async([&, p, i] { outOfOrder += next[p]++ != i, ++runs; });
            }
        });
    }
    WaitUntil([&] { return queue.updateQueue(), runs == kProducers * kTasksEach; },
              "every task ran");
    for (auto& producer : producers) {
        producer.join();
    }
    EXPECT_EQ(outOfOrder, 0);
    EXPECT_FALSE(queue.hasTask());
}
