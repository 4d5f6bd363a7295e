// The aehost program as its users run it: files, streams and exit codes.
#include <gtest/gtest.h>

#include <OpenImageIO/imagebuf.h>

#include <algorithm>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Support/GpuFaultLog.h"

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

    // Standard input is a file that holds `input`, or that file through a
    // pipe when `stdinFrom` is "|", or else the file `stdinFrom`.
    Result run(const std::string& arguments, const std::string& input = "",
               const std::string& stdinFrom = "stdin") {
        const fs::path in = dir / "stdin", out = dir / "stdout", err = dir / "stderr";
        WriteFile(in, input);
        const bool pipe = stdinFrom == "|";
        const std::string command = "cd '" + dir.string() + "' && " + (pipe ? "cat stdin | " : "") +
                                    "timeout 60 " + environment + "'" + AEHOST_PATH + "' " +
                                    arguments + (pipe ? "" : " < '" + stdinFrom + "'") +
                                    " > stdout 2> stderr";
        const int status = std::system(command.c_str());
        fs::remove(in);
        Result result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(out), ReadFile(err)};
        fs::remove(out);
        fs::remove(err);
        return result;
    }

    // The names in the test's folder.
    std::set<std::string> files() const {
        std::set<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    fs::path dir;
    // Words that run aehost under `env`, such as a preloaded library.
    std::string environment;
};

