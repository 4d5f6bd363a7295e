// The aehost program as its users run it: files, streams and exit codes.
#include <gtest/gtest.h>

#include <OpenImageIO/imagebuf.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "GpuFaultSweep.h"
#include "RandomFrame.h"
#include "ScratchFolder.h"

namespace fs = std::filesystem;
using Brindel::Testing::ChildProcess;
using Brindel::Testing::GpuFaultSweep;
using Brindel::Testing::RandomFrame;
using Brindel::Testing::ScratchFolder;

namespace {

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class Aehost : public ::testing::Test {
protected:
    // aehost with `arguments`, words split at spaces, in the test's folder.
    ChildProcess::Result run(const std::string& arguments, const std::string& input = "",
                             const std::vector<std::string>& environment = {}) {
        std::vector<std::string> words = ChildProcess::Words(arguments);
        words.insert(words.begin(), AEHOST_PATH);
        return ChildProcess::Run(words, dir.path(), input, environment);
    }
    std::string read(const std::string& name) const { return ScratchFolder::Read(dir / name); }
    void write(const std::string& name, const std::string& bytes) const {
        ScratchFolder::Write(dir / name, bytes);
    }

    // Everything in the folder, by name: its kind, and the bytes of plain files when asked.
    std::map<std::string, std::string> listing(bool bytes = true) const {
        std::map<std::string, std::string> entries;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(dir.path())) {
            const fs::file_type type = entry.symlink_status().type();
            entries[entry.path().lexically_relative(dir.path())] =
                std::to_string(static_cast<int>(type)) +
                (bytes && type == fs::file_type::regular ? read(entry.path()) : "");
        }
        return entries;
    }

    ScratchFolder dir;
};

void WriteImage(const fs::path& path, int w, int h, int channels, const OIIO::TypeDesc& type,
                const std::vector<float>& values, bool premultiplied = false) {
    OIIO::ImageSpec spec(w, h, channels, type);
    // Straight colour, as layers carry it, unless the format stores it premultiplied.
    spec.attribute("oiio:UnassociatedAlpha", premultiplied ? 0 : 1);
    OIIO::ImageBuf image(spec);
    image.set_pixels(OIIO::ROI::All(), OIIO::TypeDesc::FLOAT, values.data());
    ASSERT_TRUE(image.write(path.string())) << image.geterror();
}

// The values as the file stores them: straight in a PNG, premultiplied in an EXR.
std::vector<float> ReadImage(const fs::path& path, OIIO::ImageSpec& spec) {
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    OIIO::ImageBuf image(path.string(), 0, 0, nullptr, &config);
    EXPECT_TRUE(image.read(0, 0, true, OIIO::TypeDesc::FLOAT)) << image.geterror();
    spec = image.nativespec();
    std::vector<float> values(image.spec().image_pixels() * image.spec().nchannels);
    image.get_pixels(OIIO::ROI::All(), OIIO::TypeDesc::FLOAT, values.data());
    return values;
}

} // namespace

TEST_F(Aehost, WritesTheTestCardBlurredAndUnblurredWithABarePluginFoundHere) {
    fs::copy_file(fs::path(AEHOST_PATH).parent_path() / "GaussianBlur.so", dir / "Blur.so");
    const ChildProcess::Result r = run("--plugin Blur.so --unblurred card.png");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(Has(r.out, "card.png") && Has(r.out, "blurred.png")) << r.out;
    OIIO::ImageSpec spec;
    const std::vector<float> card = ReadImage(dir / "card.png", spec);
    const std::vector<float> blurred = ReadImage(dir / "blurred.png", spec);
    EXPECT_EQ(spec.width * spec.height * spec.nchannels, 640 * 360 * 4);
    EXPECT_EQ(card.size(), blurred.size());
    EXPECT_NE(card, blurred);
}

