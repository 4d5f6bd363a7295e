// The aehost program as its users run it: files, streams and exit codes.
#include <gtest/gtest.h>

#include <OpenImageIO/imagebuf.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct Result {
    int status;
    std::string out;
    std::string err;
};

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteFile(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// Runs aehost in a fresh folder of its own.
class Aehost : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() /
              ("aehost-test-" + std::to_string(::getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }

    Result run(const std::string& arguments, const std::string& input = "") {
        const fs::path in = dir / "stdin", out = dir / "stdout", err = dir / "stderr";
        WriteFile(in, input);
        const std::string command = "cd '" + dir.string() + "' && '" + AEHOST_PATH + "' " +
                                    arguments + " < stdin > stdout 2> stderr";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(out), ReadFile(err)};
    }

    fs::path dir;
};

// The peak resident memory, in MiB, of an aehost run with `arguments` in `dir`, its output
// discarded; a failed run fails the test.
double PeakMiB(const fs::path& dir, const std::vector<std::string>& arguments) {
    std::vector<std::string> words = {AEHOST_PATH};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int null = ::open("/dev/null", O_WRONLY);
        if (::chdir(dir.c_str()) != 0 || null < 0 || ::dup2(null, 1) < 0 || ::dup2(null, 2) < 0) {
            ::_exit(126);
        }
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    int status = 0;
    struct rusage usage {};
    EXPECT_EQ(::wait4(pid, &status, 0, &usage), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    // ru_maxrss is in KiB, and it is this child's alone.
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// A frame of raw ARGB bytes.
std::string RawFrame(int w, int h, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(static_cast<size_t>(w) * h * 4, '\0');
    for (char& b : bytes) {
        b = static_cast<char>(random() & 0xFF);
    }
    return bytes;
}

void WriteImage(const fs::path& path, int w, int h, int channels, OIIO::TypeDesc type,
                const std::vector<float>& values) {
    OIIO::ImageSpec spec(w, h, channels, type);
    // Straight colour, as layers carry it.
    spec.attribute("oiio:UnassociatedAlpha", 1);
    OIIO::ImageBuf image(spec);
    image.set_pixels(OIIO::ROI::All(), OIIO::TypeDesc::FLOAT, values.data());
    ASSERT_TRUE(image.write(path.string())) << image.geterror();
}

std::vector<float> ReadImage(const fs::path& path, OIIO::ImageSpec& spec) {
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    OIIO::ImageBuf image(path.string(), 0, 0, nullptr, &config);
    EXPECT_TRUE(image.read(0, 0, true, OIIO::TypeDesc::FLOAT)) << image.geterror();
    spec = image.spec();
    std::vector<float> values(static_cast<size_t>(spec.width) * spec.height * spec.nchannels);
    image.get_pixels(OIIO::ROI::All(), OIIO::TypeDesc::FLOAT, values.data());
    return values;
}

} // namespace

TEST_F(Aehost, WithoutFilesBlursTheTestCardIntoBlurredPng) {
    const Result r = run("");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("blurred.png"), std::string::npos) << r.out;
    OIIO::ImageSpec spec;
    const std::vector<float> pixels = ReadImage(dir / "blurred.png", spec);
    EXPECT_EQ(spec.width, 640);
    EXPECT_EQ(spec.height, 360);
    EXPECT_EQ(spec.nchannels, 4);
}

