#include "AehostOptions.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <vector>

namespace Brindel::Host {

namespace {

double ParseNumber(const std::string& option, const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno != 0 || !std::isfinite(value)) {
        throw UsageError(option + " needs a number, not '" + text + "'");
    }
    return value;
}

long ParseWhole(const std::string& option, const std::string& text, long min, long max) {
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || value < min || value > max) {
        throw UsageError(option + " needs a whole number from " + std::to_string(min) + " to " +
                         std::to_string(max) + ", not '" + text + "'");
    }
    return value;
}

int ParseCount(const std::string& option, const std::string& text, int min, int max) {
    return static_cast<int>(ParseWhole(option, text, min, max));
}

void ParseSize(const std::string& text, int& width, int& height) {
    const size_t x = text.find('x');
    if (x == std::string::npos) {
        throw UsageError("--raw needs a size WxH, such as 1920x1080, not '" + text + "'");
    }
    width = ParseCount("--raw width", text.substr(0, x), 1, 32767);
    height = ParseCount("--raw height", text.substr(x + 1), 1, 32767);
}

// "A-B" or a single frame "A".
void ParseFrames(const std::string& text, std::optional<long>& first, std::optional<long>& last) {
    constexpr long kMax = 999999999;
    const size_t dash = text.find('-', 1);
    first = ParseWhole("--frames", text.substr(0, dash), 0, kMax);
    last =
        dash == std::string::npos ? *first : ParseWhole("--frames", text.substr(dash + 1), 0, kMax);
    if (*last < *first) {
        throw UsageError("--frames needs A-B with A no greater than B, not '" + text + "'");
    }
}

// CLI11's messages, reworded to name the option the way the user typed it.
std::string Reword(const CLI::Error& error, const std::vector<std::string>& extras) {
    const std::string what = error.what();
    if (dynamic_cast<const CLI::ExtrasError*>(&error) && !extras.empty()) {
        const std::string& first = extras.front();
        return first.size() > 1 && first[0] == '-' ? "unknown option '" + first + "'"
                                                   : "unexpected argument '" + first + "'";
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) &&
        what.find("missing") != std::string::npos) {
        return what.substr(0, what.find(':')) + " needs a value";
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) &&
        what.find("Flag") != std::string::npos) {
        return what.substr(0, what.find(':')) + " takes no value";
    }
    // Everything else is one line already.
    return what.substr(0, what.find('\n'));
}

bool IsSequence(const std::string& path) {
    return path.find('%') != std::string::npos;
}

} // namespace

const char* AehostOptions::Usage() {
    return "usage: aehost [options]                 blur the built-in test card into blurred.png\n"
           "       aehost [options] INPUT OUTPUT    blur an image file into another\n"
           "       aehost [options] IN.%04d.png OUT.%04d.png\n"
           "                                        blur a numbered image sequence\n"
           "       aehost --raw WxH [options] IN OUT\n"
           "                                        blur a stream of raw frames\n"
           "\n"
           "Runs the Gaussian Blur effect plug-in headless, speaking the effect protocol to it\n"
           "as the host does. The effect works at 8 bits a channel.\n"
           "\n"
           "Image files are read and written with OpenImageIO (PNG, TIFF, EXR, JPEG, ...).\n"
           "The output keeps the input's channels (grey, RGB, with or without alpha), bit\n"
           "depth as its container, and an EXR's data and display windows. Premultiplied\n"
           "input (EXR, TIFF with associated alpha) is brought to straight colour, and\n"
           "each output is written as its format stores alpha.\n"
           "\n"
           "Raw frames are W*H*4 bytes each, alpha, red, green, blue per pixel, rows top\n"
           "first (ffmpeg's -pix_fmt argb). IN and OUT are files, or - for standard input\n"
           "and output. Frames are rendered in order and streamed.\n"
           "\n"
           "An output file is written beside OUT under a temporary name and takes OUT's\n"
           "name only when the run succeeds. A sequence shows a progress bar on a terminal,\n"
           "and elsewhere a line per finished frame: frame 12 done (5 of 24).\n"
           "\n"
           "options:\n"
           "  --raw WxH         IN and OUT are streams of raw frames of W by H pixels\n"
           "  -b, --blur S      the Gaussian's sigma in pixels, rounded to whole pixels;\n"
           "                    the Blur Scale value, 0 to 60 (default 10)\n"
           "  --downsample N    render at 1/N resolution, as the host does for a draft\n"
           "                    preview: the frame is scaled down by N in x and y before\n"
           "                    the effect sees it, and the output has the smaller size\n"
           "  --frames A-B      the frames A to B of a numbered sequence (default: those\n"
           "                    that exist)\n"
           "  --skip-existing   leave out the frames of a sequence whose output file exists,\n"
           "                    as a re-run of an interrupted one does\n"
           "  --plugin PATH     the plug-in module (default: the one beside aehost); a bare\n"
           "                    name is also looked for in the current folder\n"
           "  -j, -t, --threads N\n"
           "                    send frames from N host threads in turn, as a host with\n"
           "                    several render threads does; not a speed-up (default 1)\n"
           "  --unblurred FILE  with the test card: also write the card before the blur\n"
           "  --report          per-frame milliseconds and a summary on standard error\n"
           "  -v, --verbose     pass the plug-in's console output on to standard error\n"
           "  -h, --help        this text\n"
           "  --version         aehost's version\n"
           "\n"
           "Options take their value as --blur 5 or --blur=5, short ones as -b 5 or -b5.\n"
           "\n"
           "exit status: 0 success; 2 bad usage, an input that cannot be read, an output\n"
           "that cannot be written, or a stream without a frame; 3 the plug-in returned an\n"
           "error, or the GPU refused aehost's own GL context, naming the frame; 130 and 143\n"
           "stopped by SIGINT or SIGTERM after a whole frame. A sequence exits with 0 only\n"
           "when every frame's output exists.\n";
}

