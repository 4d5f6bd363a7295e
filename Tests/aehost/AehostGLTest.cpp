// The aehost program as its users run it: files, streams and exit codes.
#include <gtest/gtest.h>

#include <OpenImageIO/imagebuf.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "GpuFaultSweep.h"
#include "RandomFrame.h"
#include "ScratchFolder.h"

namespace fs = std::filesystem;
using Brindel::Testing::ChildProcess;
using Brindel::Testing::RandomFrame;
using Brindel::Testing::ScratchFolder;
using Result = ChildProcess::Result;

namespace {

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class Aehost : public ::testing::Test {
protected:
    // aehost with `arguments`, words split at spaces, in the test's folder.
    Result run(const std::string& arguments, const std::string& input = "",
               const std::vector<std::string>& environment = {}) {
        std::vector<std::string> words = ChildProcess::Words(arguments);
        words.insert(words.begin(), AEHOST_PATH);
        return ChildProcess::Run(words, dir.path(), input, environment);
    }
    // `line` run by bash in the test's folder, with aehost as a command.
    Result bash(const std::string& line, int input = -1) {
        return ChildProcess({"bash", "-c", "aehost() { \"$AEHOST\" \"$@\"; }; " + line}, dir.path(),
                            {std::string("AEHOST=") + AEHOST_PATH}, input)
            .wait();
    }
    std::string read(const std::string& name) const { return ScratchFolder::Read(dir / name); }
    void write(const std::string& name, const std::string& bytes) const {
        ScratchFolder::Write(dir / name, bytes);
    }

    // Everything in the folder, by name: its kind, and a hash of a plain file's bytes if asked.
    std::map<std::string, std::string> listing(bool bytes = true) const {
        std::map<std::string, std::string> entries;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(dir.path())) {
            const fs::file_type type = entry.symlink_status().type();
            entries[entry.path().lexically_relative(dir.path())] =
                std::to_string(static_cast<int>(type)) +
                (bytes && type == fs::file_type::regular
                     ? " " + std::to_string(std::hash<std::string>{}(read(entry.path())))
                     : "");
        }
        return entries;
    }

    ScratchFolder dir;
};

void WriteImage(const fs::path& path, OIIO::ImageSpec spec, const std::vector<float>& values,
                bool premultiplied = false) {
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

TEST_F(Aehost, ImageFilesKeepChannelsDepthWindowAndAlphaAsTheirFormatsStoreIt) {
    const OIIO::TypeDesc U8 = OIIO::TypeDesc::UINT8, U16 = OIIO::TypeDesc::UINT16,
                         F16 = OIIO::TypeDesc::HALF, F32 = OIIO::TypeDesc::FLOAT, Any;
    const float half = 128 / 255.0f; // 0.5 in the effect's 8-bit levels
    struct Case {
        const char* in;
        int channels; // a row of pixels
        OIIO::TypeDesc type;
        std::vector<float> values;
        bool premultiplied;
        const char* out;
        int outChannels;
        OIIO::TypeDesc outType;
        std::vector<float> expected; // as stored; empty: not compared (lossy)
        // Pixels inside a larger display window, which stays; those out of 0 to 1 are counted.
        bool window = false;
    };
    const std::vector<Case> cases = {
        {"a.png", 4, U16, {1, 0, 0, .5f}, false, "a.tif", 4, U16, {1, 0, 0, half}},
        {"a.png", 4, U16, {1, 0, 0, .5f}, false, "a.jpg", 3, Any, {}},
        {"b.exr", 1, F16, {.4f}, false, "b.png", 1, Any, {.4f}},
        {"c.png", 3, U8, {.2f, .4f, .6f}, false, "c.png", 3, U8, {.2f, .4f, .6f}},
        {"d.exr", 4, F32, {.5f, 0, 0, .5f}, true, "d.png", 4, Any, {1, 0, 0, half}},
        {"e.tif", 4, F32, {.5f, 0, 0, .5f}, true, "e.png", 4, Any, {1, 0, 0, half}},
        {"f.png", 4, U8, {1, 0, 0, .4f}, false, "f.exr", 4, Any, {.4f, 0, 0, .4f}},
        {"g.exr", 1, F16, {1.5f, .2f, -.5f}, false, "g.exr", 1, F16, {1, .2f, 0}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.in) + " to " + c.out);
        OIIO::ImageSpec spec(static_cast<int>(c.values.size()) / c.channels, 1, c.channels, c.type);
        if (c.window) {
            spec.x = 5;
            spec.y = 7;
            spec.full_width = 20;
            spec.full_height = 10;
        }
        WriteImage(dir / c.in, spec, c.values, c.premultiplied);
        const Result r = run(std::string("--blur 0 ") + c.in + " out-" + c.out);
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(Has(r.err, "2 pixels held values outside 0 to 1"), c.window) << r.err;
        OIIO::ImageSpec stored;
        const std::vector<float> out = ReadImage(dir / ("out-" + std::string(c.out)), stored);
        EXPECT_EQ(stored.nchannels, c.outChannels);
        EXPECT_TRUE(c.outType == Any || stored.format == c.outType);
        EXPECT_EQ(std::vector<int>({stored.x, stored.y, stored.full_width, stored.full_height}),
                  std::vector<int>({spec.x, spec.y, spec.full_width, spec.full_height}));
        for (size_t i = 0; i < c.expected.size() && i < out.size(); ++i) {
            EXPECT_NEAR(out[i], c.expected[i], 0.5 / 255) << "value " << i;
        }
    }
}