TEST_F(Aehost, ImageFilesKeepSizeAndAlphaAndTakeDeepInput) {
    // 16 bits a channel with alpha: opaque white, half-transparent red.
    WriteImage(dir / "in.png", 2, 1, 4, OIIO::TypeDesc::UINT16, {1, 1, 1, 1, 1, 0, 0, 0.5f});
    Result r = run("--blur 0 in.png out.tif");
    ASSERT_EQ(r.status, 0) << r.err;
    OIIO::ImageSpec spec;
    std::vector<float> out = ReadImage(dir / "out.tif", spec);
    ASSERT_EQ(spec.width, 2);
    ASSERT_EQ(spec.nchannels, 4);
    EXPECT_FLOAT_EQ(out[0], 1.0f);
    EXPECT_FLOAT_EQ(out[3], 1.0f);
    EXPECT_NEAR(out[4], 1.0f, 1.0 / 255);
    EXPECT_NEAR(out[7], 128 / 255.0, 0.5 / 255);

    // No alpha: opaque. Grey is spread over the colours.
    WriteImage(dir / "grey.exr", 1, 1, 1, OIIO::TypeDesc::HALF, {0.5f});
    r = run("--blur 0 grey.exr out.png");
    ASSERT_EQ(r.status, 0) << r.err;
    out = ReadImage(dir / "out.png", spec);
    ASSERT_EQ(spec.nchannels, 4);
    EXPECT_NEAR(out[0], 0.5f, 1.0 / 255);
    EXPECT_EQ(out[1], out[0]);
    EXPECT_EQ(out[3], 1.0f);

    // A format without alpha is written without it.
    r = run("in.png out.jpg");
    ASSERT_EQ(r.status, 0) << r.err;
    ReadImage(dir / "out.jpg", spec);
    EXPECT_EQ(spec.nchannels, 3);
}

TEST_F(Aehost, RawFramesStreamThroughStandardInputAndOutput) {
    constexpr int w = 19, h = 7;
    const std::string frames = RawFrame(w, h, 1) + RawFrame(w, h, 2) + RawFrame(w, h, 3);
    const Result all = run("--raw 19x7 --blur 3 --threads 2 - -", frames);
    ASSERT_EQ(all.status, 0) << all.err;
    ASSERT_EQ(all.out.size(), frames.size());

    // Each frame comes out as it would alone, in order.
    const std::string second = RawFrame(w, h, 2);
    const Result alone = run("--raw 19x7 --blur 3 - -", second);
    ASSERT_EQ(alone.status, 0) << alone.err;
    EXPECT_EQ(all.out.substr(second.size(), second.size()), alone.out);

    // And from a file to a file.
    WriteFile(dir / "in.argb", frames);
    const Result files = run("--raw 19x7 --blur 3 in.argb out.argb");
    ASSERT_EQ(files.status, 0) << files.err;
    EXPECT_EQ(ReadFile(dir / "out.argb"), all.out);
}

TEST_F(Aehost, TruncatedRawStreamNamesTheFrameAfterWritingTheWholeOnes) {
    const std::string frame = RawFrame(4, 4, 5);
    const Result r = run("--raw 4x4 - -", frame + frame + frame.substr(0, 10));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("frame 3"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("10 of 64 bytes"), std::string::npos) << r.err;
    EXPECT_EQ(r.out.size(), 2 * frame.size());
}

TEST_F(Aehost, ReportGivesEachFrameAndASummary) {
    const std::string frame = RawFrame(8, 8, 9);
    const Result r = run("--raw 8x8 --report - -", frame + frame);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("frame 1: "), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("frame 2: "), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("2 frames: median "), std::string::npos) << r.err;
}

TEST_F(Aehost, BadUsageAndUnreadableInputExitWithTwoAndSayWhy) {
    struct Case {
        std::string arguments;
        std::string says;
    };
    const std::vector<Case> cases = {
        {"--frobnicate", "unknown option '--frobnicate'"},
        {"--blur", "--blur needs a value"},
        {"--blur soft", "--blur needs a number, not 'soft'"},
        {"--blur 80", "--blur 80 is outside Blur Scale's range 0 to 60"},
        {"--threads 0", "--threads needs a whole number from 1 to 64, not '0'"},
        {"--raw 10by10 - -", "--raw needs a size WxH"},
        {"--raw 4x4", "--raw needs IN and OUT"},
        {"only-one.png", "expected INPUT and OUTPUT, got 1 file argument"},
        {"missing.png out.png", "cannot read image missing.png"},
        {"--raw 4x4 missing.argb out.argb", "cannot read missing.argb"},
        {"--plugin nowhere.so", "cannot load plug-in nowhere.so"},
        {"- out.png", "use --raw WxH"},
    };
    for (const Case& c : cases) {
        const Result r = run(c.arguments);
        EXPECT_EQ(r.status, 2) << c.arguments;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << c.arguments << ": " << r.err;
    }
    const Result unwritable = run("--raw 4x4 - nowhere/out.argb", RawFrame(4, 4, 1));
    EXPECT_EQ(unwritable.status, 2);
    EXPECT_NE(unwritable.err.find("cannot write nowhere/out.argb"), std::string::npos)
        << unwritable.err;
}

