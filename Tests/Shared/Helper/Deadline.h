#pragma once

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

// A lock or a semaphore that never lets go would hang the run: past a generous bound the
// program stops instead.
template <typename F> void WaitUntil(F condition, const char* what) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            std::fprintf(stderr, "gave up waiting until %s\n", what);
            std::abort();
        }
        std::this_thread::yield();
    }
}

// Runs body on a thread of its own, within the same bound.
template <typename F> void FinishesInTime(F body) {
    std::atomic<bool> done{false};
    std::thread thread([&] { body(), done = true; });
    WaitUntil([&] { return done.load(); }, "the call returned");
    thread.join();
}
