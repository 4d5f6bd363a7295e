// The raw-frame reader on any stream: frame sizes and row padding from the input's first bytes,
// the rest as the stream. Every whole frame must arrive byte for byte, the padding untouched, and
// a stream that ends inside a frame must be refused, not read short.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "RawFrameReader.h"
#include "World.h"

using Brindel::Fuzz::FuzzInput;
using Brindel::Host::RawFrameReader;
using Brindel::Host::RawStreamError;
using Brindel::Host::World;

namespace {

// The stream as a file in memory, opened by path as aehost opens its input.
class MemoryFile {
public:
    explicit MemoryFile(const std::string& bytes) : mFd(memfd_create("raw-frames", 0)) {
        FUZZ_CHECK(mFd >= 0);
        size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t n = write(mFd, bytes.data() + done, bytes.size() - done);
            FUZZ_CHECK(n > 0);
            done += static_cast<size_t>(n);
        }
    }
    ~MemoryFile() { close(mFd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(mFd); }

private:
    int mFd;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    const auto width = static_cast<A_long>(input.integer(1, 40));
    const auto height = static_cast<A_long>(input.integer(1, 40));
    const auto padding = static_cast<A_long>(input.integer(0, 9));
    const std::string stream = input.rest();
    const size_t frameSize = static_cast<size_t>(width) * height * 4;

    MemoryFile file(stream);
    RawFrameReader reader(file.path(), width, height);
    FUZZ_CHECK(reader.frameCount() == static_cast<long>(stream.size() / frameSize));

    World frame(width, height, PF_PixelFormat_ARGB32, padding);
    size_t offset = 0;
    bool refused = false;
    try {
        while (reader.read(frame)) {
            FUZZ_CHECK(offset + frameSize <= stream.size());
            for (A_long y = 0; y < height; ++y) {
                const size_t rowSize = static_cast<size_t>(width) * 4;
                FUZZ_CHECK(
                    std::memcmp(frame.row(y), stream.data() + offset + y * rowSize, rowSize) == 0);
            }
            FUZZ_CHECK(frame.paddingIntact());
            offset += frameSize;
            FUZZ_CHECK(reader.framesRead() == static_cast<long>(offset / frameSize));
        }
    } catch (const RawStreamError& e) {
        // It must name the frame the stream ends in.
        const std::string frameNumber = "frame " + std::to_string(offset / frameSize + 1);
        FUZZ_CHECK(std::string(e.what()).find(frameNumber) != std::string::npos);
        refused = true;
    }
    FUZZ_CHECK(offset == stream.size() / frameSize * frameSize);
    FUZZ_CHECK(refused == (stream.size() % frameSize != 0));
    return 0;
}
