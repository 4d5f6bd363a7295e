#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "World.h"

namespace Brindel::Host {

// An image file that cannot be read or written; the message names the file
// and why.
class ImageFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Image files in any format OpenImageIO reads and writes, as 8-bit worlds.
class ImageFile {
public:
    // Reads the first image of `path` into an 8-bit world: grey is spread
    // over red, green and blue, deeper channels are converted to 8 bits, and
    // an image without alpha is opaque.
    static std::unique_ptr<World> Read(const std::string& path);

    // Writes an 8-bit world; the alpha channel is dropped for formats that
    // cannot hold one.
    static void Write(const std::string& path, const World& world);

    // Scales a world down by `factor` in x and y, averaging each block of
    // pixels with their alpha as weight.
    static std::unique_ptr<World> Downsample(const World& world, int factor);
};

} // namespace Brindel::Host