TEST_F(Aehost, ImageFilesKeepChannelsDepthWindowAndAlphaAsTheirFormatsStoreIt) {
    using OIIO::TypeDesc;
    const float half = 128 / 255.0f; // 0.5 in the effect's 8-bit levels
    struct Case {
        const char* in;
        int width, channels;
        TypeDesc type;
        std::vector<float> values;
        bool premultiplied;
        const char* out;
        int outChannels;
        TypeDesc outType;            // UNKNOWN: any
        std::vector<float> expected; // as stored; empty: not compared (lossy)
    };
    const std::vector<Case> cases = {
        {"a.png",
         2,
         4,
         TypeDesc::UINT16,
         {1, 1, 1, 1, 1, 0, 0, 0.5f},
         false,
         "a.tif",
         4,
         TypeDesc::UINT16,
         {1, 1, 1, 1, 1, 0, 0, half}},
        {"b.exr", 1, 1, TypeDesc::HALF, {0.4f}, false, "b.png", 1, TypeDesc::UNKNOWN, {0.4f}},
        {"c.png",
         1,
         3,
         TypeDesc::UINT8,
         {0.2f, 0.4f, 0.6f},
         false,
         "c.png",
         3,
         TypeDesc::UINT8,
         {0.2f, 0.4f, 0.6f}},
        {"a.png",
         2,
         4,
         TypeDesc::UINT16,
         {1, 1, 1, 1, 1, 0, 0, 0.5f},
         false,
         "a.jpg",
         3,
         TypeDesc::UNKNOWN,
         {}},
        {"d.exr",
         1,
         4,
         TypeDesc::FLOAT,
         {0.5f, 0, 0, 0.5f},
         true,
         "d.png",
         4,
         TypeDesc::UNKNOWN,
         {1, 0, 0, half}},
        {"e.tif",
         1,
         4,
         TypeDesc::FLOAT,
         {0.5f, 0, 0, 0.5f},
         true,
         "e.png",
         4,
         TypeDesc::UNKNOWN,
         {1, 0, 0, half}},
        {"f.png",
         1,
         4,
         TypeDesc::UINT8,
         {1, 0, 0, 0.4f},
         false,
         "f.exr",
         4,
         TypeDesc::UNKNOWN,
         {0.4f, 0, 0, 0.4f}},
    };
    for (const Case& c : cases) {
        WriteImage(dir / c.in, c.width, 1, c.channels, c.type, c.values, c.premultiplied);
        const ChildProcess::Result r = run(std::string("--blur 0 ") + c.in + " out-" + c.out);
        ASSERT_EQ(r.status, 0) << c.in << ": " << r.err;
        OIIO::ImageSpec spec;
        const std::vector<float> out = ReadImage(dir / ("out-" + std::string(c.out)), spec);
        EXPECT_EQ(spec.nchannels, c.outChannels) << c.out;
        EXPECT_TRUE(c.outType == TypeDesc::UNKNOWN || spec.format == c.outType) << c.out;
        for (size_t i = 0; i < c.expected.size() && i < out.size(); ++i) {
            EXPECT_NEAR(out[i], c.expected[i], 0.5 / 255) << c.out << ", value " << i;
        }
    }

    // A half-float EXR whose pixels sit inside a larger display window, two of them out of 0
    // to 1: the window stays, and the clipped pixels are counted.
    OIIO::ImageSpec spec(2, 2, 3, TypeDesc::HALF);
    spec.x = 5;
    spec.y = 7;
    spec.full_width = 20;
    spec.full_height = 10;
    OIIO::ImageBuf image(spec);
    const float values[12] = {0.5f, 0.5f, 0.5f, 1.5f, 0.2f, 0.2f, 0, 0, 0, -0.5f, 0.2f, 0.2f};
    image.set_pixels(OIIO::ROI::All(), TypeDesc::FLOAT, values);
    ASSERT_TRUE(image.write((dir / "window.exr").string())) << image.geterror();
    const ChildProcess::Result r = run("--blur 0 window.exr out.exr");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(Has(r.err, "2 pixels held values outside 0 to 1")) << r.err;
    const std::vector<float> out = ReadImage(dir / "out.exr", spec);
    EXPECT_EQ(spec.format, TypeDesc::HALF);
    EXPECT_EQ(std::vector<int>({spec.x, spec.y, spec.full_width, spec.full_height}),
              std::vector<int>({5, 7, 20, 10}));
    ASSERT_EQ(out.size(), 12u);
    EXPECT_FLOAT_EQ(out[3], 1.0f);
    EXPECT_FLOAT_EQ(out[9], 0.0f);
}

