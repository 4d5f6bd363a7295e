// aehost's command line parser on any argument list (the input split at NUL bytes). It either
// refuses the line with a usage error or gives options that aehost can run as they are.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "AehostOptions.h"
#include "FuzzCheck.h"

using Brindel::Host::AehostOptions;
using Brindel::Host::UsageError;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> args{"aehost"};
    for (size_t from = 0; size > 0 && from <= size;) {
        const size_t end = std::min(bytes.find('\0', from), size);
        args.push_back(bytes.substr(from, end - from));
        from = end + 1;
    }
    std::vector<const char*> argv;
    for (const std::string& a : args) {
        argv.push_back(a.c_str());
    }
    argv.push_back(nullptr);
    AehostOptions options;
    try {
        options = AehostOptions::Parse(static_cast<int>(args.size()), argv.data());
    } catch (const UsageError& e) {
        FUZZ_CHECK(e.what()[0] != '\0');
        return 0;
    }
    if (options.help) {
        return 0;
    }
    FUZZ_CHECK(std::isfinite(options.blur));
    FUZZ_CHECK(options.threads >= 1 && options.threads <= 64);
    FUZZ_CHECK(options.downsample >= 1 && options.downsample <= 64);
    switch (options.mode) {
    case AehostOptions::Mode::Raw:
        FUZZ_CHECK(options.rawWidth >= 1 && options.rawWidth <= 32767);
        FUZZ_CHECK(options.rawHeight >= 1 && options.rawHeight <= 32767);
        break;
    case AehostOptions::Mode::Image:
        // Standard input and output carry raw frames only.
        FUZZ_CHECK(options.input != "-" && options.output != "-");
        break;
    case AehostOptions::Mode::TestCard:
        FUZZ_CHECK(options.input.empty() && options.output.empty());
        break;
    }
    return 0;
}
