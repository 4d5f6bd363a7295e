#include "RawFrameWriter.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "RawFrameReader.h"

namespace Brindel::Host {

RawFrameWriter::RawFrameWriter(int descriptor, const std::string& name)
    : mName(name), mFd(descriptor) {
    if (mFd < 0) {
        throw RawStreamError("cannot write " + mName + ": " + std::strerror(EBADF));
    }
}

void RawFrameWriter::write(const World& frame) {
    const size_t rowSize = static_cast<size_t>(frame.width()) * sizeof(PF_Pixel8);
    for (A_long y = 0; y < frame.height(); ++y) {
        const uint8_t* bytes = frame.row(y);
        size_t done = 0;
        while (done < rowSize) {
            const ssize_t n = ::write(mFd, bytes + done, rowSize - done);
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n <= 0) {
                throw RawStreamError("cannot write " + mName + ": " + std::strerror(errno));
            }
            done += static_cast<size_t>(n);
        }
    }
}

} // namespace Brindel::Host