TEST_F(Aehost, RawFramesStreamThroughEveryKindOfInputEachAsItWouldAlone) {
    const std::string frames =
        RandomFrame(19, 7, 1) + RandomFrame(19, 7, 2) + RandomFrame(19, 7, 3);
    const ChildProcess::Result all = run("--raw 19x7 --blur 3 --threads 2 - -", frames);
    ASSERT_EQ(all.status, 0) << all.err;
    ASSERT_EQ(all.out.size(), frames.size());
    const ChildProcess::Result alone = run("--raw 19x7 --blur 3 - -", RandomFrame(19, 7, 2));
    EXPECT_TRUE(all.out.substr(alone.out.size(), alone.out.size()) == alone.out);

    // From a file, and from what a shell hands over as one: a pipe as /dev/stdin, <(...), a FIFO.
    write("in.argb", frames);
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    const std::string aehost = "'" + std::string(AEHOST_PATH) + "' --raw 19x7 --blur 3 ";
    for (const std::string& line :
         {aehost + "in.argb out.argb", "cat in.argb | " + aehost + "/dev/stdin out.argb",
          aehost + "<(cat in.argb) out.argb", "cat in.argb > fifo & " + aehost + "fifo out.argb"}) {
        fs::remove(dir / "out.argb");
        EXPECT_EQ(ChildProcess::Run({"bash", "-c", line}, dir.path()).status, 0) << line;
        EXPECT_TRUE(read("out.argb") == all.out) << line;
    }
}

