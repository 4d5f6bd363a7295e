#include "FrameWorker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

using Brindel::Bench::FrameCost;
using Brindel::Bench::FrameWorker;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

// Each worker is a child process that makes its own GL contexts; this process makes none, so
// that it can fork.
TEST(FrameWorkerGLTest, TwoWorkersRenderInTurnsAndMeasureEveryFrame) {
    FrameWorker a(BRINDEL_PLUGIN_PATH, 64, 48, 3.0, 1);
    FrameWorker b(BRINDEL_PLUGIN_PATH, 64, 48, 0.0, 1);
    double cpuMs = 0.0;
    for (int frame = 0; frame < 3; ++frame) {
        for (FrameWorker* worker : {&a, &b}) {
            const FrameCost cost = worker->render();
            EXPECT_GT(cost.wallMs, 0.0);
            cpuMs += cost.userMs + cost.systemMs;
        }
    }
    EXPECT_GT(cpuMs, 0.0);
}

// A module that cannot be loaded fails its worker with its path; a process of several threads
// may not fork a worker at all.
TEST(FrameWorkerGLTest, RefusesWhatItCannotRunAndSaysWhy) {
    const std::string notAModule = testing::TempDir() + "FrameWorkerGLTest-not-a-module.so";
    std::ofstream(notAModule) << "not a shared object\n";
    for (const std::string& path :
         {testing::TempDir() + "FrameWorkerGLTest-missing.so", notAModule}) {
        FrameWorker worker(path, 64, 48, 1.0, 1);
        EXPECT_THAT([&] { worker.ready(); }, ThrowsMessage<std::runtime_error>(HasSubstr(path)));
    }
    std::thread other([] { std::this_thread::sleep_for(std::chrono::milliseconds(200)); });
    EXPECT_THROW(FrameWorker(BRINDEL_PLUGIN_PATH, 64, 48, 1.0, 1), std::logic_error);
    other.join();
}

} // namespace
