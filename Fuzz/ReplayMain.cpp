// Runs a fuzz target over saved inputs without libFuzzer, so that the inputs that once found a
// fault run as ordinary tests with any compiler: every file named, and every file in a folder
// named, in name order so that a run repeats exactly. A finding aborts; running no input at all
// is a failure too.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        const size_t first = inputs.size();
        if (fs::is_directory(argv[i])) {
            for (const fs::directory_entry& entry : fs::directory_iterator(argv[i])) {
                inputs.push_back(entry.path());
            }
        } else {
            inputs.push_back(argv[i]);
        }
        std::sort(inputs.begin() + first, inputs.end());
    }
    for (const fs::path& input : inputs) {
        std::ifstream file(input, std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "cannot read %s\n", input.c_str());
            return 1;
        }
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        std::fprintf(stderr, "replaying %s (%zu bytes)\n", input.c_str(), bytes.size());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::fprintf(stderr, "%zu inputs replayed\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
