#include "Semaphore.h"

#include <gtest/gtest.h>

#include <vector>

#include "Deadline.h"

using Brindel::GaussianBlur::Semaphore;

TEST(Semaphore, EachSignalLetsThatManyWaitsThroughAndSignalAllOnlyThoseWaiting) {
    Semaphore semaphore(2);
    std::atomic<int> passed{0};
    std::vector<std::thread> threads;
    auto waitOn = [&](int count) {
        for (int i = 0; i < count; ++i) {
            threads.emplace_back([&] { semaphore.wait(), ++passed; });
        }
    };
    semaphore.signalAll(); // nobody waits: nothing is added
    waitOn(6);
    WaitUntil([&] { return semaphore.waiting() == 4; }, "four threads wait on a spent count");
    semaphore.signal(0u);
    semaphore.signal(1u);
    WaitUntil([&] { return passed == 3; }, "one more wait passes");
    semaphore.signal(2u);
    WaitUntil([&] { return passed == 5; }, "a signal of two lets two waits through");
    EXPECT_EQ(semaphore.waiting(), 1);
    semaphore.signalAll();
    WaitUntil([&] { return passed == 6; }, "every waiter is woken");
    waitOn(1); // signalAll left nothing for later waits
    WaitUntil([&] { return semaphore.waiting() == 1; }, "a later thread waits");
    EXPECT_EQ(passed, 6);
    semaphore.signal();
    for (auto& thread : threads) {
        thread.join();
    }
}
