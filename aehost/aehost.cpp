// aehost: runs an effect plug-in headless, the way the host would, on image
// files and sequences, on streams of raw frames, or on its built-in test card.
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

#include "AehostChecks.h"
#include "AehostOptions.h"
#include "EffectHost.h"
#include "FrameRenderer.h"
#include "ImageFile.h"
#include "ImageSequence.h"
#include "Interrupt.h"
#include "OutputFile.h"
#include "ProgressLine.h"
#include "RawFrameReader.h"
#include "RawFrameWriter.h"
#include "StandardOutput.h"
#include "TestCard.h"

using namespace Brindel::Host;

namespace {

constexpr int kExitUsage = 2;
// The plug-in returned an error, or the GPU refused the host's own context.
constexpr int kExitPluginError = 3;
constexpr const char* kTestCardOutput = "blurred.png";

std::string ProgramFolder() {
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof(self) - 1);
    if (n <= 0) {
        return ".";
    }
    const std::string path(self, static_cast<size_t>(n));
    return path.substr(0, path.rfind('/'));
}

// Per-frame times, and their summary.
class Report {
public:
    explicit Report(bool enabled) : mEnabled(enabled) {}

    void frame(double milliseconds, ProgressLine& progress) {
        mTimes.push_back(milliseconds);
        if (mEnabled) {
            char line[64];
            std::snprintf(line, sizeof(line), "frame %zu: %.2f ms", mTimes.size(), milliseconds);
            progress.print(line);
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

// The plug-in, set up for a run.
struct Session {
    Session(const std::string& plugin, const AehostOptions& options)
        : host(plugin),
          renderer(host, options.blur, options.downsample, options.threads, !options.verbose),
          report(options.report) {}

    // Renders one picture, scaled down first at a downsample.
    std::unique_ptr<World> render(const World& picture, int downsample, ProgressLine& progress) {
        std::unique_ptr<World> small;
        if (downsample > 1) {
            small = ImageFile::Downsample(picture, downsample);
        }
        World& input = small ? *small : const_cast<World&>(picture);
        auto output = std::make_unique<World>(input.width(), input.height(), PF_PixelFormat_ARGB32);
        report.frame(renderer.render(input, *output), progress);
        return output;
    }

    EffectHost host;
    FrameRenderer renderer;
    Report report;
};

void WarnClipped(const std::string& path, long pixels, ProgressLine& progress) {
    if (pixels > 0) {
        progress.print("aehost: warning: " + path + ": " + std::to_string(pixels) + " pixel" +
                       (pixels == 1 ? "" : "s") +
                       " held values outside 0 to 1, clipped to the effect's 8 bits a channel");
    }
}

bool ShowBar() {
    return isatty(STDERR_FILENO);
}

int RunRaw(const AehostOptions& options, const std::string& plugin,
           const StandardOutput& standardOutput) {
    RawFrameReader reader(options.input, options.rawWidth, options.rawHeight,
                          Interrupt::WakeDescriptor());
    const OutputTarget target =
        AehostChecks::CheckOutput(options.output, standardOutput.descriptor());
    const bool toStandardOutput = options.output == "-";
    const std::string outputName = toStandardOutput ? "standard output" : options.output;
    if (target.kind == OutputTarget::Kind::Descriptor && isatty(target.descriptor)) {
        throw UsageError(outputName + " is a terminal, not a place for raw frames: "
                                      "redirect it to a file or a pipe");
    }
    if (options.input != "-" && !toStandardOutput) {
        AehostChecks::CheckDistinct(options.input, options.output);
    }
    const int factor = options.downsample;
    const A_long width = std::max(1, options.rawWidth / factor);
    const A_long height = std::max(1, options.rawHeight / factor);
    if (factor > 1) {
        // The reader of the output needs its size.
        std::fprintf(stderr, "aehost: output frames are %dx%d (--downsample %d)\n", width, height,
                     factor);
    }

    Session session(plugin, options);
    OutputFile file(target, outputName, Interrupt::WakeDescriptor());
    RawFrameWriter writer(file.descriptor(), outputName);
    World frame(options.rawWidth, options.rawHeight, PF_PixelFormat_ARGB32);
    World output(width, height, PF_PixelFormat_ARGB32);
    ProgressLine progress(stderr, ShowBar(), reader.frameCount());
    // One frame at a time: memory stays the same however long the stream.
    while (!Interrupt::Signal() && reader.read(frame)) {
        if (factor > 1) {
            std::unique_ptr<World> small = ImageFile::Downsample(frame, factor);
            session.report.frame(session.renderer.render(*small, output), progress);
        } else {
            session.report.frame(session.renderer.render(frame, output), progress);
        }
        writer.write(output);
        progress.step();
    }
    progress.finish();
    if (Interrupt::Signal()) {
        return Interrupt::ExitStatus();
    }
    if (reader.framesRead() == 0) {
        std::fprintf(stderr, "aehost: warning: %s held no frame of %dx%d\n", reader.name().c_str(),
                     options.rawWidth, options.rawHeight);
        return kExitUsage;
    }
    session.renderer.finish();
    file.commit();
    session.report.summary();
    return 0;
}

int RunImage(const AehostOptions& options, const std::string& plugin,
             const StandardOutput& standardOutput) {
    Image image = ImageFile::Read(options.input);
    const OutputTarget target =
        AehostChecks::CheckOutput(options.output, standardOutput.descriptor());
    ImageFile::CheckWritable(options.output, target.streamed());
    AehostChecks::CheckDistinct(options.input, options.output);

    Session session(plugin, options);
    ProgressLine progress(stderr, false, std::nullopt);
    WarnClipped(options.input, image.clippedPixels, progress);
    std::unique_ptr<World> output = session.render(*image.world, options.downsample, progress);
    if (Interrupt::Signal()) {
        return Interrupt::ExitStatus();
    }
    OutputFile file(target, options.output, Interrupt::WakeDescriptor());
    ImageFile::Write(file, *output, image.layout.scaled(options.downsample));
    session.renderer.finish();
    file.commit();
    session.report.summary();
    return 0;
}

int RunSequence(const AehostOptions& options, const std::string& plugin,
                const StandardOutput& standardOutput) {
    std::optional<ImageSequence> in, out;
    try {
        in.emplace(options.input);
        out.emplace(options.output);
    } catch (const std::invalid_argument& e) {
        throw UsageError(e.what());
    }
    const std::vector<long> frames = in->frames(options.firstFrame, options.lastFrame);
    if (frames.empty()) {
        throw UsageError("cannot read " + options.input + ": no file matches it");
    }
    // A re-run on a farm leaves the finished frames alone: an output only ever takes its name
    // whole, so one that exists is done.
    std::vector<bool> done(frames.size(), false);
    std::vector<OutputTarget> targets(frames.size());
    bool firstChecked = false;
    for (size_t i = 0; i < frames.size(); ++i) {
        const long frame = frames[i];
        std::error_code error;
        done[i] = options.skipExisting && std::filesystem::is_regular_file(out->name(frame), error);
        if (done[i]) {
            continue;
        }
        AehostChecks::CheckInput(in->name(frame));
        targets[i] = AehostChecks::CheckOutput(out->name(frame), standardOutput.descriptor());
        AehostChecks::CheckDistinct(in->name(frame), out->name(frame));
        if (!firstChecked || targets[i].streamed()) {
            ImageFile::CheckWritable(out->name(frame), targets[i].streamed());
            firstChecked = true;
        }
    }

    // One plug-in session for the whole sequence, as the host renders a clip; none at all when
    // every frame is done already.
    std::optional<Session> session;
    ProgressLine progress(stderr, ShowBar(), static_cast<long>(frames.size()));
    for (size_t i = 0; i < frames.size(); ++i) {
        const long frame = frames[i];
        if (done[i]) {
            progress.step(frame, "exists, skipped");
            continue;
        }
        if (Interrupt::Signal()) {
            // The frames written so far are whole files; the rest are not begun.
            return Interrupt::ExitStatus();
        }
        if (!session) {
            session.emplace(plugin, options);
        }
        Image image = ImageFile::Read(in->name(frame));
        WarnClipped(in->name(frame), image.clippedPixels, progress);
        std::unique_ptr<World> output = session->render(*image.world, options.downsample, progress);
        OutputFile file(targets[i], out->name(frame), Interrupt::WakeDescriptor());
        ImageFile::Write(file, *output, image.layout.scaled(options.downsample));
        file.commit();
        progress.step(frame, "done");
    }
    progress.finish();
    if (session) {
        session->renderer.finish();
        session->report.summary();
    }
    return 0;
}

int RunTestCard(const AehostOptions& options, const std::string& plugin,
                const StandardOutput& standardOutput) {
    const OutputTarget blurredTarget =
        AehostChecks::CheckOutput(kTestCardOutput, standardOutput.descriptor());
    ImageFile::CheckWritable(kTestCardOutput, blurredTarget.streamed());
    OutputTarget unblurredTarget;
    if (!options.unblurredCard.empty()) {
        unblurredTarget =
            AehostChecks::CheckOutput(options.unblurredCard, standardOutput.descriptor());
        ImageFile::CheckWritable(options.unblurredCard, unblurredTarget.streamed());
    }
    Session session(plugin, options);
    ProgressLine progress(stderr, false, std::nullopt);
    const std::unique_ptr<World> card = TestCard::Draw();
    std::unique_ptr<World> output = session.render(*card, options.downsample, progress);
    if (Interrupt::Signal()) {
        return Interrupt::ExitStatus();
    }
    OutputFile blurred(blurredTarget, kTestCardOutput, Interrupt::WakeDescriptor());
    ImageFile::Write(blurred, *output);
    std::optional<OutputFile> unblurred;
    if (!options.unblurredCard.empty()) {
        unblurred.emplace(unblurredTarget, options.unblurredCard, Interrupt::WakeDescriptor());
        ImageFile::Write(*unblurred, *card);
    }
    session.renderer.finish();
    blurred.commit();
    if (unblurred) {
        unblurred->commit();
    }
    session.report.summary();
    if (FILE* out = standardOutput.stream()) {
        std::fprintf(out, "wrote the test card, blurred by %g, to %s\n", options.blur,
                     std::filesystem::absolute(kTestCardOutput).c_str());
        if (unblurred) {
            std::fprintf(out, "wrote the test card before the blur to %s\n",
                         std::filesystem::absolute(options.unblurredCard).c_str());
        }
        std::fflush(out);
    }
    return 0;
}

int Run(const AehostOptions& options, const StandardOutput& standardOutput) {
    const std::string plugin = AehostChecks::PluginPath(options.pluginPath, ProgramFolder());
    switch (options.mode) {
    case AehostOptions::Mode::Raw:
        return RunRaw(options, plugin, standardOutput);
    case AehostOptions::Mode::Image:
        return ImageSequence::IsPattern(options.input)
                   ? RunSequence(options, plugin, standardOutput)
                   : RunImage(options, plugin, standardOutput);
    case AehostOptions::Mode::TestCard:
        return RunTestCard(options, plugin, standardOutput);
    }
    return kExitUsage;
}

} // namespace

int main(int argc, char** argv) {
    // A reader that goes away is reported as a write error, not a silent death.
    std::signal(SIGPIPE, SIG_IGN);
    AehostOptions options;
    try {
        options = AehostOptions::Parse(argc, argv);
    } catch (const UsageError& e) {
        std::fprintf(stderr, "aehost: %s\ntry 'aehost --help'\n", e.what());
        return kExitUsage;
    }
    if (options.help || options.version) {
        std::fputs(options.help ? AehostOptions::Usage() : AehostOptions::Version(), stdout);
        return std::fflush(stdout) == 0 ? 0 : kExitUsage;
    }
    const StandardOutput standardOutput;
    const Interrupt interrupt;
    try {
        return Run(options, standardOutput);
    } catch (const PluginError& e) {
        std::fprintf(stderr, "aehost: %s\n", e.what());
        return kExitPluginError;
    } catch (const FrameGLError& e) {
        std::fprintf(stderr, "aehost: %s\n", e.what());
        return kExitPluginError;
    } catch (const HostGLError& e) {
        // The GPU, not the command line: no context for the host, or not current again.
        std::fprintf(stderr, "aehost: %s\n", e.what());
        return kExitPluginError;
    } catch (const std::exception& e) {
        // Unreadable input, unwritable output, a plug-in that will not load.
        std::fprintf(stderr, "aehost: %s\n", e.what());
        return Interrupt::Signal() ? Interrupt::ExitStatus() : kExitUsage;
    }
}
