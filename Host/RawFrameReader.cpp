#include "RawFrameReader.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace Brindel::Host {

RawFrameReader::RawFrameReader(const std::string& path, A_long width, A_long height)
    : mName(path == "-" ? "standard input" : path),
      mFile(path == "-" ? stdin : std::fopen(path.c_str(), "rb")), mOwned(path != "-"),
      mFrameSize(static_cast<size_t>(width) * height * sizeof(PF_Pixel8)) {
    if (!mFile) {
        throw RawStreamError("cannot read " + path + ": " + std::strerror(errno));
    }
}

RawFrameReader::~RawFrameReader() {
    if (mOwned) {
        std::fclose(mFile);
    }
}

bool RawFrameReader::read(World& frame) {
    const size_t rowSize = static_cast<size_t>(frame.width()) * sizeof(PF_Pixel8);
    size_t got = 0;
    for (A_long y = 0; y < frame.height(); ++y) {
        const size_t n = std::fread(frame.row(y), 1, rowSize, mFile);
        got += n;
        if (n < rowSize) {
            break;
        }
    }
    if (got == mFrameSize) {
        ++mFramesRead;
        return true;
    }
    if (std::ferror(mFile)) {
        throw RawStreamError("cannot read " + mName + ": " + std::strerror(errno));
    }
    if (got == 0) {
        return false;
    }
    throw RawStreamError(mName + " ends inside frame " + std::to_string(mFramesRead + 1) + ": " +
                         std::to_string(got) + " of " + std::to_string(mFrameSize) + " bytes");
}

std::optional<long> RawFrameReader::frameCount() const {
    struct stat info;
    if (fstat(fileno(mFile), &info) != 0 || !S_ISREG(info.st_mode) || mFrameSize == 0) {
        return std::nullopt;
    }
    return static_cast<long>(static_cast<size_t>(info.st_size) / mFrameSize);
}

} // namespace Brindel::Host
