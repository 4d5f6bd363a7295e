#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "OutputFile.h"
#include "World.h"

namespace Brindel::Host {

// An image file that cannot be read or written; the message names the file
// and why.
class ImageFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What an output keeps of its input: channels, the bit depth as container,
// and the data and display windows.
struct ImageLayout {
    int channels = 4;                  // 1 grey, 2 grey and alpha, 3 RGB, 4 RGBA
    std::string pixelType = "uint8";   // OpenImageIO's name of the channel type
    int x = 0, y = 0;                  // where the pixels (the data window) begin
    int fullX = 0, fullY = 0;          // the display window
    int fullWidth = 0, fullHeight = 0; // 0: the same as the pixels

    // The layout at 1/factor of the size, for a downsampled render.
    ImageLayout scaled(int factor) const;
};

// An image read into the 8-bit world the effect takes.
struct Image {
    std::unique_ptr<World> world;
    ImageLayout layout;
    // Pixels with a value outside 0 to 1 that the 8-bit world clipped.
    long clippedPixels = 0;
};

// Image files in any format OpenImageIO reads and writes, as 8-bit worlds
// of straight colour.
class ImageFile {
public:
    // Reads the first image of `path`: premultiplied colour is brought to
    // straight, grey is spread over red, green and blue, values are clipped
    // to 8 bits, and an image without alpha is opaque.
    static Image Read(const std::string& path);

    // Writes an 8-bit world as `layout` says, in the format that the
    // extension of `file`'s name names, with alpha stored as that format
    // stores it; formats without alpha drop it. A streamed output gets the
    // whole file, made in memory first.
    static void Write(OutputFile& file, const World& world, const ImageLayout& layout = {});

    // Throws ImageFileError when no format is known for `path`'s extension,
    // or, for an output to be `streamed`, when that format's writer cannot
    // write to memory, which is what streaming takes.
    static void CheckWritable(const std::string& path, bool streamed = false);

    // Scales a world down by `factor` in x and y, averaging each block of
    // pixels with their alpha as weight.
    static std::unique_ptr<World> Downsample(const World& world, int factor);
};

} // namespace Brindel::Host