const char* AehostOptions::Version() {
    return "aehost 1.0.0\n";
}

AehostOptions AehostOptions::Parse(int argc, const char* const* argv) {
    AehostOptions options;
    std::string raw, blur, downsample, threads, frames;
    std::vector<std::string> positional;

    CLI::App app("aehost", "aehost");
    app.set_help_flag();
    app.add_flag("-h,--help", options.help);
    app.add_flag("--version", options.version);
    app.add_flag("--report", options.report);
    app.add_flag("-v,--verbose", options.verbose);
    app.add_flag("--skip-existing", options.skipExisting);
    app.add_option("--raw", raw);
    app.add_option("-b,--blur", blur);
    app.add_option("--downsample", downsample);
    app.add_option("--plugin", options.pluginPath);
    app.add_option("-j,-t,--threads", threads);
    app.add_option("--frames", frames);
    app.add_option("--unblurred", options.unblurredCard);
    app.add_option("files", positional);
    // The last of a repeated option counts, as in most command-line tools.
    for (CLI::Option* option : app.get_options()) {
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Error& e) {
        throw UsageError(Reword(e, app.remaining()));
    }
    if (options.help || options.version) {
        return options;
    }

    if (app.count("--blur")) {
        options.blur = ParseNumber("--blur", blur);
        if (options.blur < kMinBlur || options.blur > kMaxBlur) {
            std::ostringstream message;
            message << "--blur " << blur << " is outside Blur Scale's range " << kMinBlur << " to "
                    << kMaxBlur;
            throw UsageError(message.str());
        }
    }
    if (app.count("--downsample")) {
        options.downsample = ParseCount("--downsample", downsample, 1, 64);
    }
    if (app.count("--threads")) {
        options.threads = ParseCount("--threads", threads, 1, 64);
    }
    if (app.count("--plugin") && options.pluginPath.empty()) {
        throw UsageError("--plugin needs a path");
    }
    const bool isRaw = app.count("--raw") > 0;
    if (isRaw) {
        ParseSize(raw, options.rawWidth, options.rawHeight);
    }

    if (positional.size() == 1 || positional.size() > 2) {
        throw UsageError("expected INPUT and OUTPUT, got " + std::to_string(positional.size()) +
                         " file argument" + (positional.size() == 1 ? "" : "s"));
    }
    if (isRaw && positional.empty()) {
        throw UsageError("--raw needs IN and OUT (files, or - for standard input and output)");
    }
    if (positional.size() == 2) {
        options.mode = isRaw ? Mode::Raw : Mode::Image;
        options.input = positional[0];
        options.output = positional[1];
        if (!isRaw && (options.input == "-" || options.output == "-")) {
            throw UsageError("standard input and output carry raw frames only: use --raw WxH");
        }
        if (options.input.empty() || options.output.empty()) {
            throw UsageError("INPUT and OUTPUT must not be empty");
        }
    }
    if (!options.unblurredCard.empty() && options.mode != Mode::TestCard) {
        throw UsageError("--unblurred goes with the test card, without INPUT and OUTPUT");
    }
    const bool sequence = options.mode == Mode::Image && IsSequence(options.input);
    if (options.mode == Mode::Image && sequence != IsSequence(options.output)) {
        throw UsageError("a numbered sequence needs a pattern such as %04d in both INPUT and "
                         "OUTPUT");
    }
    if (app.count("--frames")) {
        if (!sequence) {
            throw UsageError("--frames needs a numbered sequence, such as in.%04d.png");
        }
        ParseFrames(frames, options.firstFrame, options.lastFrame);
    }
    if (options.skipExisting && !sequence) {
        throw UsageError("--skip-existing needs a numbered sequence, such as in.%04d.png");
    }
    return options;
}

} // namespace Brindel::Host
