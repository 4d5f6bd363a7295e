// The frei0r module inside Debian's ffmpeg and melt, run as their users run
// them, on small generated clips; frames compared with aehost's.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "Frei0rTestSupport.h"
#include "Support/GpuFaultLog.h"

namespace fs = std::filesystem;
using namespace Brindel::Testing;

namespace {

constexpr int kWidth = 96, kHeight = 64, kFrames = 3;
constexpr const char* kBlurScale = "0.1667";
constexpr double kBlurPixels = 0.1667 * 60.0;

class Frei0rMedia : public ::testing::Test {
protected:
    // The tools find the module through FREI0R_PATH, and it finds the effect
    // beside itself. A tool that hangs (melt can, at the end of a clip) fails
    // the test instead of holding it up. Its input is an empty pipe, and what
    // it prints goes to a file of the test's.
    std::string Tool(const std::string& commandLine) const {
        return "true | env -u GAUSSIAN_BLUR_PLUGIN FREI0R_PATH=" + Quoted(BRIDGE_DIR) +
               " timeout 120 " + commandLine + " > " + Quoted(folder / "tool.log");
    }

    void ffmpeg(const std::string& arguments) {
        const std::string command = Tool("ffmpeg -nostdin -loglevel error -y " + arguments);
        ASSERT_EQ(RunCommand(command), 0) << command;
    }

    void melt(const std::string& arguments) {
        const std::string command = Tool("melt -silent " + arguments) + " 2>&1";
        ASSERT_EQ(RunCommand(command), 0) << command;
    }

    // Frames as ffmpeg hands them to an RGBA filter, in one raw file.
    std::string decode(const std::string& input) {
        const fs::path raw = folder / "decoded.rgba";
        ffmpeg("-i " + input + " -f rawvideo -pix_fmt rgba " + Quoted(raw));
        return ReadBytes(raw);
    }

    // aehost's output for RGBA frames, as RGBA.
    std::string aehost(const std::string& rgba) {
        return ArgbToRgba(AehostRaw(folder, kWidth, kHeight, kBlurPixels, RgbaToArgb(rgba)));
    }

    void expectClose(const std::string& rgba, const std::string& expectedRgba) {
        EXPECT_EQ(rgba.size(), static_cast<size_t>(kWidth) * kHeight * 4 * kFrames);
        std::string what;
        EXPECT_TRUE(WithinLevels(RgbaToArgb(rgba), RgbaToArgb(expectedRgba), 1, what)) << what;
    }