TEST_F(Aehost, EachRunEndsWithItsStatusAndSaysWhyAndAFailedOneLeavesTheFilesAsTheyWere) {
    const std::string frame = RandomFrame(64, 64, 3), small = RandomFrame(4, 4, 5);
    write("in.argb", frame);
    write("same.argb", frame);
    fs::create_symlink("same.argb", dir / "link.argb");
    write("half.argb", frame + frame + frame.substr(0, frame.size() / 2));
    write("keep.argb", "the output of an earlier run");
    write("keep.png", "the output of an earlier run");
    fs::create_directories(dir / "folder");
    fs::create_directories(dir / "in");
    fs::create_directories(dir / "out");
    for (const char* name : {"in/f.0001.png", "in/f.0002.png", "in/f.0003.png", "in/f.0004.png"}) {
        WriteImage(dir / name, 3, 2, 3, OIIO::TypeDesc::UINT8, std::vector<float>(18, 0.5f));
    }
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
    enum class In { File, Pipe, Terminal, ClosedOut };
    struct Case {
        std::string arguments;
        std::string input;
        In how;
        int status;
        std::vector<std::string> says; // on standard error
        std::string prints;            // on standard output
        long outBytes;                 // -1: any
    };
    const std::string truncated = small + small + small.substr(0, 10);
    const std::vector<Case> cases = {
        {"--frobnicate", "", In::File, 2, {"unknown option '--frobnicate'"}, "", 0},
        {"--blur 99",
         "",
         In::File,
         2,
         {"aehost: --blur 99 is outside Blur Scale's range 0 to 60\ntry 'aehost --help'\n"},
         "",
         0},
        {"--raw 64x64 --blur 61 in.argb keep.argb", "", In::File, 2, {"range 0 to 60"}, "", 0},
        {"--raw 64x64 --plugin ./in.argb in.argb keep.argb",
         "",
         In::File,
         2,
         {"cannot load plug-in ./in.argb"},
         "",
         0},
        {std::string("--plugin ") + FAILING_EFFECT_PATH,
         "",
         In::File,
         3,
         {"PF_Cmd_GLOBAL_SETUP returned PF_Err 4"},
         "",
         0},
        {"--raw 64x64 folder keep.argb",
         "",
         In::File,
         2,
         {"cannot read folder: Is a directory"},
         "",
         0},
        {"folder keep.png", "", In::File, 2, {"cannot read image folder: Is a directory"}, "", 0},
        {"missing.png out.png", "", In::File, 2, {"cannot read image missing.png"}, "", 0},
        {"--raw 4x4 - nowhere/out.argb",
         small,
         In::File,
         2,
         {"cannot write nowhere/out.argb"},
         "",
         0},
        {"--raw 4x4 - -", small, In::ClosedOut, 2, {"cannot write standard output"}, "", 0},
        {"--raw 64x64 same.argb same.argb", "", In::File, 2, {"same file"}, "", 0},
        {"--raw 64x64 same.argb ./same.argb", "", In::File, 2, {"same file"}, "", 0},
        {"--raw 64x64 link.argb same.argb", "", In::File, 2, {"same file"}, "", 0},
        {"--raw 64x64 half.argb out.argb",
         "",
         In::File,
         2,
         {"the file holds 2.5 frames of 64x64; check --raw WxH"},
         "",
         0},
        {"--raw 64x64 - out.argb", "", In::File, 2, {"no frame"}, "", 0},
        {"--raw 64x64 - out.argb", "", In::Terminal, 2, {"terminal"}, "", 0},
        {"--raw 32767x1 --blur 2 - -",
         RandomFrame(32767, 1, 3),
         In::File,
         2,
         {"32767x1", "at most "},
         "",
         0},
        {"--raw 4x4 - -", truncated, In::Pipe, 2, {"frame 3", "10 of 64 bytes"}, "", 128},
        {"--frames 3-5 in/f.%04d.png out/f.%04d.png",
         "",
         In::File,
         2,
         {"in/f.0005.png: No such file or directory"},
         "",
         0},
        // The runs that succeed.
        {"--raw 4x4 --report - -",
         small + small,
         In::File,
         0,
         {"frame 1: ", "frame 2: ", "2 frames: median "},
         "",
         128},
        {"--raw 16x8 --downsample 4 - out.argb",
         RandomFrame(16, 8, 4),
         In::File,
         0,
         {"output frames are 4x2"},
         "",
         0},
        {"--raw 16x8 --downsample 4 - -", RandomFrame(16, 8, 4), In::File, 0, {}, "", 32},
        {"--help", "", In::File, 0, {}, "--raw WxH", -1},
    };
    for (const Case& c : cases) {
        const std::map<std::string, std::string> before = listing();
        std::vector<std::string> words = ChildProcess::Words(c.arguments);
        words.insert(words.begin(), AEHOST_PATH);
        ChildProcess::Result r;
        if (c.how == In::File) {
            r = ChildProcess::Run(words, dir.path(), c.input);
        } else if (c.how == In::ClosedOut) {
            words.insert(words.begin(), {"sh", "-c", "exec \"$0\" \"$@\" >&-"});
            r = ChildProcess::Run(words, dir.path(), c.input);
        } else {
            ChildProcess child(words, dir.path(), {}, c.how == In::Terminal ? terminal : -1);
            if (c.how == In::Pipe) {
                child.send(c.input);
            }
            r = child.wait();
        }
        EXPECT_EQ(r.status, c.status) << c.arguments << ": " << r.err;
        for (const std::string& part : c.says) {
            EXPECT_TRUE(Has(r.err, part)) << c.arguments << ": " << r.err;
        }
        EXPECT_TRUE(Has(r.out, c.prints)) << c.arguments << ": " << r.out;
        EXPECT_TRUE(c.outBytes < 0 || r.out.size() == static_cast<size_t>(c.outBytes))
            << c.arguments << ": " << r.out.size() << " bytes";
        if (c.status != 0) {
            // Nothing printed before the reason, nothing written, nothing replaced.
            EXPECT_EQ(r.err.rfind("aehost: ", 0), 0u) << c.arguments << ": " << r.err;
            EXPECT_EQ(listing(), before) << c.arguments;
        }
        fs::remove(dir / "out.argb");
    }
    ::close(terminal);
}

