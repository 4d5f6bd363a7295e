// The raw-frame reader on any stream: frame sizes, row padding and file or pipe from the input's
// first bytes, the rest as the stream. A file that holds no whole number of frames is refused
// when opened; through a pipe, every whole frame must arrive byte for byte, the padding
// untouched, and a stream that ends inside a frame must be refused, not read short.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "RawFrameReader.h"
#include "World.h"

using Brindel::Fuzz::FuzzInput;
using namespace Brindel::Host;

namespace {

// The stream as a file in memory, opened by path as aehost opens its input; or through a pipe,
// whose size nobody knows before its end, as standard input is (the inputs fit its buffer).
struct MemoryStream {
    MemoryStream(const std::string& bytes, bool asFile) {
        int fds[2] = {-1, -1};
        if (asFile) {
            fds[0] = fds[1] = memfd_create("raw-frames", 0);
        } else {
            FUZZ_CHECK(pipe(fds) == 0);
        }
        FUZZ_CHECK(fds[1] >= 0);
        FUZZ_CHECK(write(fds[1], bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
        if (!asFile) {
            close(fds[1]);
        }
        fd = fds[0];
    }
    ~MemoryStream() { close(fd); }
    std::string path() const { return "/proc/self/fd/" + std::to_string(fd); }
    int fd;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    const auto width = static_cast<A_long>(input.integer(1, 40));
    const auto height = static_cast<A_long>(input.integer(1, 40));
    const auto padding = static_cast<A_long>(input.integer(0, 9));
    const bool asFile = input.integer(0, 1) == 0;
    const std::string stream = input.rest();
    const size_t rowSize = static_cast<size_t>(width) * 4;
    const size_t frameSize = rowSize * height;
    const bool whole = stream.size() % frameSize == 0;

    if (asFile || stream.size() > 60000) {
        MemoryStream file(stream, true);
        try {
            RawFrameReader reader(file.path(), width, height);
            FUZZ_CHECK(whole &&
                       reader.frameCount() == static_cast<long>(stream.size() / frameSize));
        } catch (const RawStreamError& e) {
            // Refused with a hint at the frame size.
            FUZZ_CHECK(!whole && std::strstr(e.what(), "check --raw WxH") != nullptr);
        }
        return 0;
    }

    // Frame by frame; one that ends inside a frame is refused naming that frame, after the
    // whole ones.
    MemoryStream pipe(stream, false);
    RawFrameReader reader(pipe.path(), width, height);
    FUZZ_CHECK(!reader.frameCount());
    World frame(width, height, PF_PixelFormat_ARGB32, padding);
    size_t offset = 0;
    try {
        while (reader.read(frame)) {
            FUZZ_CHECK(offset + frameSize <= stream.size());
            for (A_long y = 0; y < height; ++y, offset += rowSize) {
                FUZZ_CHECK(std::memcmp(frame.row(y), stream.data() + offset, rowSize) == 0);
            }
            FUZZ_CHECK(frame.paddingIntact());
            FUZZ_CHECK(reader.framesRead() == static_cast<long>(offset / frameSize));
        }
        FUZZ_CHECK(whole);
    } catch (const RawStreamError& e) {
        const std::string frameNumber = "frame " + std::to_string(offset / frameSize + 1);
        FUZZ_CHECK(!whole && std::strstr(e.what(), frameNumber.c_str()) != nullptr);
    }
    FUZZ_CHECK(offset == stream.size() / frameSize * frameSize);
    return 0;
}
