#pragma once

#include <string>

#include "OutputFile.h"

namespace Brindel::Host {

// The checks of aehost's files that need neither the plug-in nor GL, run
// before either starts and before any output is written. Each throws
// UsageError naming the file and the operating system's reason.
class AehostChecks {
public:
    // The plug-in module to load: `requested`, or the one in
    // `programFolder` when none is. A bare name is taken from the current
    // folder when a file of that name is there, else left to the loader's
    // search; a path must name a file.
    static std::string PluginPath(const std::string& requested, const std::string& programFolder);

    // `path` exists, is no folder and can be read.
    static void CheckInput(const std::string& path);

    // What `path` is as an output, and that it can be written. A link is
    // followed to what it names. A plain file or a new name needs a folder
    // that takes a temporary file beside it; a device, FIFO or socket is
    // written through, and so is the descriptor that "-", /dev/stdout,
    // /dev/stderr or /dev/fd/N names. Descriptor 1 stands for
    // `standardOutput`, where aehost keeps the real one (-1: closed).
    static OutputTarget CheckOutput(const std::string& path, int standardOutput);

    // Refuses `input` and `output` when they are one file, however spelled.
    static void CheckDistinct(const std::string& input, const std::string& output);
};

} // namespace Brindel::Host