TEST_F(Aehost, KeepsThePluginsConsoleOffStandardOutputUnlessVerbose) {
    ChildProcess::Result r = run("--blur 1");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_FALSE(Has(r.out + r.err, "OpenGL")) << r.out << r.err;
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;
    r = run("--blur 1 --verbose");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_FALSE(Has(r.out, "OpenGL")) << r.out;
    EXPECT_TRUE(Has(r.err, "OpenGL Version")) << r.err;
}

TEST_F(Aehost, RendersANumberedSequenceOrTheRangeAsked) {
    fs::create_directories(dir / "in");
    for (int frame = 1; frame <= 4; ++frame) {
        WriteImage(dir / ("in/frame.000" + std::to_string(frame) + ".png"), 3, 2, 3,
                   OIIO::TypeDesc::UINT8, std::vector<float>(18, frame / 10.0f));
    }
    fs::create_directories(dir / "all");
    ChildProcess::Result r = run("--report --blur 0 in/frame.%04d.png all/f.%d.png");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(Has(r.err, "4 frames: median")) << r.err;
    OIIO::ImageSpec spec;
    EXPECT_NEAR(ReadImage(dir / "all/f.3.png", spec)[0], 0.3f, 0.5 / 255);

    fs::create_directories(dir / "range");
    r = run("--frames 2-3 in/frame.%04d.png range/frame.%04d.exr");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(listing().size(), 13u) << "in/ and all/ with 4 frames each, range/ with 2";
    EXPECT_TRUE(fs::exists(dir / "range/frame.0002.exr") &&
                fs::exists(dir / "range/frame.0003.exr"));
}

namespace {

// A sanitizer's allocator keeps freed memory in quarantine and shadows what is
// live: peak memory then says nothing about the program's own.
bool UnderSanitizer() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
    return true;
#else
    return false;
#endif
#else
    return false;
#endif
}

} // namespace

TEST_F(Aehost, PeakMemoryStaysFlatOverLongStreamsAndGrowsPerThreadOnlyByItsContexts) {
    if (UnderSanitizer()) {
        GTEST_SKIP() << "peak memory is the sanitizer's here";
    }
    // Large enough that the driver's per-frame buffers are above the allocator's initial mmap
    // threshold, which is what let them pile up.
    const std::string frame = RandomFrame(320, 180, 6);
    std::string frames;
    for (int i = 0; i < 240; ++i) {
        frames += frame;
    }
    write("short.argb", frames.substr(0, 40 * frame.size()));
    write("long.argb", frames);
    // Blur 0 and 0.4 take the single pass, 3 the two passes. A thread brings the host's context
    // and the effect's, and what the driver keeps of each context's last frame: about 9 MiB
    // here; memory that grew with the frames a thread rendered came to a hundred.
    const struct {
        std::string small, large;
        double most; // MiB that `large` may take beyond `small`
    } cases[] = {
        {"--blur 0 short.argb", "--blur 0 long.argb", 16},
        {"--blur 0.4 short.argb", "--blur 0.4 long.argb", 16},
        {"--blur 3 short.argb", "--blur 3 long.argb", 16},
        {"--blur 3 --threads 1 long.argb", "--blur 3 --threads 4 long.argb", 3 * 16},
    };
    for (const auto& c : cases) {
        const ChildProcess::Result small = run("--raw 320x180 " + c.small + " out.argb");
        const ChildProcess::Result large = run("--raw 320x180 " + c.large + " out.argb");
        ASSERT_EQ(small.status + large.status, 0) << small.err << large.err;
        EXPECT_LT(large.peakMiB - small.peakMiB, c.most)
            << c.small << ": " << small.peakMiB << " MiB; " << c.large << ": " << large.peakMiB;
    }
}

