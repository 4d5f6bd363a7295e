#include "RawFrameWriter.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "RawFrameReader.h"

namespace Brindel::Host {

namespace {

// Frames get the real standard output; what else the process prints there
// (a plug-in's console lines) goes to standard error from now on, so that
// it cannot corrupt the stream.
FILE* TakeStandardOutput() {
    std::fflush(stdout);
    const int frames = dup(STDOUT_FILENO);
    if (frames < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        return nullptr;
    }
    return fdopen(frames, "wb");
}

} // namespace

RawFrameWriter::RawFrameWriter(const std::string& path)
    : mName(path == "-" ? "standard output" : path),
      mFile(path == "-" ? TakeStandardOutput() : std::fopen(path.c_str(), "wb")) {
    if (!mFile) {
        throw RawStreamError("cannot write " + path + ": " + std::strerror(errno));
    }
}

RawFrameWriter::~RawFrameWriter() {
    std::fclose(mFile);
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