TEST_F(Aehost, RawFramesStreamThroughEveryKindOfInputEachAsItWouldAlone) {
    const std::string frames =
        RandomFrame(19, 7, 1) + RandomFrame(19, 7, 2) + RandomFrame(19, 7, 3);
    const Result all = run("--raw 19x7 --blur 3 --threads 2 - -", frames);
    ASSERT_EQ(all.status, 0) << all.err;
    ASSERT_EQ(all.out.size(), frames.size());
    const Result alone = run("--raw 19x7 --blur 3 - -", RandomFrame(19, 7, 2));
    EXPECT_TRUE(all.out.substr(alone.out.size(), alone.out.size()) == alone.out);

    // From a file, and from what a shell hands over as one: <(...) and a FIFO.
    write("in.argb", frames);
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    for (const char* line : {"aehost --raw 19x7 --blur 3 in.argb out.argb",
                             "aehost --raw 19x7 --blur 3 <(cat in.argb) out.argb",
                             "cat in.argb > fifo & aehost --raw 19x7 --blur 3 fifo out.argb"}) {
        fs::remove(dir / "out.argb");
        EXPECT_EQ(bash(line).status, 0) << line;
        EXPECT_TRUE(read("out.argb") == all.out) << line;
    }
}

TEST_F(Aehost, EachRunEndsWithItsStatusAndSaysWhyAndAFailedOneLeavesTheFilesAsTheyWere) {
    const std::string frame = RandomFrame(64, 64, 3), small = RandomFrame(4, 4, 5);
    for (const auto& [name, bytes] : std::map<std::string, std::string>{
             {"in.argb", frame},
             {"same.argb", frame},
             {"empty.argb", ""},
             {"small.argb", small},
             {"two.argb", small + small},
             {"truncated.argb", small + small + small.substr(0, 10)},
             {"half.argb", frame + frame + frame.substr(0, frame.size() / 2)},
             {"wide.argb", RandomFrame(16, 8, 4)},
             {"huge.argb", RandomFrame(32767, 1, 3)},
             {"keep.argb", "the output of an earlier run"},
             {"keep.png", "an earlier image"}}) {
        write(name, bytes);
    }
    fs::create_symlink("same.argb", dir / "link.argb");
    fs::copy_file(FAILING_EFFECT_PATH, dir / "failing.so");
    fs::create_directories(dir / "folder");
    fs::create_directories(dir / "out");
    for (const char* name : {"folder/f.0003.png", "folder/f.0004.png"}) {
        WriteImage(dir / name, OIIO::ImageSpec(3, 2, 3, OIIO::TypeDesc::UINT8),
                   std::vector<float>(18, 0.5f));
    }
    // Standard input is a terminal unless the line says otherwise.
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
    struct Case {
        const char* line; // for bash, with aehost as a command
        int status;
        const char* err; // patterns that standard error and output hold
        const char* out;
    };
    // clang-format off
    const Case cases[] = {
        {"aehost --blur 99", 2, "^aehost: --blur 99 is outside Blur Scale's range 0 to 60\ntry 'aehost --help'\n$", "^$"},
        {"aehost --raw 64x64 --plugin ./nowhere.so in.argb keep.argb", 2, "cannot load plug-in ./nowhere.so: .*No such file", "^$"},
        {"aehost --plugin libm.so.6", 2, "libm.so.6 has no EntryPointFunc", "^$"},
        {"aehost --plugin ./failing.so", 3, "PF_Cmd_GLOBAL_SETUP returned PF_Err 4", "^$"},
        {"aehost --raw 64x64 folder keep.argb", 2, "cannot read folder: Is a directory", "^$"},
        {"aehost folder keep.png", 2, "cannot read image folder: Is a directory", "^$"},
        {"aehost missing.png out.png", 2, "cannot read image missing.png", "^$"},
        {"aehost --raw 4x4 - nowhere/out.argb < small.argb", 2, "cannot write nowhere/out.argb", "^$"},
        {"aehost --raw 4x4 - - < small.argb >&-", 2, "cannot write standard output", "^$"},
        {"aehost --raw 64x64 same.argb ./same.argb", 2, "same file", "^$"},
        {"aehost --raw 64x64 link.argb same.argb", 2, "same file", "^$"},
        {"aehost --raw 64x64 half.argb out/f.argb", 2, "the file holds 2.5 frames of 64x64; check --raw WxH", "^$"},
        {"aehost --raw 64x64 - out/f.argb < empty.argb", 2, "no frame", "^$"},
        {"aehost --raw 64x64 - out/f.argb", 2, "terminal", "^$"},
        {"aehost --raw 32767x1 --blur 2 - - < huge.argb", 2, "32767x1 is larger than the GL context can hold: at most", "^$"},
        {"cat truncated.argb | aehost --raw 4x4 - -", 2, "inside frame 3: 10 of 64 bytes", "^[\\s\\S]{128}$"},
        {"aehost --frames 3-5 folder/f.%04d.png out/f.%04d.png", 2, "folder/f.0005.png: No such file or directory", "^$"},
        // The runs that succeed, and the plug-in's console kept off standard output.
        {"aehost --raw 4x4 --report - - < two.argb", 0, "frame 1: .*\nframe 2: .*\n2 frames: median", "^[\\s\\S]{128}$"},
        {"aehost --raw 16x8 --downsample 4 - - < wide.argb", 0, "output frames are 4x2", "^[\\s\\S]{32}$"},
        {"aehost --blur 1", 0, "^$", "^[^\n]*\n$"},
        {"aehost --blur 1 --verbose", 0, "OpenGL Version", "^[^\n]*\n$"},
        {"aehost --help", 0, "^$", "--raw WxH"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        const std::map<std::string, std::string> before = listing();
        const Result r = bash(c.line, terminal);
        EXPECT_EQ(r.status, c.status) << r.err;
        EXPECT_TRUE(std::regex_search(r.err, std::regex(c.err))) << r.err;
        EXPECT_TRUE(std::regex_search(r.out, std::regex(c.out))) << r.out;
        if (c.status != 0) {
            // Nothing printed before the reason, nothing written, nothing replaced.
            EXPECT_EQ(r.err.rfind("aehost: ", 0), 0u) << r.err;
            EXPECT_EQ(listing(), before);
        }
        fs::remove_all(dir / "out");
        fs::create_directories(dir / "out");
    }
    ::close(terminal);
}

TEST_F(Aehost, RendersTheTestCardANumberedSequenceOrTheRangeAsked) {
    // The test card blurred and unblurred, with a bare plug-in name found here.
    fs::copy_file(fs::path(AEHOST_PATH).parent_path() / "GaussianBlur.so", dir / "Blur.so");
    Result r = run("--plugin Blur.so --unblurred card.png");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(Has(r.out, "card.png") && Has(r.out, "blurred.png")) << r.out;
    OIIO::ImageSpec spec;
    const std::vector<float> card = ReadImage(dir / "card.png", spec);
    const std::vector<float> blurred = ReadImage(dir / "blurred.png", spec);
    EXPECT_EQ(spec.width * spec.height * spec.nchannels, 640 * 360 * 4);
    EXPECT_EQ(card.size(), blurred.size());
    EXPECT_NE(card, blurred);

    fs::create_directories(dir / "in");
    for (int frame = 1; frame <= 4; ++frame) {
        WriteImage(dir / ("in/frame.000" + std::to_string(frame) + ".png"),
                   OIIO::ImageSpec(3, 2, 3, OIIO::TypeDesc::UINT8),
                   std::vector<float>(18, frame / 10.0f));
    }
    fs::create_directories(dir / "all");
    r = run("--report --blur 0 in/frame.%04d.png all/f.%d.png");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(Has(r.err, "4 frames: median")) << r.err;
    EXPECT_NEAR(ReadImage(dir / "all/f.3.png", spec)[0], 0.3f, 0.5 / 255);

    fs::create_directories(dir / "range");
    r = run("--frames 2-3 in/frame.%04d.png range/frame.%04d.exr");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(listing().size(), 16u) << "3 files, in/ and all/ with 4 frames each, range/ with 2";
    EXPECT_TRUE(fs::exists(dir / "range/frame.0002.exr") &&
                fs::exists(dir / "range/frame.0003.exr"));
    // Written under a temporary name, but not with a temporary file's private mode.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(fs::status(dir / "range/frame.0002.exr").permissions() & fs::perms::all,
              static_cast<fs::perms>(0666 & ~mask));
}