TEST_F(Aehost, InterruptKeepsWholeFramesOnStandardOutput) {
    constexpr size_t kFrame = size_t{16} * 16 * 4;
    ChildProcess child({AEHOST_PATH, "--raw", "16x16", "-", "-"}, dir.path());
    // Two frames and part of a third: aehost waits inside the third.
    child.send(RandomFrame(16, 16, 1) + RandomFrame(16, 16, 2) +
               RandomFrame(16, 16, 3).substr(0, 300));
    ASSERT_EQ(child.receive(2 * kFrame).size(), 2 * kFrame);
    child.signal(SIGINT);
    const ChildProcess::Result r = child.wait();
    EXPECT_EQ(r.out.size(), 0u);
    EXPECT_EQ(r.status, 130);
}

TEST_F(Aehost, TerminationKeepsTheEarlierOutputFile) {
    write("out.argb", "the output of an earlier run");
    ChildProcess child({AEHOST_PATH, "--raw", "16x16", "-", "out.argb"}, dir.path());
    child.send(RandomFrame(16, 16, 1) + RandomFrame(16, 16, 2).substr(0, 100));
    // Wait until the first frame is written somewhere in the folder.
    bool written = false;
    for (int i = 0; i < 600 && !written; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        for (const fs::directory_entry& entry : fs::directory_iterator(dir.path())) {
            written = written || (entry.is_regular_file() && entry.file_size() >= 16 * 16 * 4);
        }
    }
    ASSERT_TRUE(written);
    child.signal(SIGTERM);
    EXPECT_EQ(child.wait().status, 143);
    EXPECT_EQ(read("out.argb"), "the output of an earlier run");
    EXPECT_EQ(listing().size(), 1u);
}

TEST_F(Aehost, EveryInjectedGpuFailureGivesExactFramesOrAFailedRunThatSaysWhere) {
    // Two frames: the first allocates, the second reuses.
    write("in.argb", RandomFrame(64, 48, 11) + RandomFrame(64, 48, 12));
    const std::string kept = "the output of an earlier run";
    GpuFaultSweep sweep(GPU_FAULT_INJECTOR_PATH);
    for (const std::string blur : {"0", "3"}) {
        std::string reference;
        sweep.sweep("blur " + blur,
                    [&](const std::string& fault) -> std::string {
                        write("out.argb", kept);
                        const ChildProcess::Result r =
                            run("--raw 64x48 --blur " + blur + " in.argb out.argb", "",
                                sweep.environment(fault));
                        const std::string output = read("out.argb");
                        reference = fault.empty() ? output : reference;
                        const bool clean = listing(false).size() == 2;
                        // A frame's failure names the frame; one in setup or set-down names the
                        // command.
                        const bool said =
                            r.err.rfind("aehost: ", 0) == 0 &&
                            std::count(r.err.begin(), r.err.end(), '\n') == 1 &&
                            (!Has(r.err, "PF_Cmd_SMART_") || r.err.rfind("aehost: frame ", 0) == 0);
                        if (r.status == 0 && output == reference && output != kept && clean) {
                            return "exact";
                        }
                        if (r.status == 3 && output == kept && clean && said) {
                            return "failed, said so";
                        }
                        return "exit " + std::to_string(r.status) +
                               (output == kept && clean ? "" : ", output touched") +
                               (said ? "" : ", said " + r.err.substr(0, r.err.find('\n')));
                    },
                    {"exact", "failed, said so"});
    }
}

