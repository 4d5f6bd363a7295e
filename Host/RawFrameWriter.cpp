#include "RawFrameWriter.h"

#include <cerrno>
#include <cstring>

#include "RawFrameReader.h"

namespace Brindel::Host {

RawFrameWriter::RawFrameWriter(const std::string& path)
    : mName(path == "-" ? "standard output" : path),
      mFile(path == "-" ? stdout : std::fopen(path.c_str(), "wb")), mOwned(path != "-") {
    if (!mFile) {
        throw RawStreamError("cannot write " + path + ": " + std::strerror(errno));
    }
}

RawFrameWriter::~RawFrameWriter() {
    if (mOwned) {
        std::fclose(mFile);
    } else {
        std::fflush(mFile);
    }
}

void RawFrameWriter::write(const World& frame) {
    const size_t rowSize = static_cast<size_t>(frame.width()) * sizeof(PF_Pixel8);
    for (A_long y = 0; y < frame.height(); ++y) {
        if (std::fwrite(frame.row(y), 1, rowSize, mFile) != rowSize) {
            throw RawStreamError("cannot write " + mName + ": " + std::strerror(errno));
        }
    }
    // Whole frames reach the reader as soon as they are done.
    if (std::fflush(mFile) != 0) {
        throw RawStreamError("cannot write " + mName + ": " + std::strerror(errno));
    }
}

} // namespace Brindel::Host