TEST_F(Aehost, PeakMemoryStaysFlatOverLongStreamsAndGrowsPerThreadOnlyByItsContexts) {
#ifdef PEAK_MEMORY_IS_THE_SANITIZERS
    GTEST_SKIP() << "a sanitizer's allocator keeps freed memory in quarantine";
#endif
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
        const Result small = run("--raw 320x180 " + c.small + " out.argb");
        const Result large = run("--raw 320x180 " + c.large + " out.argb");
        ASSERT_EQ(small.status + large.status, 0) << small.err << large.err;
        EXPECT_LT(large.peakMiB - small.peakMiB, c.most)
            << c.small << ": " << small.peakMiB << " MiB; " << c.large << ": " << large.peakMiB;
    }
}

// An interrupt keeps the whole frames already on standard output; a termination keeps the
// earlier output file, though a frame of the new one was written.
TEST_F(Aehost, InterruptAndTerminationKeepWholeFramesAndTheEarlierFile) {
    constexpr size_t kFrame = size_t{16} * 16 * 4;
    const std::string frames = RandomFrame(16, 16, 1) + RandomFrame(16, 16, 2);
    ChildProcess interrupted({AEHOST_PATH, "--raw", "16x16", "-", "-"}, dir.path());
    // Two frames and part of a third: aehost waits inside the third.
    interrupted.send(frames + frames.substr(0, 300));
    ASSERT_EQ(interrupted.receive(2 * kFrame).size(), 2 * kFrame);
    interrupted.signal(SIGINT);
    const Result r = interrupted.wait();
    EXPECT_EQ(r.out.size(), 0u);
    EXPECT_EQ(r.status, 130);

    write("out.argb", "the output of an earlier run");
    ChildProcess terminated({AEHOST_PATH, "--raw", "16x16", "-", "out.argb"}, dir.path());
    terminated.send(frames.substr(0, kFrame + 100));
    bool written = false;
    for (int i = 0; i < 600 && !written; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        for (const fs::directory_entry& entry : fs::directory_iterator(dir.path())) {
            written = written || (entry.is_regular_file() && entry.file_size() >= kFrame);
        }
    }
    ASSERT_TRUE(written) << "no frame was written";
    terminated.signal(SIGTERM);
    EXPECT_EQ(terminated.wait().status, 143);
    EXPECT_EQ(read("out.argb"), "the output of an earlier run");
    EXPECT_EQ(listing().size(), 1u);
}

