#pragma once

#include <cstdio>
#include <string>

#include "World.h"

namespace Brindel::Host {

// Writes 8-bit worlds as raw frames (alpha, red, green, blue, rows top
// first) to a file or to standard output ("-"). Throws RawStreamError.
class RawFrameWriter {
public:
    explicit RawFrameWriter(const std::string& path);
    ~RawFrameWriter();
    RawFrameWriter(const RawFrameWriter&) = delete;
    RawFrameWriter& operator=(const RawFrameWriter&) = delete;

    void write(const World& frame);

private:
    std::string mName;
    FILE* mFile;
    bool mOwned;
};

} // namespace Brindel::Host
