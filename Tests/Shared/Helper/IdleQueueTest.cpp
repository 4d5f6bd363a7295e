#include "IdleQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

using Brindel::GaussianBlur::IdleQueue;

namespace {

// Runs `body` on a thread of its own. A queue that kept its lock would hang
// the run on the next call, so after a generous bound the program stops.
void FinishesInTime(const std::function<void()>& body) {
    std::packaged_task<void()> task(body);
    auto done = task.get_future();
    std::thread thread(std::move(task));
    if (done.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        std::fprintf(stderr, "queue call did not return: its lock is still taken\n");
        std::abort();
    }
    thread.join();
    done.get();
}

} // namespace

TEST(IdleQueue, TasksRunInOrderOnePerPumpAndAnEmptyQueueDoesNothing) {
    IdleQueue queue;
    EXPECT_FALSE(queue.hasTask());
    queue.updateQueue();
    std::vector<int> ran;
    for (int i = 0; i < 3; ++i) {
        queue.async([&ran, i] { ran.push_back(i); });
    }
    EXPECT_TRUE(queue.hasTask());
    queue.updateQueue();
    EXPECT_EQ(ran, (std::vector<int>{0}));
    queue.updateQueue();
    queue.updateQueue();
    EXPECT_EQ(ran, (std::vector<int>{0, 1, 2}));
    EXPECT_FALSE(queue.hasTask());
    queue.updateQueue();
    EXPECT_EQ(ran.size(), 3u);
}

TEST(IdleQueue, TaskAddedByATaskRunsOnALaterPump) {
    IdleQueue queue;
    std::vector<int> ran;
    queue.async([&] {
        // The running task has left the queue already.
        ran.push_back(queue.hasTask() ? 10 : 1);
        // Would block for ever if the pump held the lock while running.
        queue.async([&] { ran.push_back(2); });
        ran.push_back(queue.hasTask() ? 3 : 0);
    });
    FinishesInTime([&] { queue.updateQueue(); });
    EXPECT_EQ(ran, (std::vector<int>{1, 3}));
    queue.updateQueue();
    EXPECT_EQ(ran, (std::vector<int>{1, 3, 2}));
    EXPECT_FALSE(queue.hasTask());
}

TEST(IdleQueue, FailingTasksReachThePumpAlreadyRemovedAndLeaveTheLockFree) {
    IdleQueue queue;
    bool lastRan = false;
    queue.async(std::function<void()>());
    queue.async([] { throw std::runtime_error("task failed"); });
    queue.async([&] { lastRan = true; });

    FinishesInTime([&] { EXPECT_THROW(queue.updateQueue(), std::bad_function_call); });
    FinishesInTime([&] { EXPECT_THROW(queue.updateQueue(), std::runtime_error); });
    FinishesInTime([&] { EXPECT_TRUE(queue.hasTask()); });
    queue.updateQueue();
    EXPECT_TRUE(lastRan);
    EXPECT_FALSE(queue.hasTask());
}

TEST(IdleQueue, ClearingOrDestroyingDropsTasksUnrunAndReleasesWhatTheyCaptured) {
    auto captured = std::make_shared<int>(0);
    bool ran = false;
    {
        IdleQueue queue;
        queue.async([captured, &ran] { ran = true; });
        queue.async([captured, &ran] { ran = true; });
        EXPECT_EQ(captured.use_count(), 3);

        // A capture whose release uses the queue: the tasks must be destroyed
        // after the lock is let go.
        struct AddsOnRelease {
            IdleQueue& queue;
            ~AddsOnRelease() {
                queue.async([] {});
            }
        };
        std::shared_ptr<AddsOnRelease> adder(new AddsOnRelease{queue});
        queue.async([adder] {});
        adder.reset();

        FinishesInTime([&] { queue.clearAsyncQueue(); });
        EXPECT_EQ(captured.use_count(), 1);
        // Only the task added during the release is left.
        EXPECT_TRUE(queue.hasTask());

        queue.async([captured, &ran] { ran = true; });
    }
    EXPECT_EQ(captured.use_count(), 1);
    EXPECT_FALSE(ran);
}

TEST(IdleQueue, ManyProducersAndOnePumpRunEveryTaskOnceInEachProducersOrder) {
    constexpr int kProducers = 4;
    constexpr int kTasksEach = 2000;
    IdleQueue queue;
    // Touched by tasks only, so only on the pumping thread: no lock needed,
    // and the thread sanitizer build checks that the queue hands them over.
    std::vector<std::vector<int>> seen(kProducers);
    int runs = 0;

    std::atomic<int> ready{0};
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&, p] {
            ++ready;
            while (ready.load() < kProducers) {
                std::this_thread::yield();
            }
            for (int i = 0; i < kTasksEach; ++i) {
                queue.async([&seen, &runs, p, i] {
                    seen[p].push_back(i);
                    ++runs;
                });
                if (i % 64 == 0) {
                    queue.hasTask();
                }
            }
        });
    }

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (runs < kProducers * kTasksEach) {
        queue.updateQueue();
        if (std::chrono::steady_clock::now() > deadline) {
            std::fprintf(stderr, "only %d tasks ran\n", runs);
            std::abort();
        }
    }
    for (auto& producer : producers) {
        producer.join();
    }

    EXPECT_FALSE(queue.hasTask());
    std::vector<int> expected(kTasksEach);
    std::iota(expected.begin(), expected.end(), 0);
    for (int p = 0; p < kProducers; ++p) {
        EXPECT_EQ(seen[p], expected) << "producer " << p;
    }
}