TEST_F(Aehost, EveryInjectedGpuFailureGivesExactFramesOrAFailedRunThatSaysWhere) {
    // Two frames: the first allocates, the second reuses; a run stops at a failed frame.
    write("in.argb", RandomFrame(64, 48, 11) + RandomFrame(64, 48, 12));
    const std::string kept = "the output of an earlier run";
    Brindel::Testing::GpuFaultSweep sweep(GPU_FAULT_INJECTOR_PATH);
    for (const std::string blur : {"0", "3"}) {
        std::string reference;
        const auto ending = [&](const std::string& fault) -> std::string {
            write("out.argb", kept);
            const Result r = run("--raw 64x48 --blur " + blur + " in.argb out.argb", "",
                                 sweep.environment(fault));
            const std::string output = read("out.argb");
            reference = fault.empty() ? output : reference;
            const bool clean = listing(false).size() == 2;
            // A frame's failure names the frame; one in setup or set-down names the command.
            const bool said = std::regex_match(r.err, std::regex("aehost: [^\n]*\n")) &&
                              (!Has(r.err, "PF_Cmd_SMART_") || Has(r.err, "aehost: frame "));
            if (r.status == 0 && output == reference && output != kept && clean) {
                return "exact";
            }
            if (r.status == 3 && output == kept && clean && said) {
                return "failed, said so";
            }
            return "exit " + std::to_string(r.status) +
                   (output == kept && clean ? "" : ", output touched") +
                   (said ? "" : ", said " + r.err.substr(0, r.err.find('\n')));
        };
        sweep.sweep("blur " + blur, ending, {"exact", "failed, said so"});
    }
}

