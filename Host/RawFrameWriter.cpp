#include "RawFrameWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "RawFrameReader.h"

namespace Brindel::Host {

RawFrameWriter::RawFrameWriter(const std::string& path, const std::string& name)
    : mName(name), mFd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)),
      mOwned(true) {
    if (mFd < 0) {
        throw RawStreamError("cannot write " + mName + ": " + std::strerror(errno));
    }
}

RawFrameWriter::RawFrameWriter(int descriptor, const std::string& name)
    : mName(name), mFd(descriptor), mOwned(false) {
    if (mFd < 0) {
        throw RawStreamError("cannot write " + mName + ": " + std::strerror(EBADF));
    }
}

RawFrameWriter::~RawFrameWriter() {
    if (mOwned) {
        close(mFd);
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
