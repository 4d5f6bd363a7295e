// The frei0r module inside Debian's ffmpeg and melt, run as their users run
// them, on small generated clips; frames compared with aehost's.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "Frei0rTestSupport.h"

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
    // the test instead of holding it up.
    static std::string Tool(const std::string& commandLine) {
        return "env -u GAUSSIAN_BLUR_PLUGIN FREI0R_PATH=" + Quoted(BRIDGE_DIR) + " timeout 120 " +
               commandLine + " < /dev/null";
    }

    void ffmpeg(const std::string& arguments) {
        const std::string command =
            Tool("ffmpeg -nostdin -loglevel error -y " + arguments + " > /dev/null");
        ASSERT_EQ(RunCommand(command), 0) << command;
    }

    void melt(const std::string& arguments) {
        const std::string command = Tool("melt -silent " + arguments + " > /dev/null 2>&1");
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

} // namespace