// The peak resident memory, in MiB, of an aehost run with `arguments` in `dir`, what it prints
// kept in a file there; a failed run fails the test.
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
        const int log = ::open((dir / "printed").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (::chdir(dir.c_str()) != 0 || log < 0 || ::dup2(log, 1) < 0 || ::dup2(log, 2) < 0) {
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

// `count` copies of one frame, as a stream.
std::string RepeatedFrames(const std::string& frame, int count) {
    std::string frames;
    frames.reserve(frame.size() * static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        frames += frame;
    }
    return frames;
}

void WriteImage(const fs::path& path, int w, int h, int channels, const OIIO::TypeDesc& type,
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

    // Grey stays grey, and RGB stays RGB, without an alpha of their own.
    WriteImage(dir / "grey.exr", 1, 1, 1, OIIO::TypeDesc::HALF, {0.5f});
    r = run("--blur 0 grey.exr out.png");
    ASSERT_EQ(r.status, 0) << r.err;
    out = ReadImage(dir / "out.png", spec);
    ASSERT_EQ(spec.nchannels, 1);
    EXPECT_NEAR(out[0], 0.5f, 1.0 / 255);
    WriteImage(dir / "rgb.png", 1, 1, 3, OIIO::TypeDesc::UINT8, {0.2f, 0.4f, 0.6f});
    r = run("--blur 0 rgb.png out.png");
    ASSERT_EQ(r.status, 0) << r.err;
    out = ReadImage(dir / "out.png", spec);
    ASSERT_EQ(spec.nchannels, 3);
    EXPECT_NEAR(out[2], 0.6f, 1.0 / 255);

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

    // And from what a shell hands over as a file: a pipe as /dev/stdin, <(...), a FIFO.
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    const std::string aehost = "timeout 60 '" + std::string(AEHOST_PATH) + "' --raw 19x7 --blur 3 ";
    for (const std::string& line :
         {"cat in.argb | " + aehost + "/dev/stdin piped.argb", aehost + "<(cat in.argb) piped.argb",
          "timeout 60 sh -c 'cat in.argb > fifo' & " + aehost + "fifo piped.argb"}) {
        WriteFile(dir / "line.sh", line);
        EXPECT_EQ(std::system(("cd '" + dir.string() + "' && bash line.sh").c_str()), 0) << line;
        EXPECT_EQ(ReadFile(dir / "piped.argb"), all.out) << line;
        fs::remove(dir / "piped.argb");
    }
}

TEST_F(Aehost, TruncatedRawStreamNamesTheFrameAfterWritingTheWholeOnes) {
    const std::string frame = RawFrame(4, 4, 5);
    const Result r = run("--raw 4x4 - -", frame + frame + frame.substr(0, 10), "|");
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
        EXPECT_EQ(r.out, "") << c.arguments;
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
    for (const char* option :
         {"--raw WxH", "-b, --blur S", "--downsample N", "--frames A-B", "--plugin PATH",
          "-j, -t, --threads N", "--report", "--verbose", "--version", "exit status"}) {
        EXPECT_NE(r.out.find(option), std::string::npos) << option;
    }
}

TEST_F(Aehost, DownsampleShrinksTheFrame) {
    const Result r = run("--raw 16x8 --downsample 4 - -", RawFrame(16, 8, 4));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.size(), 4u * 2 * 4);
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

TEST_F(Aehost, LongRawStreamsKeepTheirPeakMemoryAtEveryBlurBranch) {
    if (UnderSanitizer()) {
        GTEST_SKIP() << "peak memory is the sanitizer's here";
    }
    // Large enough that the driver's per-frame buffers are above the allocator's initial mmap
    // threshold, which is what let them pile up; small enough for a quick run.
    constexpr int w = 320, h = 180;
    const std::string frame = RawFrame(w, h, 6);
    const std::string frames = RepeatedFrames(frame, 240);
    WriteFile(dir / "short.argb", frames.substr(0, 40 * frame.size()));
    WriteFile(dir / "long.argb", frames);
    // Blur 0 and 0.4 take the single pass, 3 the two passes.
    for (const char* blur : {"0", "0.4", "3"}) {
        const double peak40 =
            PeakMiB(dir, {"--raw", "320x180", "--blur", blur, "short.argb", "out.argb"});
        const double peak240 =
            PeakMiB(dir, {"--raw", "320x180", "--blur", blur, "long.argb", "out.argb"});
        EXPECT_LT(peak240 - peak40, 16.0)
            << "blur " << blur << ": " << peak40 << " MiB after 40 frames, " << peak240
            << " MiB after 240";
    }
}

TEST_F(Aehost, EachMoreHostThreadCostsOnlyItsContexts) {
    if (UnderSanitizer()) {
        GTEST_SKIP() << "peak memory is the sanitizer's here";
    }
    constexpr int w = 320, h = 180;
    WriteFile(dir / "in.argb", RepeatedFrames(RawFrame(w, h, 8), 240));
    const double one =
        PeakMiB(dir, {"--raw", "320x180", "--blur", "3", "--threads", "1", "in.argb", "out.argb"});
    const double four =
        PeakMiB(dir, {"--raw", "320x180", "--blur", "3", "--threads", "4", "in.argb", "out.argb"});
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

namespace {

// aehost running in the background, fed and read through pipes.
class Child {
public:
    Child(const fs::path& dir, const std::vector<std::string>& arguments) {
        int in[2], out[2], err[2];
        if (pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0) {
            return;
        }
        mPid = fork();
        if (mPid == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            dup2(err[1], STDERR_FILENO);
            for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) {
                close(fd);
            }
            std::vector<char*> argv{const_cast<char*>(AEHOST_PATH)};
            for (const std::string& a : arguments) {
                argv.push_back(const_cast<char*>(a.c_str()));
            }
            argv.push_back(nullptr);
            if (chdir(dir.c_str()) == 0) {
                execv(AEHOST_PATH, argv.data());
            }
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        close(err[1]);
        mIn = in[1];
        mOut = out[0];
        mErr = err[0];
    }
    ~Child() {
        closeInput();
        for (int fd : {mOut, mErr}) {
            if (fd >= 0) {
                close(fd);
            }
        }
        if (mPid > 0) {
            kill(mPid, SIGKILL);
            waitpid(mPid, nullptr, 0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    bool started() const { return mPid > 0; }
    void send(const std::string& bytes) const {
        ASSERT_EQ(write(mIn, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    void closeInput() {
        if (mIn >= 0) {
            close(mIn);
            mIn = -1;
        }
    }
    // Reads standard output until it holds `size` bytes or ends; waits no
    // longer than a minute for each piece.
    std::string receive(size_t size = SIZE_MAX) const {
        std::string bytes;
        char buffer[65536];
        while (bytes.size() < size) {
            pollfd ready{mOut, POLLIN, 0};
            if (poll(&ready, 1, 60000) <= 0) {
                break;
            }
            const ssize_t n = read(mOut, buffer, std::min(sizeof(buffer), size - bytes.size()));
            if (n <= 0) {
                break;
            }
            bytes.append(buffer, static_cast<size_t>(n));
        }
        return bytes;
    }
    void signal(int number) const { kill(mPid, number); }
    // The exit status, or -1 after death by a signal or a minute's wait.
    int wait() {
        for (int i = 0; i < 600; ++i) {
            int status = 0;
            if (waitpid(mPid, &status, WNOHANG) == mPid) {
                mPid = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return -1;
    }

private:
    pid_t mPid = -1;
    int mIn = -1;
    int mOut = -1;
    int mErr = -1; // kept open, unread: what aehost says there is not asked for
};

} // namespace

TEST_F(Aehost, FailedRunLeavesTheOutputAsItWas) {
    WriteFile(dir / "in.argb", RawFrame(64, 64, 1));
    fs::create_directory(dir / "folder");
    const std::string kept = "the output of an earlier run";
    struct Case {
        std::string arguments;
        std::string output;
    };
    const std::vector<Case> cases = {
        {"--raw 64x64 --blur 61 in.argb keep.argb", "keep.argb"},
        {"--raw 64x64 --plugin /etc/passwd in.argb keep.argb", "keep.argb"},
        {"--raw 64x64 folder keep.argb", "keep.argb"},
        {"folder keep.png", "keep.png"},
    };
    for (const Case& c : cases) {
        WriteFile(dir / c.output, kept);
        const Result r = run(c.arguments);
        EXPECT_EQ(r.status, 2) << c.arguments << ": " << r.err;
        EXPECT_EQ(ReadFile(dir / c.output), kept) << c.arguments;
        EXPECT_EQ(files(), (std::set<std::string>{"in.argb", "folder", c.output})) << c.arguments;
        fs::remove(dir / c.output);
    }
}

TEST_F(Aehost, RefusesTheSameFileAsInputAndOutput) {
    const std::string frame = RawFrame(8, 8, 2);
    WriteFile(dir / "same.argb", frame);
    fs::create_symlink("same.argb", dir / "link.argb");
    for (const char* arguments :
         {"--raw 8x8 same.argb same.argb", "--raw 8x8 same.argb ./same.argb",
          "--raw 8x8 link.argb same.argb"}) {
        const Result r = run(arguments);
        EXPECT_EQ(r.status, 2) << arguments;
        EXPECT_NE(r.err.find("same file"), std::string::npos) << arguments << ": " << r.err;
        EXPECT_TRUE(ReadFile(dir / "same.argb") == frame) << arguments;
    }
}

TEST_F(Aehost, InterruptKeepsWholeFramesOnStandardOutput) {
    constexpr size_t kFrame = size_t{16} * 16 * 4;
    Child child(dir, {"--raw", "16x16", "-", "-"});
    ASSERT_TRUE(child.started());
    // Two frames and half of a third: aehost waits inside the third.
    child.send(RawFrame(16, 16, 1) + RawFrame(16, 16, 2) + RawFrame(16, 16, 3).substr(0, 300));
    ASSERT_EQ(child.receive(2 * kFrame).size(), 2 * kFrame);
    child.signal(SIGINT);
    EXPECT_EQ(child.receive().size(), 0u);
    EXPECT_EQ(child.wait(), 130);
}

TEST_F(Aehost, TerminationKeepsTheEarlierOutputFile) {
    constexpr size_t kFrame = size_t{16} * 16 * 4;
    const std::string kept = "the output of an earlier run";
    WriteFile(dir / "out.argb", kept);
    Child child(dir, {"--raw", "16x16", "-", "out.argb"});
    ASSERT_TRUE(child.started());
    child.send(RawFrame(16, 16, 1) + RawFrame(16, 16, 2).substr(0, 100));
    // Wait until the first frame is written somewhere in the folder.
    bool written = false;
    for (int i = 0; i < 600 && !written; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
            written = written || (entry.is_regular_file() && entry.file_size() >= kFrame);
        }
    }
    ASSERT_TRUE(written);
    child.signal(SIGTERM);
    EXPECT_EQ(child.wait(), 143);
    EXPECT_TRUE(ReadFile(dir / "out.argb") == kept);
    EXPECT_EQ(files(), std::set<std::string>{"out.argb"});
}

TEST_F(Aehost, RefusesAStreamThatDoesNotFitTheFrameSize) {
    // Two and a half frames in a file: refused before any frame is written.
    const std::string frame = RawFrame(64, 64, 3);
    WriteFile(dir / "in.argb", frame + frame + frame.substr(0, frame.size() / 2));
    Result r = run("--raw 64x64 in.argb out.argb");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("the file holds 2.5 frames of 64x64; check --raw WxH"), std::string::npos)
        << r.err;
    EXPECT_FALSE(fs::exists(dir / "out.argb"));

    // An empty stream: a warning and a failure.
    r = run("--raw 64x64 - out.argb");
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.err.find("no frame"), std::string::npos) << r.err;

    // A terminal is no stream of frames.
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    ASSERT_EQ(grantpt(terminal), 0);
    ASSERT_EQ(unlockpt(terminal), 0);
    r = run("--raw 64x64 - out.argb", "", ptsname(terminal));
    close(terminal);
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("terminal"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(dir / "out.argb"));
}

TEST_F(Aehost, PremultipliedFilesAreReadAndWrittenAsTheirFormatsStoreThem) {
    // Straight half-transparent red, as OpenImageIO stores it premultiplied:
    // in an EXR, and in a TIFF with associated alpha.
    for (const char* name : {"in.exr", "in.tif"}) {
        OIIO::ImageSpec spec(1, 1, 4, OIIO::TypeDesc::FLOAT);
        spec.alpha_channel = 3;
        OIIO::ImageBuf image(spec);
        const float premultiplied[4] = {0.5f, 0.0f, 0.0f, 0.5f};
        image.set_pixels(OIIO::ROI::All(), OIIO::TypeDesc::FLOAT, premultiplied);
        ASSERT_TRUE(image.write((dir / name).string())) << image.geterror();

        const Result r = run(std::string("--blur 0 ") + name + " out.png");
        ASSERT_EQ(r.status, 0) << r.err;
        OIIO::ImageSpec outSpec;
        const std::vector<float> out = ReadImage(dir / "out.png", outSpec);
        ASSERT_EQ(out.size(), 4u);
        EXPECT_NEAR(out[0], 1.0f, 1.0 / 255) << name;
        EXPECT_NEAR(out[3], 0.5f, 1.0 / 255) << name;
    }

    // And back: straight colour from a PNG goes premultiplied into an EXR.
    WriteImage(dir / "in.png", 1, 1, 4, OIIO::TypeDesc::UINT8, {1, 0, 0, 0.4f});
    const Result r = run("--blur 0 in.png out.exr");
    ASSERT_EQ(r.status, 0) << r.err;
    OIIO::ImageBuf exr((dir / "out.exr").string());
    float stored[4] = {};
    ASSERT_TRUE(exr.get_pixels(OIIO::ROI::All(), OIIO::TypeDesc::FLOAT, stored)) << exr.geterror();
    EXPECT_NEAR(stored[0], 0.4f, 1.0 / 255);
    EXPECT_NEAR(stored[3], 0.4f, 1.0 / 255);
}

TEST_F(Aehost, KeepsThePluginsConsoleOffStandardOutputUnlessVerbose) {
    Result r = run("--blur 1");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.find("OpenGL"), std::string::npos) << r.out;
    EXPECT_EQ(r.err.find("OpenGL"), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;

    r = run("--blur 1 --verbose");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.find("OpenGL"), std::string::npos) << r.out;
    EXPECT_NE(r.err.find("OpenGL Version"), std::string::npos) << r.err;

    // A usage error comes before the plug-in says anything.
    r = run("--blur 99");
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "aehost: --blur 99 is outside Blur Scale's range 0 to 60\n"
                     "try 'aehost --help'\n");
}

TEST_F(Aehost, WritesTheCardUnblurredTooAndFindsABarePluginHere) {
    fs::copy_file(fs::path(AEHOST_PATH).parent_path() / "GaussianBlur.so", dir / "Blur.so");
    const Result r = run("--plugin Blur.so --unblurred card.png");
    ASSERT_EQ(r.status, 0) << r.err;
    OIIO::ImageSpec spec;
    const std::vector<float> card = ReadImage(dir / "card.png", spec);
    const std::vector<float> blurred = ReadImage(dir / "blurred.png", spec);
    EXPECT_EQ(card.size(), blurred.size());
    EXPECT_NE(card, blurred);
    EXPECT_NE(r.out.find("card.png"), std::string::npos) << r.out;
}

TEST_F(Aehost, RendersANumberedSequenceInOneRun) {
    fs::create_directories(dir / "in");
    fs::create_directories(dir / "out");
    for (int frame = 1; frame <= 4; ++frame) {
        char name[32];
        std::snprintf(name, sizeof(name), "in/frame.%04d.png", frame);
        WriteImage(dir / name, 3, 2, 3, OIIO::TypeDesc::UINT8,
                   std::vector<float>(18, static_cast<float>(frame) / 10.0f));
    }
    Result r = run("--report --blur 0 in/frame.%04d.png out/f.%d.png");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("4 frames: median"), std::string::npos) << r.err;
    OIIO::ImageSpec spec;
    EXPECT_NEAR(ReadImage(dir / "out/f.3.png", spec)[0], 0.3f, 1.0 / 255);

    fs::remove_all(dir / "out");
    fs::create_directories(dir / "out");
    r = run("--frames 2-3 in/frame.%04d.png out/frame.%04d.exr");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(std::distance(fs::directory_iterator(dir / "out"), fs::directory_iterator()), 2);
    EXPECT_TRUE(fs::exists(dir / "out/frame.0002.exr"));
    EXPECT_TRUE(fs::exists(dir / "out/frame.0003.exr"));

    // A missing frame of a range is found before any is written.
    fs::remove_all(dir / "out");
    fs::create_directories(dir / "out");
    r = run("--frames 3-5 in/frame.%04d.png out/frame.%04d.png");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("in/frame.0005.png: No such file or directory"), std::string::npos)
        << r.err;
    EXPECT_TRUE(fs::is_empty(dir / "out"));
}

TEST_F(Aehost, OutputKeepsDepthAndWindowsAndCountsClippedPixels) {
    // A half-float EXR whose pixels sit inside a larger display window, two
    // of them out of 0 to 1.
    OIIO::ImageSpec spec(2, 2, 3, OIIO::TypeDesc::HALF);
    spec.x = 5;
    spec.y = 7;
    spec.full_x = 0;
    spec.full_y = 0;
    spec.full_width = 20;
    spec.full_height = 10;
    OIIO::ImageBuf image(spec);
    const float values[12] = {0.5f, 0.5f, 0.5f, 1.5f,  0.2f, 0.2f,
                              0.1f, 0.1f, 0.1f, -0.5f, 0.3f, 0.3f};
    image.set_pixels(OIIO::ROI::All(), OIIO::TypeDesc::FLOAT, values);
    ASSERT_TRUE(image.write((dir / "in.exr").string())) << image.geterror();

    Result r = run("--blur 0 in.exr out.exr");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("2 pixels held values outside 0 to 1"), std::string::npos) << r.err;
    OIIO::ImageBuf out((dir / "out.exr").string());
    ASSERT_TRUE(out.read()) << out.geterror();
    EXPECT_EQ(out.nativespec().format, OIIO::TypeDesc::HALF);
    EXPECT_EQ(out.spec().nchannels, 3);
    EXPECT_EQ(out.spec().x, 5);
    EXPECT_EQ(out.spec().y, 7);
    EXPECT_EQ(out.spec().full_width, 20);
    EXPECT_EQ(out.spec().full_height, 10);
    float pixel[3] = {};
    out.getpixel(6, 7, pixel, 3);
    EXPECT_FLOAT_EQ(pixel[0], 1.0f);

    // 16 bits stay 16 bits.
    WriteImage(dir / "deep.png", 1, 1, 4, OIIO::TypeDesc::UINT16, {0.2f, 0.4f, 0.6f, 1});
    r = run("--blur 0 deep.png out.png");
    ASSERT_EQ(r.status, 0) << r.err;
    OIIO::ImageBuf png((dir / "out.png").string());
    ASSERT_TRUE(png.read()) << png.geterror();
    EXPECT_EQ(png.nativespec().format, OIIO::TypeDesc::UINT16);
}

TEST_F(Aehost, SaysWhatTheStreamsAreAndWhy) {
    // The size of the output frames, for the reader of the stream.
    Result r = run("--raw 16x8 --downsample 4 - out.argb", RawFrame(16, 8, 4));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("output frames are 4x2"), std::string::npos) << r.err;

    // The operating system's reason for an image that cannot be read.
    fs::create_directory(dir / "folder.png");
    r = run("folder.png out.png");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("folder.png: Is a directory"), std::string::npos) << r.err;

    // A closed standard output is named as such.
    WriteFile(dir / "frame.argb", RawFrame(4, 4, 1));
    const std::string command = "cd '" + dir.string() + "' && '" + AEHOST_PATH +
                                "' --raw 4x4 - - < frame.argb >&- 2> stderr";
    const int status = std::system(command.c_str());
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 2);
    EXPECT_NE(ReadFile(dir / "stderr").find("cannot write standard output"), std::string::npos)
        << ReadFile(dir / "stderr");
}

