#pragma once

#include <string>

#include "World.h"

namespace Brindel::Host {

// Writes 8-bit worlds as raw frames (alpha, red, green, blue, rows top
// first) to a file, or to a descriptor it does not own, such as the real
// standard output. A frame once begun is written whole, signals or not.
// Throws RawStreamError.
class RawFrameWriter {
public:
    // Opens `path` for writing, emptying it. `name` is the one messages use.
    RawFrameWriter(const std::string& path, const std::string& name);
    // Writes to `descriptor`, known as `name` in messages.
    RawFrameWriter(int descriptor, const std::string& name);
    ~RawFrameWriter();
    RawFrameWriter(const RawFrameWriter&) = delete;
    RawFrameWriter& operator=(const RawFrameWriter&) = delete;

    void write(const World& frame);

private:
    std::string mName;
    int mFd;
    bool mOwned;
};

} // namespace Brindel::Host
