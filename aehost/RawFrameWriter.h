#pragma once

#include <string>

#include "World.h"

namespace Brindel::Host {

// Writes 8-bit worlds as raw frames (alpha, red, green, blue, rows top
// first) to a descriptor it does not own: an output file's, or the real
// standard output. A frame once begun is written whole, signals or not.
// Throws RawStreamError.
class RawFrameWriter {
public:
    // Writes to `descriptor`, known as `name` in messages.
    RawFrameWriter(int descriptor, const std::string& name);

    void write(const World& frame);

private:
    std::string mName;
    int mFd;
};

} // namespace Brindel::Host