TEST_F(Aehost, PluginErrorExitsWithThreeNamingCommandAndCode) {
    const Result r = run(std::string("--plugin '") + FAILING_EFFECT_PATH + "'");
    EXPECT_EQ(r.status, 3);
    EXPECT_NE(r.err.find("PF_Cmd_GLOBAL_SETUP returned PF_Err 4"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(dir / "blurred.png"));
}

TEST_F(Aehost, HelpDescribesTheInterface) {
    const Result r = run("--help");
    EXPECT_EQ(r.status, 0);
    for (const char* option : {"--raw WxH", "--blur S", "--downsample N", "--plugin PATH",
                               "--threads N", "--report", "exit status"}) {
        EXPECT_NE(r.out.find(option), std::string::npos) << option;
    }
}

TEST_F(Aehost, DownsampleShrinksTheFrame) {
    const Result r = run("--raw 16x8 --downsample 4 - -", RawFrame(16, 8, 4));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.size(), 4u * 2 * 4);
}

TEST_F(Aehost, LongRawStreamsKeepTheirPeakMemoryAtEveryBlurBranch) {
    // Large enough that the driver's per-frame buffers are above the allocator's initial mmap
    // threshold, which is what let them pile up; small enough for a quick run.
    constexpr int w = 320, h = 180;
    const std::string frame = RawFrame(w, h, 6);
    std::string frames;
    for (int i = 0; i < 240; ++i) {
        frames += frame;
    }
    WriteFile(dir / "short.argb", frames.substr(0, 40 * frame.size()));
    WriteFile(dir / "long.argb", frames);
    // Blur 0 and 0.4 take the single pass, 3 the two passes.
    for (const char* blur : {"0", "0.4", "3"}) {
        const double peak40 =
            PeakMiB(dir, {"--raw", "320x180", "--blur", blur, "short.argb", "/dev/null"});
        const double peak240 =
            PeakMiB(dir, {"--raw", "320x180", "--blur", blur, "long.argb", "/dev/null"});
        EXPECT_LT(peak240 - peak40, 16.0)
            << "blur " << blur << ": " << peak40 << " MiB after 40 frames, " << peak240
            << " MiB after 240";
    }
}

TEST_F(Aehost, EachMoreHostThreadCostsOnlyItsContexts) {
    constexpr int w = 320, h = 180;
    const std::string frame = RawFrame(w, h, 8);
    std::string frames;
    for (int i = 0; i < 240; ++i) {
        frames += frame;
    }
    WriteFile(dir / "in.argb", frames);
    const double one =
        PeakMiB(dir, {"--raw", "320x180", "--blur", "3", "--threads", "1", "in.argb", "/dev/null"});
    const double four =
        PeakMiB(dir, {"--raw", "320x180", "--blur", "3", "--threads", "4", "in.argb", "/dev/null"});
    // A thread brings the host's context and the effect's render context, and what the driver
    // keeps of each context's last frame: about 9 MiB here. Memory that grew with the frames a
    // thread rendered came to a hundred.
    EXPECT_LT((four - one) / 3.0, 16.0) << one << " MiB with one thread, " << four << " with four";
}

TEST_F(Aehost, FrameLargerThanTheContextHoldsIsRefusedNamingSizeAndLimit) {
    // 32767, the largest side aehost takes, is beyond the texture limit of the drivers the
    // tests run on.
    const Result r = run("--raw 32767x1 --blur 2 - -", RawFrame(32767, 1, 3));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("32767x1"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("at most "), std::string::npos) << r.err;
    EXPECT_TRUE(r.out.empty()) << "nothing was rendered";
}
