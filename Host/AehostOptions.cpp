#include "AehostOptions.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
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

int ParseCount(const std::string& option, const std::string& text, int min, int max) {
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || value < min || value > max) {
        throw UsageError(option + " needs a whole number from " + std::to_string(min) + " to " +
                         std::to_string(max) + ", not '" + text + "'");
    }
    return static_cast<int>(value);
}

void ParseSize(const std::string& text, int& width, int& height) {
    const size_t x = text.find('x');
    if (x == std::string::npos) {
        throw UsageError("--raw needs a size WxH, such as 1920x1080, not '" + text + "'");
    }
    width = ParseCount("--raw width", text.substr(0, x), 1, 32767);
    height = ParseCount("--raw height", text.substr(x + 1), 1, 32767);
}

} // namespace

const char* AehostOptions::Usage() {
    return "usage: aehost [options]                 blur the built-in test card into blurred.png\n"
           "       aehost [options] INPUT OUTPUT    blur an image file into another\n"
           "       aehost --raw WxH [options] IN OUT\n"
           "                                        blur a stream of raw frames\n"
           "\n"
           "Runs the Gaussian Blur effect plug-in headless, speaking the effect protocol to it\n"
           "as the host does.\n"
           "\n"
           "Image files are read and written with OpenImageIO (PNG, TIFF, EXR, JPEG, ...).\n"
           "Input of more than 8 bits a channel is converted to the 8-bit frames the effect\n"
           "takes; alpha is kept, and an input without alpha is opaque.\n"
           "\n"
           "Raw frames are W*H*4 bytes each, alpha, red, green, blue per pixel, rows top\n"
           "first (ffmpeg's -pix_fmt argb). IN and OUT are files, or - for standard input\n"
           "and output. Frames are rendered in order and streamed.\n"
           "\n"
           "options:\n"
           "  --blur S          the Blur Scale value in pixels, 0 to 60 (default 10)\n"
           "  --downsample N    render at 1/N resolution, as the host does for a draft\n"
           "                    preview: the frame is scaled down by N in x and y before\n"
           "                    the effect sees it, and the output has the smaller size\n"
           "  --plugin PATH     the plug-in module (default: the one beside aehost)\n"
           "  --threads N       send frames from N host threads in turn (default 1)\n"
           "  --report          per-frame milliseconds and a summary on standard error\n"
           "  -h, --help        this text\n"
           "\n"
           "exit status: 0 success; 2 bad usage, or an input that cannot be read or an\n"
           "output that cannot be written; 3 the plug-in returned an error.\n";
}

AehostOptions AehostOptions::Parse(int argc, const char* const* argv) {
    AehostOptions options;
    std::vector<std::string> positional;
    bool raw = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc) {
                throw UsageError(arg + " needs a value");
            }
            return argv[++i];
        };
        if (arg == "-h" || arg == "--help") {
            options.help = true;
        } else if (arg == "--raw") {
            raw = true;
            ParseSize(value(), options.rawWidth, options.rawHeight);
        } else if (arg == "--blur") {
            options.blur = ParseNumber(arg, value());
        } else if (arg == "--downsample") {
            options.downsample = ParseCount(arg, value(), 1, 64);
        } else if (arg == "--plugin") {
            options.pluginPath = value();
        } else if (arg == "--threads") {
            options.threads = ParseCount(arg, value(), 1, 64);
        } else if (arg == "--report") {
            options.report = true;
        } else if (arg.size() > 1 && arg[0] == '-') {
            throw UsageError("unknown option '" + arg + "'");
        } else {
            positional.push_back(arg);
        }
    }
    if (options.help) {
        return options;
    }
    if (positional.size() == 1 || positional.size() > 2) {
        throw UsageError("expected INPUT and OUTPUT, got " + std::to_string(positional.size()) +
                         " file argument" + (positional.size() == 1 ? "" : "s"));
    }
    if (raw && positional.empty()) {
        throw UsageError("--raw needs IN and OUT (files, or - for standard input and output)");
    }
    if (positional.size() == 2) {
        options.mode = raw ? Mode::Raw : Mode::Image;
        options.input = positional[0];
        options.output = positional[1];
        if (!raw && (options.input == "-" || options.output == "-")) {
            throw UsageError("standard input and output carry raw frames only: use --raw WxH");
        }
    }
    return options;
}

} // namespace Brindel::Host
