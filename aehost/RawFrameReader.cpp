#include "RawFrameReader.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace Brindel::Host {

RawFrameReader::RawFrameReader(const std::string& path, A_long width, A_long height,
                               int wakeDescriptor)
    : mName(path == "-" ? "standard input" : path), mOwned(path != "-"), mWake(wakeDescriptor),
      mFrameSize(static_cast<size_t>(width) * height * sizeof(PF_Pixel8)) {
    mFd = mOwned ? open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO;
    if (mFd < 0) {
        throw RawStreamError("cannot read " + mName + ": " + std::strerror(errno));
    }
    // From here on the destructor does not run: close by hand on refusal.
    auto refuse = [this](const std::string& why) {
        if (mOwned) {
            close(mFd);
        }
        throw RawStreamError(why);
    };
    if (isatty(mFd)) {
        refuse(mName + " is a terminal, not a stream of frames: pipe frames in or name a file");
    }
    struct stat info;
    if (fstat(mFd, &info) != 0) {
        refuse("cannot read " + mName + ": " + std::strerror(errno));
    }
    if (S_ISDIR(info.st_mode)) {
        refuse("cannot read " + mName + ": " + std::strerror(EISDIR));
    }
    if (S_ISREG(info.st_mode) && mFrameSize > 0) {
        const auto size = static_cast<size_t>(info.st_size);
        if (size % mFrameSize != 0) {
            char hint[160];
            std::snprintf(
                hint, sizeof(hint), ": the file holds %.1f frames of %dx%d; check --raw WxH",
                static_cast<double>(size) / static_cast<double>(mFrameSize), width, height);
            refuse("cannot read " + mName + hint);
        }
        mFrameCount = static_cast<long>(size / mFrameSize);
    }
}

RawFrameReader::~RawFrameReader() {
    if (mOwned) {
        close(mFd);
    }
}

RawFrameReader::Fill RawFrameReader::fill(uint8_t* bytes, size_t size, size_t& got) {
    size_t done = 0;
    while (done < size) {
        if (mWake >= 0) {
            pollfd ready[2] = {{mFd, POLLIN, 0}, {mWake, POLLIN, 0}};
            if (poll(ready, 2, -1) < 0) {
                if (errno == EINTR) {
                    continue;
                }
                throw RawStreamError("cannot read " + mName + ": " + std::strerror(errno));
            }
            if (ready[1].revents != 0) {
                return Fill::Woken;
            }
        }
        const ssize_t n = ::read(mFd, bytes + done, size - done);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw RawStreamError("cannot read " + mName + ": " + std::strerror(errno));
        }
        if (n == 0) {
            return Fill::End;
        }
        done += static_cast<size_t>(n);
        got += static_cast<size_t>(n);
    }
    return Fill::Done;
}

bool RawFrameReader::read(World& frame) {
    const size_t rowSize = static_cast<size_t>(frame.width()) * sizeof(PF_Pixel8);
    size_t got = 0;
    for (A_long y = 0; y < frame.height(); ++y) {
        const Fill result = fill(frame.row(y), rowSize, got);
        if (result == Fill::Woken) {
            return false;
        }
        if (result == Fill::End) {
            if (got == 0) {
                return false;
            }
            throw RawStreamError(mName + " ends inside frame " + std::to_string(mFramesRead + 1) +
                                 ": " + std::to_string(got) + " of " + std::to_string(mFrameSize) +
                                 " bytes");
        }
    }
    ++mFramesRead;
    return true;
}

} // namespace Brindel::Host