TEST_F(Aehost, OutputsThatAreNoPlainFileAreWrittenThroughAndStayWhatTheyAre) {
    write("in.argb", RandomFrame(16, 8, 1) + RandomFrame(16, 8, 2));
    WriteImage(dir / "in.png", OIIO::ImageSpec(4, 3, 4, OIIO::TypeDesc::UINT8),
               std::vector<float>(48, 0.5f));
    ASSERT_EQ(run("--raw 16x8 in.argb expected.argb").status, 0);
    ASSERT_EQ(run("in.png expected.png").status, 0);
    fs::create_directory(dir / "renders");
    write("renders/shot.argb", "an earlier render");
    fs::create_symlink("renders/shot.argb", dir / "link.argb");
    fs::create_symlink("renders/new.argb", dir / "dangling.argb");
    fs::create_symlink("fifo.png", dir / "fifolink.png");
    // Each FIFO has its reader from the start; what arrives is read once aehost is done.
    std::map<std::string, int> readers;
    for (const char* fifo : {"fifo.argb", "fifo.png", "fifo.sgi"}) {
        ASSERT_EQ(::mkfifo((dir / fifo).c_str(), 0600), 0);
        readers[fifo] = ::open((dir / fifo).c_str(), O_RDONLY | O_NONBLOCK);
    }
    struct Case {
        std::string arguments;
        std::string arrivesIn; // a file or a FIFO
        std::string expected;  // the file of what should arrive; empty: nothing
        int status;
    };
    std::vector<Case> cases = {
        {"--raw 16x8 in.argb link.argb", "renders/shot.argb", "expected.argb", 0},
        {"--raw 16x8 in.argb dangling.argb", "renders/new.argb", "expected.argb", 0},
        {"--raw 16x8 in.argb fifo.argb", "fifo.argb", "expected.argb", 0},
        {"in.png fifo.png", "fifo.png", "expected.png", 0},
        {"in.png fifolink.png", "fifo.png", "expected.png", 0},
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
        SCOPED_TRACE(c.arguments);
        const std::map<std::string, std::string> before = listing(false);
        const Result r = run(c.arguments);
        std::string arrived = readers.count(c.arrivesIn) ? "" : read(c.arrivesIn);
        char buffer[65536];
        for (ssize_t n; readers.count(c.arrivesIn) &&
                        (n = ::read(readers[c.arrivesIn], buffer, sizeof buffer)) > 0;) {
            arrived.append(buffer, static_cast<size_t>(n));
        }
        EXPECT_EQ(r.status, c.status) << r.err;
        EXPECT_TRUE(arrived == (c.expected.empty() ? "" : read(c.expected)))
            << arrived.size() << " bytes arrived";
        // Links stay links and FIFOs FIFOs; a dangling link's target is the one new file.
        std::map<std::string, std::string> after = listing(false);
        if (!before.count(c.arrivesIn)) {
            after.erase(c.arrivesIn);
        }
        EXPECT_EQ(after, before);
        EXPECT_TRUE(c.status == 0 || Has(r.err, "the sgi writer needs a file")) << r.err;
    }
    for (const auto& reader : readers) {
        ::close(reader.second);
    }
}
