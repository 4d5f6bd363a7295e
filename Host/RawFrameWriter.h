#pragma once

#include <cstdio>
#include <string>

#include "World.h"

namespace Brindel::Host {

// Writes 8-bit worlds as raw frames (alpha, red, green, blue, rows top
// first) to a file or to standard output ("-"). Writing to standard output
// takes it over: the process's other output goes to standard error after.
// Throws RawStreamError.
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
};

} // namespace Brindel::Host
