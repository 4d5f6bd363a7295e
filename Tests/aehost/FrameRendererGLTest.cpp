// A frame that the GPU fails inside the effect, through the host library, with the GPU fault
// injector preloaded into this program.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "EffectHost.h"
#include "FrameRenderer.h"
#include "RandomFrame.h"
#include "World.h"

using namespace Brindel::Host;

namespace {

// Renders a frame of random pixels per width (a 4:3 frame) in one session; with `arm`, the first
// storage call of frame `failing` (from 1) fails. Frames that failed give empty outputs and their
// codes.
std::vector<std::string> Render(const std::vector<A_long>& widths, int (*arm)(const char*, long),
                                size_t failing, std::vector<PF_Err>& codes) {
    EffectHost host(BRINDEL_PLUGIN_PATH);
    FrameRenderer renderer(host, 3.0, 1, 1);
    std::vector<std::string> outputs;
    for (size_t i = 0; i < widths.size(); ++i) {
        const A_long width = widths[i], height = width * 3 / 4;
        std::string bytes = Brindel::Testing::RandomFrame(width, height, i + 1);
        std::string out(bytes.size(), '\0');
        World input(width, height, PF_PixelFormat_ARGB32, width * 4, bytes.data());
        World output(width, height, PF_PixelFormat_ARGB32, width * 4, out.data());
        if (arm != nullptr && i + 1 == failing) {
            arm("storage", 1);
        }
        try {
            renderer.render(input, output);
            outputs.push_back(out);
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
    const auto arm =
        reinterpret_cast<int (*)(const char*, long)>(dlsym(RTLD_DEFAULT, "gpu_fault_arm"));
    const auto fired = reinterpret_cast<int (*)()>(dlsym(RTLD_DEFAULT, "gpu_fault_fired"));
    ASSERT_TRUE(arm != nullptr && fired != nullptr) << "the GPU fault injector is not preloaded";

    // A smaller first frame, so that the second needs storage of its own size.
    const std::vector<A_long> widths = {32, 64, 64, 64};
    std::vector<PF_Err> none, codes;
    const std::vector<std::string> expected = Render(widths, nullptr, 0, none);
    ASSERT_TRUE(none.empty());
    const std::vector<std::string> got = Render(widths, arm, 2, codes);

    ASSERT_TRUE(fired()) << "frame 2 made no storage call";
    EXPECT_EQ(codes, std::vector<PF_Err>{PF_Err_OUT_OF_MEMORY});
    EXPECT_TRUE(got[1].empty()) << "frame 2 was handed back as rendered";
    for (size_t frame : {0, 2, 3}) {
        EXPECT_TRUE(got[frame] == expected[frame]) << "frame " << frame + 1;
    }
}