TEST_F(Aehost, OutputsThatAreNoPlainFileAreWrittenThroughAndStayWhatTheyAre) {
    write("in.argb", RandomFrame(16, 8, 1) + RandomFrame(16, 8, 2));
    WriteImage(dir / "in.png", 4, 3, 4, OIIO::TypeDesc::UINT8, std::vector<float>(48, 0.5f));
    ASSERT_EQ(run("--raw 16x8 in.argb expected.argb").status, 0);
    ASSERT_EQ(run("in.png expected.png").status, 0);
    fs::create_directory(dir / "renders");
    write("renders/shot.argb", "an earlier render");
    fs::create_symlink("renders/shot.argb", dir / "link.argb");
    fs::create_symlink("renders/new.argb", dir / "dangling.argb");
    fs::create_symlink("/dev/stdout", dir / "stdout.png");
    // Each FIFO has its reader from the start; what arrives is read once aehost is done.
    std::map<std::string, int> readers;
    for (const char* fifo : {"fifo.argb", "fifo.png", "fifo.sgi"}) {
        ASSERT_EQ(::mkfifo((dir / fifo).c_str(), 0600), 0);
        readers[fifo] = ::open((dir / fifo).c_str(), O_RDONLY | O_NONBLOCK);
    }
    struct Case {
        std::string arguments;
        std::string arrivesIn; // a file, a FIFO, or "-": aehost's standard output, a pipe
        std::string expected;  // the file of what should arrive; empty: nothing
        int status;
    };
    std::vector<Case> cases = {
        {"--raw 16x8 in.argb link.argb", "renders/shot.argb", "expected.argb", 0},
        {"--raw 16x8 in.argb dangling.argb", "renders/new.argb", "expected.argb", 0},
        {"--raw 16x8 in.argb fifo.argb", "fifo.argb", "expected.argb", 0},
        {"--raw 16x8 in.argb /dev/stdout", "-", "expected.argb", 0},
        {"in.png stdout.png", "-", "expected.png", 0},
        {"in.png fifo.png", "fifo.png", "expected.png", 0},
        // Refused, naming why.
        {"in.png fifo.sgi", "fifo.sgi", "", 2},
    };
    // A private null device, where the test may make one: the machine's own is never an
    // output of a test.
    if (::mknod((dir / "null.png").c_str(), S_IFCHR | 0666, ::makedev(1, 3)) == 0) {
        cases.push_back({"--raw 16x8 in.argb null.png", "null.png", "", 0});
        cases.push_back({"in.png null.png", "null.png", "", 0});
    }
    for (const Case& c : cases) {
        const std::map<std::string, std::string> before = listing(false);
        const ChildProcess::Result r = run(c.arguments);
        std::string arrived = c.arrivesIn == "-"           ? r.out
                              : readers.count(c.arrivesIn) ? ""
                                                           : read(c.arrivesIn);
        if (readers.count(c.arrivesIn)) {
            char buffer[65536];
            for (ssize_t n; (n = ::read(readers[c.arrivesIn], buffer, sizeof buffer)) > 0;) {
                arrived.append(buffer, static_cast<size_t>(n));
            }
        }
        EXPECT_EQ(r.status, c.status) << c.arguments << ": " << r.err;
        EXPECT_TRUE(arrived == (c.expected.empty() ? "" : read(c.expected)))
            << c.arguments << ": " << arrived.size() << " bytes arrived";
        // Links stay links and FIFOs FIFOs; a dangling link's target is the one new file.
        std::map<std::string, std::string> after = listing(false);
        if (!before.count(c.arrivesIn)) {
            after.erase(c.arrivesIn);
        }
        EXPECT_EQ(after, before) << c.arguments;
        EXPECT_TRUE(c.status == 0 || Has(r.err, "the sgi writer needs a file")) << r.err;
    }
    for (const auto& reader : readers) {
        ::close(reader.second);
    }
}
