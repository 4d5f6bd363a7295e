#pragma once

#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>

#include "World.h"

namespace Brindel::Host {

// A stream of raw frames that cannot be read; the message names the stream
// and, for a truncated one, the frame.
class RawStreamError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads frames of width * height pixels, 4 bytes each in the order alpha,
// red, green, blue, rows top first, from a file or from standard input ("-").
class RawFrameReader {
public:
    RawFrameReader(const std::string& path, A_long width, A_long height);
    ~RawFrameReader();
    RawFrameReader(const RawFrameReader&) = delete;
    RawFrameReader& operator=(const RawFrameReader&) = delete;

    // Fills `frame` with the next frame. False at the end of the stream;
    // throws RawStreamError when it ends inside a frame.
    bool read(World& frame);

    // How many frames the stream holds, when it is a file; unknown otherwise.
    std::optional<long> frameCount() const;
    long framesRead() const { return mFramesRead; }

private:
    std::string mName;
    FILE* mFile;
    bool mOwned;
    size_t mFrameSize;
    long mFramesRead = 0;
};

} // namespace Brindel::Host
