#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace Brindel::Host {

// A command line aehost cannot run; the message names the argument and why.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What the command line of aehost asks for.
struct AehostOptions {
    enum class Mode { TestCard, Image, Raw };

    // The range of the effect's Blur Scale, checked before the plug-in loads.
    static constexpr double kMinBlur = 0.0;
    static constexpr double kMaxBlur = 60.0;

    Mode mode = Mode::TestCard;
    std::string input;  // a path, a numbered pattern, or "-" for standard input in raw mode
    std::string output; // the same for the output
    int rawWidth = 0;
    int rawHeight = 0;
    double blur = 10.0;
    int downsample = 1;
    std::string pluginPath; // empty: the plug-in beside the program
    int threads = 1;
    std::optional<long> firstFrame; // --frames A-B of a numbered sequence
    std::optional<long> lastFrame;
    bool skipExisting = false; // frames whose output file exists are left as they are
    std::string unblurredCard; // the test card before the blur, when asked for
    bool report = false;
    bool verbose = false;
    bool help = false;
    bool version = false;

    // Reads a command line without side effects; throws UsageError.
    static AehostOptions Parse(int argc, const char* const* argv);
    static const char* Usage();
    static const char* Version();
};

} // namespace Brindel::Host