    ScratchFolder folder;
};

TEST_F(Frei0rMedia, FfmpegFilterMatchesAehostOnOpaqueAndTransparentClips) {
    const std::string size = std::to_string(kWidth) + "x" + std::to_string(kHeight);
    const std::string source = "-f lavfi -i \"testsrc2=s=" + size + ":r=10";
    // A coded clip, with ffmpeg's own conversion from YUV, and a lossless one
    // whose alpha runs from clear on the left to opaque on the right.
    const fs::path coded = folder / "coded.mp4", alpha = folder / "alpha.mkv";
    ffmpeg(source + "\" -frames:v 3 -pix_fmt yuv420p -c:v libx264 " + Quoted(coded));
    ffmpeg(source + ",format=rgba,geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='255*X/W'\"" +
           " -frames:v 3 -c:v png " + Quoted(alpha));

    for (const fs::path& clip : {coded, alpha}) {
        SCOPED_TRACE(clip.filename().string());
        const std::string input = decode(Quoted(clip));
        const fs::path filtered = folder / "filtered.rgba";
        ffmpeg("-i " + Quoted(clip) + " -vf frei0r=filter_name=gaussian_blur:filter_params=" +
               kBlurScale + " -f rawvideo -pix_fmt rgba " + Quoted(filtered));
        const std::string output = ReadBytes(filtered);
        EXPECT_NE(output, input) << "the frames were not blurred";
        expectClose(output, aehost(input));

        // Piped, the stream holds the frames and nothing that the effect prints; the pipe's end
        // is the tool's log file.
        ffmpeg("-i " + Quoted(clip) +
               " -vf frei0r=filter_name=gaussian_blur:filter_params=" + kBlurScale +
               " -f rawvideo -pix_fmt rgba - 2> " + Quoted(folder / "stderr.txt") + " | cat");
        EXPECT_TRUE(ReadBytes(folder / "tool.log") == output)
            << "the piped stream differs from the file";
    }
}

// The effect is a guest: the host's allocator is left as it is, and its memory must stay flat
// however long the stream, on every branch of the blur.
TEST_F(Frei0rMedia, FfmpegPeakMemoryStaysFlatOverALongStreamAtEveryBlurBranch) {
    // Blur 0 and 0.4 px take the single pass, 3 px the two passes.
    for (const char* blur : {"0", "0.0066667", "0.05"}) {
        double peak[2] = {};
        for (const int frames : {40, 240}) {
            peak[frames == 240] = PeakMiBOf(Tool(
                "ffmpeg -nostdin -loglevel error -f lavfi -i testsrc2=s=320x180:r=25 "
                "-frames:v " +
                std::to_string(frames) + " -vf frei0r=filter_name=gaussian_blur:filter_params=" +
                blur + " -f null - 2> " + Quoted(folder / "stderr.txt")));
        }
        EXPECT_LT(peak[1] - peak[0], 16.0) << "Blur Scale " << blur << ": " << peak[0]
                                           << " MiB after 40 frames, " << peak[1] << " after 240";
    }
}

// Modules are often installed as links into a folder on FREI0R_PATH. The
// effect is looked for beside the module's real file, then beside the link;
// when it is in neither, frames pass through and the message names both.
TEST_F(Frei0rMedia, FfmpegFindsTheEffectBesideALinkedModuleOrNamesBothPlaces) {
    const fs::path real = fs::path(BRIDGE_DIR) / "gaussian_blur.so";
    const fs::path lone = folder / "lone", link = folder / "link";
    fs::create_directories(lone);
    fs::copy_file(real, lone / "gaussian_blur.so");
    const std::string size = std::to_string(kWidth) + "x" + std::to_string(kHeight);
    const fs::path clip = folder / "clip.mkv";
    ffmpeg("-f lavfi -i testsrc2=s=" + size + ":r=10 -frames:v 3 -pix_fmt rgba -c:v png " +
           Quoted(clip));
    const std::string input = decode(Quoted(clip));

    struct Case {
        const char* what;
        fs::path target; // what the link in the FREI0R_PATH folder points at
        bool effectBesideLink;
        bool blurs;
    };
    const Case cases[] = {
        {"link to the built module", real, false, true},
        {"link to a copy without the effect, effect beside the link", lone / "gaussian_blur.so",
         true, true},
        {"link to a copy without the effect, none beside the link", lone / "gaussian_blur.so",
         false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        fs::remove_all(link);
        fs::create_directories(link);
        fs::create_symlink(c.target, link / "gaussian_blur.so");
        if (c.effectBesideLink) {
            fs::create_symlink(fs::path(BRIDGE_DIR) / "GaussianBlur.so", link / "GaussianBlur.so");
        }
        const fs::path filtered = folder / "filtered.rgba", errors = folder / "errors.txt";
        const std::string command =
            "env -u GAUSSIAN_BLUR_PLUGIN FREI0R_PATH=" + Quoted(link) +
            " timeout 120 ffmpeg -nostdin -loglevel error -y -i " + Quoted(clip) +
            " -vf frei0r=filter_name=gaussian_blur:filter_params=" + kBlurScale +
            " -f rawvideo -pix_fmt rgba " + Quoted(filtered) + " > " + Quoted(folder / "out.txt") +
            " 2> " + Quoted(errors);
        ASSERT_EQ(RunCommand(command), 0) << command << "\n" << ReadBytes(errors);
        const std::string output = ReadBytes(filtered), message = ReadBytes(errors);
        if (c.blurs) {
            EXPECT_EQ(message.find("gaussian_blur:"), std::string::npos) << message;
            expectClose(output, aehost(input));
        } else {
            EXPECT_TRUE(output == input) << "frames did not pass through";
            EXPECT_NE(message.find((lone / "GaussianBlur.so").string()), std::string::npos)
                << message;
            EXPECT_NE(message.find((link / "GaussianBlur.so").string()), std::string::npos)
                << message;
        }
    }
}

TEST_F(Frei0rMedia, MeltRendersFramesThroughTheFilterAsAehostDoes) {
    const fs::path clip = folder / "clip.mkv";
    ffmpeg("-f lavfi -i testsrc2=s=" + std::to_string(kWidth) + "x" + std::to_string(kHeight) +
           ":r=10 -frames:v 3 -pix_fmt rgb24 -c:v png " + Quoted(clip));
    // Every frame as melt sees it, and every frame through the filter.
    const std::string plain = (folder / "plain-%03d.png").string();
    const std::string blurred = (folder / "blurred-%03d.png").string();
    melt(Quoted(clip) + " -consumer avformat:" + Quoted(plain) + " vcodec=png");
    melt(Quoted(clip) + " -filter frei0r.gaussian_blur 0=" + kBlurScale +
         " -consumer avformat:" + Quoted(blurred) + " vcodec=png");
    for (int frame = 1; frame <= kFrames; ++frame) {
        char name[32];
        std::snprintf(name, sizeof name, "blurred-%03d.png", frame);
        EXPECT_TRUE(fs::exists(folder / name)) << name;
    }

    const std::string input = decode(Quoted(plain));
    const std::string output = decode(Quoted(blurred));
    EXPECT_NE(output, input) << "the frames were not blurred";
    expectClose(output, aehost(input));
}

TEST_F(Frei0rMedia, EveryInjectedGpuFailureGivesTheBlurredFrameOrTheInputWithALine) {
    using Brindel::Testing::GpuFaultEnvironment;
    using Brindel::Testing::GpuFaultLog;
    constexpr int w = 64, h = 48, frames = 3;
    constexpr size_t kFrameBytes = size_t{w} * h * 4;
    std::mt19937 random(21);
    std::string input(kFrameBytes * frames, '\0');
    for (char& b : input) {
        b = static_cast<char>(random() & 0xFF);
    }
    WriteBytes(folder / "in.rgba", input);
    WriteBytes(folder / "stdin", "");
    const std::string log = (folder / "faults.log").string();
    const std::string kPassed = "; the frame passes through unchanged\n";
    std::map<std::string, std::map<std::string, int>> endings;
    std::vector<std::string> wrong;
    int injected = 0;
    // Blur Scale 0 and 3 pixels, as frei0r's 0 to 1.
    for (const std::string blur : {"0", "0.05"}) {
        const std::string command =
            "cd " + Quoted(folder.path()) + " && ffmpeg -nostdin -loglevel error -y -f rawvideo " +
            "-pix_fmt rgba -s 64x48 -i in.rgba -vf frei0r=filter_name=gaussian_blur:" +
            "filter_params=" + blur + " -f rawvideo -pix_fmt rgba out.rgba < stdin > stdout " +
            "2> stderr";
        auto run = [&](const std::string& fault) {
            return RunCommand("env -u GAUSSIAN_BLUR_PLUGIN FREI0R_PATH=" + Quoted(BRIDGE_DIR) +
                              " timeout 120 " +
                              GpuFaultEnvironment(GPU_FAULT_INJECTOR_PATH, fault, log) + "sh -c " +
                              Quoted(command));
        };
        ASSERT_EQ(run(""), 0) << ReadBytes(folder / "stderr");
        const std::string reference = ReadBytes(folder / "out.rgba");
        ASSERT_EQ(reference.size(), input.size());
        const GpuFaultLog counted = GpuFaultLog::Read(log);
        fs::remove(log);
        for (const char* kind : kGpuFaultClasses) {
            const long calls = counted.counts.count(kind) ? counted.counts.at(kind) : 0;
            ASSERT_GT(calls, 0) << "blur " << blur << ": no " << kind << " call to fail";
            for (long n = 1; n <= calls; ++n) {
                const std::string fault = std::string(kind) + ":" + std::to_string(n);
                fs::remove(folder / "out.rgba");
                const int status = run(fault);
                const GpuFaultLog faults = GpuFaultLog::Read(log);
                fs::remove(log);
                const std::string output = ReadBytes(folder / "out.rgba");
                const std::string err = ReadBytes(folder / "stderr");
                std::string ending;
                if (faults.failed.empty()) {
                    ending = "not injected";
                } else if (status != 0 || output.size() != input.size()) {
                    ending = "exit " + std::to_string(status) + ", " +
                             std::to_string(output.size() / kFrameBytes) + " frames";
                } else {
                    int blurred = 0, passed = 0;
                    for (int f = 0; f < frames; ++f) {
                        const std::string frame = output.substr(f * kFrameBytes, kFrameBytes);
                        blurred += frame == reference.substr(f * kFrameBytes, kFrameBytes);
                        passed += frame == input.substr(f * kFrameBytes, kFrameBytes);
                    }
                    int lines = 0;
                    for (size_t at = err.find(kPassed); at != std::string::npos;
                         at = err.find(kPassed, at + 1)) {
                        ++lines;
                    }
                    // Beside those lines, only the effect's GL version blocks.
                    int others = 0;
                    std::istringstream text(err);
                    for (std::string line; std::getline(text, line);) {
                        others += !line.empty() && line.rfind("OpenGL ", 0) != 0;
                    }
                    const bool quiet = others == lines;
                    if (blurred == frames && lines == 0) {
                        ending = "blurred";
                    } else if (blurred + passed == frames && lines == passed && quiet) {
                        ending = "passed through, said so";
                    } else {
                        ending = std::to_string(frames - blurred - passed) + " wrong frames, " +
                                 std::to_string(lines) + " lines";
                    }
                }
                injected += !faults.failed.empty();
                ++endings["blur " + blur + ", " + kind][ending];
                if (ending != "blurred" && ending != "passed through, said so") {
                    wrong.push_back("blur " + blur + ", " + fault + " (" + faults.failed +
                                    "): " + ending);
                }
            }
        }
    }
    std::string summary = std::to_string(injected) + " failures injected\n";
    for (const auto& [what, counts] : endings) {
        summary += "  " + what + ":";
        for (const auto& [ending, count] : counts) {
            summary += " " + std::to_string(count) + " " + ending + ";";
        }
        summary += "\n";
    }
    std::string list;
    for (const std::string& line : wrong) {
        list += "  " + line + "\n";
    }
    EXPECT_TRUE(wrong.empty()) << wrong.size() << " cases ended wrong:\n" << list << summary;
}

} // namespace
