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
using Brindel::Host::RawFrameReader;
using Brindel::Host::RawStreamError;
using Brindel::Host::World;

namespace {

void WriteAll(int fd, const std::string& bytes) {
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
        FUZZ_CHECK(n > 0);
        done += static_cast<size_t>(n);
    }
}

// The stream as a file in memory, opened by path as aehost opens its input; or through a pipe,
// whose size nobody knows before its end, as standard input is (the inputs fit its buffer).
class MemoryStream {
public:
    MemoryStream(const std::string& bytes, bool asFile) {
        if (asFile) {
            mFds[0] = memfd_create("raw-frames", 0);
            FUZZ_CHECK(mFds[0] >= 0);
            WriteAll(mFds[0], bytes);
        } else {
            FUZZ_CHECK(pipe(mFds) == 0);
            WriteAll(mFds[1], bytes);
            close(mFds[1]);
        }
    }
    ~MemoryStream() { close(mFds[0]); }
    MemoryStream(const MemoryStream&) = delete;
    MemoryStream& operator=(const MemoryStream&) = delete;
    std::string path() const { return "/proc/self/fd/" + std::to_string(mFds[0]); }

private:
    int mFds[2] = {-1, -1};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    const auto width = static_cast<A_long>(input.integer(1, 40));
    const auto height = static_cast<A_long>(input.integer(1, 40));
    const auto padding = static_cast<A_long>(input.integer(0, 9));
    const bool asFile = input.integer(0, 1) == 0;
    const std::string stream = input.rest();
    const size_t frameSize = static_cast<size_t>(width) * height * 4;

    const bool whole = stream.size() % frameSize == 0;

    // A file that holds no whole number of frames is refused when it is
    // opened, with a hint at the frame size.
    if (asFile || stream.size() > 60000) {
        MemoryStream file(stream, true);
        try {
            RawFrameReader reader(file.path(), width, height);
            FUZZ_CHECK(whole);
            FUZZ_CHECK(reader.frameCount() == static_cast<long>(stream.size() / frameSize));
        } catch (const RawStreamError& e) {
            FUZZ_CHECK(!whole);
            FUZZ_CHECK(std::string(e.what()).find("check --raw WxH") != std::string::npos);
        }
        return 0;
    }

    // A stream is read frame by frame, and one that ends inside a frame is
    // refused naming that frame, after the whole ones.
    MemoryStream file(stream, false);
    RawFrameReader reader(file.path(), width, height);
    FUZZ_CHECK(!reader.frameCount());
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
        const std::string frameNumber = "frame " + std::to_string(offset / frameSize + 1);
        FUZZ_CHECK(std::string(e.what()).find(frameNumber) != std::string::npos);
        refused = true;
    }
    FUZZ_CHECK(offset == stream.size() / frameSize * frameSize);
    FUZZ_CHECK(refused == !whole);
    return 0;
}
