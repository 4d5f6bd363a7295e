// Runs a fuzz target over saved inputs without libFuzzer, so that the inputs that once found a
// fault run as ordinary tests with any compiler: every file named, and every file in a folder
// named. A finding aborts; running no input at all is a failure too.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<std::filesystem::path> Inputs(int argc, char** argv) {
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i) {
        const auto from = inputs.size();
        if (!std::filesystem::is_directory(argv[i])) {
            inputs.push_back(argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            if (entry.is_regular_file()) {
                inputs.push_back(entry.path());
            }
        }
        // In name order, so that a run can be repeated exactly.
        std::sort(inputs.begin() + static_cast<long>(from), inputs.end());
    }
    return inputs;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::filesystem::path> inputs = Inputs(argc, argv);
    if (inputs.empty()) {
        std::fprintf(stderr, "no inputs to replay\n");
        return 1;
    }
    for (const std::filesystem::path& input : inputs) {
        std::ifstream file(input, std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "cannot read %s\n", input.c_str());
            return 1;
        }
        const std::vector<char> bytes((std::istreambuf_iterator<char>(file)),
                                      std::istreambuf_iterator<char>());
        std::fprintf(stderr, "replaying %s (%zu bytes)\n", input.c_str(), bytes.size());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::fprintf(stderr, "%zu inputs replayed\n", inputs.size());
    return 0;
}
