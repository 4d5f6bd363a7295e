// The frei0r module inside Debian's ffmpeg and melt, run as their users run them, on small
// generated clips; frames compared with aehost's.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "Frei0rTestSupport.h"
#include "GpuFaultSweep.h"
#include "RandomFrame.h"
#include "ScratchFolder.h"

namespace fs = std::filesystem;
using namespace Brindel::Testing;

namespace {

const std::string kFfmpeg = "ffmpeg -nostdin -loglevel error ";
const std::string kFilter = " -vf frei0r=filter_name=gaussian_blur:filter_params=";

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class Frei0rMedia : public ::testing::Test {
protected:
    // A tool run in the test's folder that finds the module through FREI0R_PATH (`modules`),
    // and the effect beside it; the run must succeed.
    ChildProcess::Result tool(const std::string& line, const std::string& modules = BRIDGE_DIR,
                              std::vector<std::string> environment = {}) {
        environment.push_back("FREI0R_PATH=" + modules);
        environment.push_back("GAUSSIAN_BLUR_PLUGIN=");
        ChildProcess::Result r =
            ChildProcess::Run(ChildProcess::Words(line), folder.path(), "", environment);
        EXPECT_EQ(r.status, 0) << line << ": " << r.err;
        return r;
    }
    // Three 96x64 frames of the test source in `clip`, in the format that `arguments` ask for.
    void make(const std::string& clip, const std::string& arguments) {
        tool(kFfmpeg + "-f lavfi -i testsrc2=s=96x64:r=10" + arguments + " -frames:v 3 " + clip);
    }
    // What ffmpeg reads with the options `input`, as it hands frames to an RGBA filter, written
    // into a pipe; through the effect at Blur Scale `blur` unless that is empty.
    ChildProcess::Result rgba(const std::string& input, const std::string& blur = "",
                              const std::string& modules = BRIDGE_DIR,
                              std::vector<std::string> environment = {}) {
        return tool(kFfmpeg + input + (blur.empty() ? "" : kFilter + blur) +
                        " -f rawvideo -pix_fmt rgba -",
                    modules, std::move(environment));
    }
    // Three 96x64 frames blurred at Blur Scale 0.1667 are aehost's for the same input within a
    // level.
    void expectAehosts(const std::string& blurred, const std::string& input) {
        EXPECT_NE(blurred, input) << "the frames were not blurred";
        EXPECT_EQ(blurred.size(), size_t{96} * 64 * 4 * 3);
        std::string what;
        EXPECT_TRUE(WithinLevels(RgbaToArgb(blurred),
                                 AehostRaw(folder.path(), 96, 64, 0.1667 * 60, RgbaToArgb(input)),
                                 1, what))
            << what;
    }

    ScratchFolder folder;
};

// A coded clip, with ffmpeg's own conversion from YUV, and a lossless one whose alpha runs from
// clear on the left to opaque on the right; ffmpeg writes into a pipe, which must hold the
// frames and nothing that the effect prints. Melt writes images of its own, read back here.
TEST_F(Frei0rMedia, FfmpegAndMeltFramesMatchAehostOnCodedAndTransparentClipsThroughAPipe) {
    make("coded.mp4", " -pix_fmt yuv420p -c:v libx264");
    make("alpha.mkv", ",format=rgba,geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='255*X/W' -c:v png");
    make("opaque.mkv", " -pix_fmt rgb24 -c:v png");
    tool("melt -silent opaque.mkv -consumer avformat:plain-%03d.png vcodec=png");
    tool("melt -silent opaque.mkv -filter frei0r.gaussian_blur 0=0.1667 "
         "-consumer avformat:blurred-%03d.png vcodec=png");
    for (const std::string clip : {"coded.mp4", "alpha.mkv"}) {
        SCOPED_TRACE(clip);
        expectAehosts(rgba("-i " + clip, "0.1667").out, rgba("-i " + clip).out);
    }
    expectAehosts(rgba("-i blurred-%03d.png").out, rgba("-i plain-%03d.png").out);
}

// The effect is a guest: the host's allocator is left as it is, and its memory must stay flat
// however long the stream, on every branch of the blur: 0 and 0.4 px take the single pass,
// 3 px the two passes.
TEST_F(Frei0rMedia, FfmpegPeakMemoryStaysFlatOverALongStreamAtEveryBlurBranch) {
    for (const char* blur : {"0", "0.0066667", "0.05"}) {
        double peak[2] = {};
        for (const int frames : {40, 240}) {
            peak[frames == 240] = tool(kFfmpeg + "-f lavfi -i testsrc2=s=320x180:r=25 -frames:v " +
                                       std::to_string(frames) + kFilter + blur + " -f null -")
                                      .peakMiB;
        }
        EXPECT_LT(peak[1] - peak[0], 16.0) << "Blur Scale " << blur << ": " << peak[0]
                                           << " MiB after 40 frames, " << peak[1] << " after 240";
    }
}

// Modules are often installed as links into a folder on FREI0R_PATH. The effect is looked for
// beside the module's real file, then beside the link; when it is in neither, frames pass
// through and the message names both.
TEST_F(Frei0rMedia, FfmpegFindsTheEffectBesideALinkedModuleOrNamesBothPlaces) {
    const fs::path real = fs::path(BRIDGE_DIR) / "gaussian_blur.so";
    const fs::path lone = folder / "lone", link = folder / "link";
    fs::create_directories(lone);
    fs::copy_file(real, lone / "gaussian_blur.so");
    make("clip.mkv", " -pix_fmt rgba -c:v png");
    const std::string input = rgba("-i clip.mkv").out;
    const struct {
        fs::path target; // what the link in the FREI0R_PATH folder points at
        bool effectBesideLink;
        bool blurs;
    } cases[] = {{real, false, true},
                 {lone / "gaussian_blur.so", true, true},
                 {lone / "gaussian_blur.so", false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.target.string() + (c.effectBesideLink ? ", effect beside the link" : ""));
        fs::remove_all(link);
        fs::create_directories(link);
        fs::create_symlink(c.target, link / "gaussian_blur.so");
        if (c.effectBesideLink) {
            fs::create_symlink(fs::path(BRIDGE_DIR) / "GaussianBlur.so", link / "GaussianBlur.so");
        }
        const ChildProcess::Result r = rgba("-i clip.mkv", "0.1667", link.string());
        if (c.blurs) {
            EXPECT_FALSE(Has(r.err, "gaussian_blur:")) << r.err;
            expectAehosts(r.out, input);
        } else {
            EXPECT_TRUE(r.out == input) << "frames did not pass through";
            EXPECT_TRUE(Has(r.err, (lone / "GaussianBlur.so").string()) &&
                        Has(r.err, (link / "GaussianBlur.so").string()))
                << r.err;
        }
    }
}

// Three frames, at Blur Scale 0 and 3 pixels: a failure in the first or second must not spoil
// the frames after it, and a frame that fails passes through with a line saying so.
TEST_F(Frei0rMedia, EveryInjectedGpuFailureGivesTheBlurredFrameOrTheInputWithALine) {
    constexpr size_t kFrameBytes = size_t{64} * 48 * 4;
    const std::string input =
        RandomFrame(64, 48, 21, 3) + RandomFrame(64, 48, 22, 3) + RandomFrame(64, 48, 23, 3);
    ScratchFolder::Write(folder / "in.rgba", input);
    const std::string kPassed = "; the frame passes through unchanged";
    GpuFaultSweep sweep(GPU_FAULT_INJECTOR_PATH);
    for (const std::string blur : {"0", "0.05"}) {
        std::string reference;
        const auto run = [&](const std::string& fault) -> std::string {
            const ChildProcess::Result r = rgba("-f rawvideo -pix_fmt rgba -s 64x48 -i in.rgba",
                                                blur, BRIDGE_DIR, sweep.environment(fault));
            reference = fault.empty() ? r.out : reference;
            if (r.status != 0 || r.out.size() != input.size()) {
                return "exit " + std::to_string(r.status) + ", " + std::to_string(r.out.size()) +
                       " bytes";
            }
            int blurred = 0, passed = 0, lines = 0, others = 0;
            for (size_t at = 0; at < input.size(); at += kFrameBytes) {
                blurred += r.out.compare(at, kFrameBytes, reference, at, kFrameBytes) == 0;
                passed += r.out.compare(at, kFrameBytes, input, at, kFrameBytes) == 0;
            }
            // Beside those lines, only the effect's GL version blocks.
            std::istringstream text(r.err);
            for (std::string line; std::getline(text, line);) {
                lines += Has(line, kPassed);
                others += !line.empty() && line.rfind("OpenGL ", 0) != 0 && !Has(line, kPassed);
            }
            if (blurred == 3 && lines == 0) {
                return "blurred";
            }
            return blurred + passed == 3 && lines == passed && others == 0
                       ? "passed through, said so"
                       : std::to_string(3 - blurred - passed) + " wrong frames, " +
                             std::to_string(lines) + " lines";
        };
        sweep.sweep("blur " + blur, run, {"blurred", "passed through, said so"});
    }
}

} // namespace
