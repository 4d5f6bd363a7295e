#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "World.h"

namespace Brindel::Host {

// A stream of raw frames that cannot be read, or that does not fit the
// frame size; the message names the stream and why.
class RawStreamError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads frames of width * height pixels, 4 bytes each in the order alpha,
// red, green, blue, rows top first, from a file or from standard input ("-").
class RawFrameReader {
public:
    // Refuses a terminal, a folder, and a file whose size is no whole number
    // of frames. A read also ends, without a frame, once `wakeDescriptor`
    // (when not -1) turns readable.
    RawFrameReader(const std::string& path, A_long width, A_long height, int wakeDescriptor = -1);
    ~RawFrameReader();
    RawFrameReader(const RawFrameReader&) = delete;
    RawFrameReader& operator=(const RawFrameReader&) = delete;

    // Fills `frame` with the next frame. False at the end of the stream, or
    // when woken, which drops a frame half read; throws RawStreamError when
    // the stream ends inside a frame.
    bool read(World& frame);

    // How many frames the stream holds, when it is a file; unknown otherwise.
    std::optional<long> frameCount() const { return mFrameCount; }
    long framesRead() const { return mFramesRead; }
    const std::string& name() const { return mName; }

private:
    enum class Fill { Done, End, Woken };
    Fill fill(uint8_t* bytes, size_t size, size_t& got);

    std::string mName;
    int mFd = -1;
    bool mOwned;
    int mWake;
    size_t mFrameSize;
    std::optional<long> mFrameCount;
    long mFramesRead = 0;
};

} // namespace Brindel::Host
