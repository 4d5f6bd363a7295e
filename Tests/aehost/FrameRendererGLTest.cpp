// A frame that the GPU fails inside the effect, through the host library, with the GPU fault
// injector preloaded into this program.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "EffectHost.h"
#include "FrameRenderer.h"
#include "RandomFrame.h"
#include "World.h"

using namespace Brindel::Host;

namespace {

using Arm = int (*)(const char*, long);
using Fired = int (*)();

std::unique_ptr<World> Frame(A_long width, A_long height, unsigned seed) {
    auto world = std::make_unique<World>(width, height, PF_PixelFormat_ARGB32);
    const std::string bytes = Brindel::Testing::RandomFrame(width, height, seed);
    for (A_long y = 0; y < height; ++y) {
        std::memcpy(world->row(y), bytes.data() + y * width * 4, width * 4);
    }
    return world;
}

std::string Bytes(const World& world) {
    std::string bytes;
    for (A_long y = 0; y < world.height(); ++y) {
        bytes.append(reinterpret_cast<const char*>(world.row(y)), world.width() * 4);
    }
    return bytes;
}

// Renders the frames in one session; with `arm`, the first storage call of frame `failing`
// (from 1) fails. The outputs of frames that failed are empty, their codes in `codes`.
std::vector<std::string> Render(const std::vector<std::unique_ptr<World>>& frames, Arm arm,
                                long failing, std::vector<PF_Err>& codes) {
    EffectHost host(BRINDEL_PLUGIN_PATH);
    FrameRenderer renderer(host, 3.0, 1, 1);
    std::vector<std::string> outputs;
    for (size_t i = 0; i < frames.size(); ++i) {
        World output(frames[i]->width(), frames[i]->height(), PF_PixelFormat_ARGB32);
        if (arm != nullptr && static_cast<long>(i + 1) == failing) {
            arm("storage", 1);
        }
        try {
            renderer.render(*frames[i], output);
            outputs.push_back(Bytes(output));
        } catch (const PluginError& e) {
            EXPECT_EQ(e.frame(), static_cast<long>(i + 1)) << e.what();
            codes.push_back(e.code());
            outputs.emplace_back();
        }
    }
    renderer.finish();
    return outputs;
}

} // namespace

TEST(FrameRendererFailedFrame, OutOfGpuMemoryFailsThatFrameAloneAndTheNextAreExact) {
    const auto arm = reinterpret_cast<Arm>(dlsym(RTLD_DEFAULT, "gpu_fault_arm"));
    const auto fired = reinterpret_cast<Fired>(dlsym(RTLD_DEFAULT, "gpu_fault_fired"));
    ASSERT_NE(arm, nullptr) << "the GPU fault injector is not preloaded";
    ASSERT_NE(fired, nullptr);

    // A smaller first frame, so that the second needs storage of its own size.
    std::vector<std::unique_ptr<World>> frames;
    frames.push_back(Frame(32, 24, 1));
    for (unsigned seed = 2; seed <= 4; ++seed) {
        frames.push_back(Frame(64, 48, seed));
    }
    std::vector<PF_Err> none, codes;
    const std::vector<std::string> expected = Render(frames, nullptr, 0, none);
    ASSERT_TRUE(none.empty());
    const std::vector<std::string> got = Render(frames, arm, 2, codes);

    ASSERT_TRUE(fired()) << "frame 2 made no storage call";
    EXPECT_EQ(codes, std::vector<PF_Err>{PF_Err_OUT_OF_MEMORY});
    EXPECT_TRUE(got[0] == expected[0]) << "frame 1";
    EXPECT_TRUE(got[1].empty()) << "frame 2 was handed back as rendered";
    EXPECT_TRUE(got[2] == expected[2]) << "frame 3";
    EXPECT_TRUE(got[3] == expected[3]) << "frame 4";
}
