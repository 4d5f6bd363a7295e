#pragma once

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

    Mode mode = Mode::TestCard;
    std::string input;  // a path, or "-" for standard input in raw mode
    std::string output; // a path, or "-" for standard output in raw mode
    int rawWidth = 0;
    int rawHeight = 0;
    double blur = 10.0;
    int downsample = 1;
    std::string pluginPath; // empty: the plug-in beside the program
    int threads = 1;
    bool report = false;
    bool help = false;

    // Throws UsageError.
    static AehostOptions Parse(int argc, const char* const* argv);
    static const char* Usage();
};

} // namespace Brindel::Host