TEST_F(Aehost, EveryInjectedGpuFailureGivesExactFramesOrAFailedRunThatSaysWhere) {
    using Brindel::Testing::GpuFaultEnvironment;
    using Brindel::Testing::GpuFaultLog;
    constexpr int w = 64, h = 48;
    WriteFile(dir / "in.argb", RawFrame(w, h, 11) + RawFrame(w, h, 12) + RawFrame(w, h, 13));
    const std::string kept = "the output of an earlier run";
    const std::string log = (dir / "faults.log").string();
    const std::set<std::string> names = {"in.argb", "out.argb"};
    // Per blur and class: how the runs ended. Wrong ones are listed case by case.
    std::map<std::string, std::map<std::string, int>> endings;
    std::vector<std::string> wrong;
    int injected = 0;
    for (const std::string blur : {"0", "3"}) {
        const std::string arguments = "--raw 64x48 --blur " + blur + " in.argb out.argb";
        environment = GpuFaultEnvironment(GPU_FAULT_INJECTOR_PATH, "", log);
        const Result plain = run(arguments);
        ASSERT_EQ(plain.status, 0) << plain.err;
        const std::string reference = ReadFile(dir / "out.argb");
        const GpuFaultLog counted = GpuFaultLog::Read(log);
        fs::remove(log);
        for (const char* kind : Brindel::Testing::kGpuFaultClasses) {
            const long calls = counted.counts.count(kind) ? counted.counts.at(kind) : 0;
            ASSERT_GT(calls, 0) << "blur " << blur << ": no " << kind << " call to fail";
            for (long n = 1; n <= calls; ++n) {
                const std::string fault = std::string(kind) + ":" + std::to_string(n);
                WriteFile(dir / "out.argb", kept);
                environment = GpuFaultEnvironment(GPU_FAULT_INJECTOR_PATH, fault, log);
                const Result r = run(arguments);
                const GpuFaultLog faults = GpuFaultLog::Read(log);
                fs::remove(log);
                const std::string output = ReadFile(dir / "out.argb");
                const bool clean = files() == names;
                // A frame's failure names the frame; one in setup or set-down names the command.
                const bool inFrame = r.err.find("PF_Cmd_SMART_") != std::string::npos;
                const bool said = r.err.rfind("aehost: ", 0) == 0 &&
                                  std::count(r.err.begin(), r.err.end(), '\n') == 1 &&
                                  (!inFrame || r.err.rfind("aehost: frame ", 0) == 0);
                std::string ending;
                if (faults.failed.empty()) {
                    ending = "not injected";
                } else if (r.status == 0 && output == reference && clean) {
                    ending = "exact";
                } else if (r.status == 3 && output == kept && clean && said) {
                    ending = "failed, said so";
                } else {
                    ending = r.status == 0
                                 ? "exit 0 with wrong frames"
                                 : "exit " + std::to_string(r.status) +
                                       (output == kept && clean ? "" : ", output touched") +
                                       (said ? "" : ", said " + r.err.substr(0, r.err.find('\n')));
                }
                injected += !faults.failed.empty();
                ++endings["blur " + blur + ", " + kind][ending];
                if (ending != "exact" && ending != "failed, said so") {
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

namespace {

// The names in `dir` and what each is: a link stays a link, a FIFO a FIFO.
std::map<std::string, fs::file_type> Kinds(const fs::path& dir) {
    std::map<std::string, fs::file_type> kinds;
    for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
        kinds[entry.path().filename().string()] = entry.symlink_status().type();
    }
    return kinds;
}

std::vector<std::string> Words(const std::string& line) {
    std::istringstream in(line);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

} // namespace

TEST_F(Aehost, OutputsThatAreNoPlainFileAreWrittenThroughAndStayWhatTheyAre) {
    WriteFile(dir / "in.argb", RawFrame(16, 8, 1) + RawFrame(16, 8, 2));
    WriteImage(dir / "in.png", 4, 3, 4, OIIO::TypeDesc::UINT8, std::vector<float>(48, 0.5f));
    ASSERT_EQ(run("--raw 16x8 in.argb expected.argb").status, 0);
    ASSERT_EQ(run("in.png expected.png").status, 0);
    fs::create_directory(dir / "renders");
    WriteFile(dir / "renders/shot.argb", "an earlier render");
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
        std::string expected;  // the file of what should arrive; empty: refused, naming why
    };
    const std::vector<Case> cases = {
        {"--raw 16x8 in.argb link.argb", "renders/shot.argb", "expected.argb"},
        {"--raw 16x8 in.argb dangling.argb", "renders/new.argb", "expected.argb"},
        {"--raw 16x8 in.argb fifo.argb", "fifo.argb", "expected.argb"},
        {"--raw 16x8 in.argb /dev/stdout", "-", "expected.argb"},
        {"in.png stdout.png", "-", "expected.png"},
        {"in.png fifo.png", "fifo.png", "expected.png"},
        {"in.png fifo.sgi", "fifo.sgi", ""},
    };
    for (const Case& c : cases) {
        const std::map<std::string, fs::file_type> before = Kinds(dir);
        Result r;
        if (c.arrivesIn == "-") {
            Child child(dir, Words(c.arguments));
            child.closeInput();
            r.out = child.receive();
            r.status = child.wait();
        } else {
            r = run(c.arguments);
        }
        std::string arrived = r.out;
        if (readers.count(c.arrivesIn)) {
            char buffer[65536];
            for (ssize_t n; (n = ::read(readers[c.arrivesIn], buffer, sizeof buffer)) > 0;) {
                arrived.append(buffer, static_cast<size_t>(n));
            }
        } else if (c.arrivesIn != "-") {
            arrived = ReadFile(dir / c.arrivesIn);
        }
        EXPECT_EQ(r.status, c.expected.empty() ? 2 : 0) << c.arguments << ": " << r.err;
        EXPECT_TRUE(arrived == (c.expected.empty() ? "" : ReadFile(dir / c.expected)))
            << c.arguments << ": " << arrived.size() << " bytes arrived";
        EXPECT_EQ(Kinds(dir), before) << c.arguments;
        if (c.expected.empty()) {
            EXPECT_NE(r.err.find("cannot write image fifo.sgi: the sgi writer needs a file"),
                      std::string::npos)
                << r.err;
        }
    }
    for (const auto& reader : readers) {
        ::close(reader.second);
    }
}

TEST_F(Aehost, ACharacterDeviceAsOutputIsWrittenThroughAndStaysADevice) {
    // A private /dev/null: the machine's own is never an output of a test.
    if (::mknod((dir / "null.png").c_str(), S_IFCHR | 0666, ::makedev(1, 3)) != 0) {
        GTEST_SKIP() << "mknod is not permitted here: " << std::strerror(errno);
    }
    WriteFile(dir / "in.argb", RawFrame(16, 8, 1));
    WriteImage(dir / "in.png", 4, 3, 3, OIIO::TypeDesc::UINT8, std::vector<float>(36, 0.5f));
    for (const char* arguments : {"--raw 16x8 in.argb null.png", "in.png null.png"}) {
        const Result r = run(arguments);
        EXPECT_EQ(r.status, 0) << arguments << ": " << r.err;
        EXPECT_EQ(fs::symlink_status(dir / "null.png").type(), fs::file_type::character)
            << arguments;
        EXPECT_EQ(files(), (std::set<std::string>{"in.argb", "in.png", "null.png"})) << arguments;
    }
}
