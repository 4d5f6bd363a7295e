#include "ImageFile.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/imageio.h>

#include <cmath>
#include <vector>

namespace Brindel::Host {

namespace {

// The world's pixels as an RGBA image of the same size.
OIIO::ImageBuf ToRgba(const World& world) {
    OIIO::ImageSpec spec(world.width(), world.height(), 4, OIIO::TypeDesc::UINT8);
    spec.alpha_channel = 3;
    // Straight colour, written as it is where the format stores it so.
    spec.attribute("oiio:UnassociatedAlpha", 1);
    OIIO::ImageBuf buffer(spec);
    std::vector<unsigned char> rgba(static_cast<size_t>(world.width()) * 4);
    for (A_long y = 0; y < world.height(); ++y) {
        const PF_Pixel8* row = world.pixels<PF_Pixel8>(y);
        for (A_long x = 0; x < world.width(); ++x) {
            rgba[4 * x + 0] = row[x].red;
            rgba[4 * x + 1] = row[x].green;
            rgba[4 * x + 2] = row[x].blue;
            rgba[4 * x + 3] = row[x].alpha;
        }
        buffer.set_pixels(OIIO::ROI(0, world.width(), y, y + 1), OIIO::TypeDesc::UINT8,
                          rgba.data());
    }
    return buffer;
}

std::unique_ptr<World> FromRgba(const OIIO::ImageBuf& buffer) {
    const OIIO::ImageSpec& spec = buffer.spec();
    auto world = std::make_unique<World>(spec.width, spec.height, PF_PixelFormat_ARGB32);
    std::vector<unsigned char> rgba(static_cast<size_t>(spec.width) * 4);
    for (int y = 0; y < spec.height; ++y) {
        buffer.get_pixels(
            OIIO::ROI(spec.x, spec.x + spec.width, spec.y + y, spec.y + y + 1, 0, 1, 0, 4),
            OIIO::TypeDesc::UINT8, rgba.data());
        PF_Pixel8* row = world->pixels<PF_Pixel8>(y);
        for (int x = 0; x < spec.width; ++x) {
            row[x] = {rgba[4 * x + 3], rgba[4 * x + 0], rgba[4 * x + 1], rgba[4 * x + 2]};
        }
    }
    return world;
}

} // namespace

std::unique_ptr<World> ImageFile::Read(const std::string& path) {
    // Layers carry straight colour: keep a file's unassociated alpha as it is.
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    OIIO::ImageBuf file(path, 0, 0, nullptr, &config);
    if (!file.read(0, 0, true, OIIO::TypeDesc::UINT8)) {
        throw ImageFileError("cannot read image " + path + ": " + file.geterror());
    }
    const OIIO::ImageSpec& spec = file.spec();
    const int channels = spec.nchannels;
    if (channels < 1 || spec.width < 1 || spec.height < 1) {
        throw ImageFileError("cannot read image " + path + ": it holds no pixels");
    }

    // Into red, green, blue and alpha: grey is spread, a missing alpha is 1.
    int alpha = spec.alpha_channel;
    if (alpha < 0 && (channels == 2 || channels >= 4)) {
        alpha = channels == 2 ? 1 : 3;
    }
    std::vector<int> colours;
    for (int c = 0; c < channels; ++c) {
        if (c != alpha) {
            colours.push_back(c);
        }
    }
    if (colours.empty()) {
        // A matte alone: black where it covers.
        colours.push_back(-1);
    }
    const bool grey = colours.size() < 3;
    const int order[4] = {colours[0], grey ? colours[0] : colours[1],
                          grey ? colours[0] : colours[2], alpha};
    const float opaque[4] = {0.0f, 0.0f, 0.0f, 1.0f};
    OIIO::ImageBuf rgba = OIIO::ImageBufAlgo::channels(file, 4, OIIO::cspan<int>(order, 4),
                                                       OIIO::cspan<float>(opaque, 4));
    if (rgba.has_error()) {
        throw ImageFileError("cannot read image " + path + ": " + rgba.geterror());
    }
    return FromRgba(rgba);
}

void ImageFile::Write(const std::string& path, const World& world) {
    auto out = OIIO::ImageOutput::create(path);
    if (!out) {
        throw ImageFileError("cannot write image " + path + ": " + OIIO::geterror());
    }
    const bool alpha = out->supports("alpha");
    OIIO::ImageBuf rgba = ToRgba(world);
    if (!alpha) {
        const int rgb[3] = {0, 1, 2};
        rgba = OIIO::ImageBufAlgo::channels(rgba, 3, OIIO::cspan<int>(rgb, 3));
    }
    if (!rgba.write(path)) {
        throw ImageFileError("cannot write image " + path + ": " + rgba.geterror());
    }
}

std::unique_ptr<World> ImageFile::Downsample(const World& world, int factor) {
    const A_long width = world.width() / factor > 0 ? world.width() / factor : 1;
    const A_long height = world.height() / factor > 0 ? world.height() / factor : 1;
    auto small = std::make_unique<World>(width, height, PF_PixelFormat_ARGB32);
    for (A_long y = 0; y < height; ++y) {
        PF_Pixel8* out = small->pixels<PF_Pixel8>(y);
        for (A_long x = 0; x < width; ++x) {
            double a = 0, r = 0, g = 0, b = 0;
            int count = 0;
            for (A_long sy = y * factor; sy < (y + 1) * factor && sy < world.height(); ++sy) {
                const PF_Pixel8* in = world.pixels<PF_Pixel8>(sy);
                for (A_long sx = x * factor; sx < (x + 1) * factor && sx < world.width(); ++sx) {
                    a += in[sx].alpha;
                    r += in[sx].red * static_cast<double>(in[sx].alpha);
                    g += in[sx].green * static_cast<double>(in[sx].alpha);
                    b += in[sx].blue * static_cast<double>(in[sx].alpha);
                    ++count;
                }
            }
            auto level = [](double v) { return static_cast<A_u_char>(std::lround(v)); };
            out[x].alpha = level(a / count);
            out[x].red = a > 0 ? level(r / a) : 0;
            out[x].green = a > 0 ? level(g / a) : 0;
            out[x].blue = a > 0 ? level(b / a) : 0;
        }
    }
    return small;
}

} // namespace Brindel::Host
