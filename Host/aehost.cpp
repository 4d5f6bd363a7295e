// aehost: runs an effect plug-in headless, the way the host would, on image
// files, on streams of raw frames, or on its built-in test card.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AehostOptions.h"
#include "EffectHost.h"
#include "FrameRenderer.h"
#include "ImageFile.h"
#include "RawFrameReader.h"
#include "RawFrameWriter.h"
#include "TestCard.h"

using namespace Brindel::Host;

namespace {

constexpr int kExitUsage = 2;
constexpr int kExitPluginError = 3;
constexpr const char* kTestCardOutput = "blurred.png";

std::string DefaultPluginPath() {
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof(self) - 1);
    if (n <= 0) {
        return "GaussianBlur.so";
    }
    const std::string path(self, static_cast<size_t>(n));
    return path.substr(0, path.rfind('/') + 1) + "GaussianBlur.so";
}

// Per-frame times on standard error, and their summary.
class Report {
public:
    explicit Report(bool enabled) : mEnabled(enabled) {}

    void frame(double milliseconds) {
        mTimes.push_back(milliseconds);
        if (mEnabled) {
            std::fprintf(stderr, "frame %zu: %.2f ms\n", mTimes.size(), milliseconds);
        }
    }

    void summary() const {
        if (!mEnabled || mTimes.empty()) {
            return;
        }
        std::vector<double> sorted = mTimes;
        std::sort(sorted.begin(), sorted.end());
        const size_t n = sorted.size();
        const double median = n % 2 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2.0;
        std::fprintf(stderr, "%zu frame%s: median %.2f ms, min %.2f ms, max %.2f ms\n", n,
                     n == 1 ? "" : "s", median, sorted.front(), sorted.back());
    }

private:
    bool mEnabled;
    std::vector<double> mTimes;
};

// A progress bar on standard error, drawn only when that is a terminal.
class Progress {
public:
    explicit Progress(std::optional<long> total) : mTotal(total), mShow(isatty(STDERR_FILENO)) {}
    ~Progress() {
        if (mShow && mDone > 0) {
            std::fputc('\n', stderr);
        }
    }

    void step() {
        ++mDone;
        if (!mShow) {
            return;
        }
        if (mTotal && *mTotal > 0) {
            constexpr int kWidth = 30;
            const int filled = static_cast<int>(kWidth * std::min(mDone, *mTotal) / *mTotal);
            std::fprintf(stderr, "\r[%s%s] %ld/%ld", std::string(filled, '#').c_str(),
                         std::string(kWidth - filled, ' ').c_str(), mDone, *mTotal);
        } else {
            std::fprintf(stderr, "\r%ld frames", mDone);
        }
        std::fflush(stderr);
    }

private:
    std::optional<long> mTotal;
    bool mShow;
    long mDone = 0;
};

// Renders one picture, scaled down first at a downsample.
std::unique_ptr<World> RenderPicture(FrameRenderer& renderer, Report& report,
                                     std::unique_ptr<World> input, int downsample) {
    if (downsample > 1) {
        input = ImageFile::Downsample(*input, downsample);
    }
    auto output = std::make_unique<World>(input->width(), input->height(), PF_PixelFormat_ARGB32);
    report.frame(renderer.render(*input, *output));
    return output;
}

void RenderRaw(FrameRenderer& renderer, Report& report, const AehostOptions& options,
               RawFrameReader& reader, RawFrameWriter& writer) {
    World frame(options.rawWidth, options.rawHeight, PF_PixelFormat_ARGB32);
    const int factor = options.downsample;
    const A_long width = std::max(1, options.rawWidth / factor);
    const A_long height = std::max(1, options.rawHeight / factor);
    World output(width, height, PF_PixelFormat_ARGB32);
    Progress progress(reader.frameCount());
    // One frame at a time: memory stays the same however long the stream.
    while (reader.read(frame)) {
        if (factor > 1) {
            std::unique_ptr<World> small = ImageFile::Downsample(frame, factor);
            report.frame(renderer.render(*small, output));
        } else {
            report.frame(renderer.render(frame, output));
        }
        writer.write(output);
        progress.step();
    }
}

int Run(const AehostOptions& options) {
    // Streams open before the plug-in loads: it prints to standard output.
    std::unique_ptr<RawFrameReader> reader;
    std::unique_ptr<RawFrameWriter> writer;
    if (options.mode == AehostOptions::Mode::Raw) {
        reader =
            std::make_unique<RawFrameReader>(options.input, options.rawWidth, options.rawHeight);
        writer = std::make_unique<RawFrameWriter>(options.output);
    }
    EffectHost host(options.pluginPath.empty() ? DefaultPluginPath() : options.pluginPath);
    FrameRenderer renderer(host, options.blur, options.downsample, options.threads);
    Report report(options.report);

    switch (options.mode) {
    case AehostOptions::Mode::Raw:
        RenderRaw(renderer, report, options, *reader, *writer);
        break;
    case AehostOptions::Mode::Image: {
        std::unique_ptr<World> output =
            RenderPicture(renderer, report, ImageFile::Read(options.input), options.downsample);
        ImageFile::Write(options.output, *output);
        break;
    }
    case AehostOptions::Mode::TestCard: {
        std::unique_ptr<World> output =
            RenderPicture(renderer, report, TestCard::Draw(), options.downsample);
        ImageFile::Write(kTestCardOutput, *output);
        std::printf("wrote the test card, blurred by %g, to %s\n", options.blur,
                    std::filesystem::absolute(kTestCardOutput).c_str());
        break;
    }
    }
    renderer.finish();
    report.summary();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    // Every frame, the GL driver allocates and frees buffers of the frame's size, aligned, and
    // from the worker threads' arenas. glibc raises its mmap threshold as such buffers are freed,
    // after which they come from the heap, where aligned blocks are not reused: memory grows
    // with every frame and every thread. A fixed threshold keeps large buffers in mmap, given
    // back when freed. The process is the host's own, so the host decides; a plug-in cannot.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    // A reader that goes away is reported as a write error, not a silent death.
    std::signal(SIGPIPE, SIG_IGN);
    AehostOptions options;
    try {
        options = AehostOptions::Parse(argc, argv);
    } catch (const UsageError& e) {
        std::fprintf(stderr, "aehost: %s\n%s", e.what(), AehostOptions::Usage());
        return kExitUsage;
    }
    if (options.help) {
        std::fputs(AehostOptions::Usage(), stdout);
        return 0;
    }
    try {
        return Run(options);
    } catch (const PluginError& e) {
        std::fprintf(stderr, "aehost: the plug-in failed: %s\n", e.what());
        return kExitPluginError;
    } catch (const std::exception& e) {
        // Unreadable input, unwritable output, a plug-in that will not load.
        std::fprintf(stderr, "aehost: %s\n", e.what());
        return kExitUsage;
    }
}
