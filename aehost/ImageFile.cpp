#include "ImageFile.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/imageio.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <vector>

namespace Brindel::Host {

namespace {

// The operating system's reason for a file that cannot be read, which is
// plainer than a reader's own.
void CheckReadable(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        throw ImageFileError("cannot read image " + path + ": " + std::strerror(errno));
    }
    struct stat info;
    const bool folder = fstat(fd, &info) == 0 && S_ISDIR(info.st_mode);
    close(fd);
    if (folder) {
        throw ImageFileError("cannot read image " + path + ": " + std::strerror(EISDIR));
    }
}

// The world's pixels as straight RGBA floats, placed as `layout` says.
OIIO::ImageBuf ToRgba(const World& world, const ImageLayout& layout) {
    OIIO::ImageSpec spec(world.width(), world.height(), 4, OIIO::TypeDesc::FLOAT);
    spec.x = layout.x;
    spec.y = layout.y;
    spec.full_x = layout.fullX;
    spec.full_y = layout.fullY;
    spec.full_width = layout.fullWidth > 0 ? layout.fullWidth : world.width();
    spec.full_height = layout.fullHeight > 0 ? layout.fullHeight : world.height();
    spec.alpha_channel = 3;
    OIIO::ImageBuf buffer(spec);
    std::vector<float> rgba(static_cast<size_t>(world.width()) * 4);
    for (A_long y = 0; y < world.height(); ++y) {
        const PF_Pixel8* row = world.pixels<PF_Pixel8>(y);
        for (A_long x = 0; x < world.width(); ++x) {
            rgba[4 * x + 0] = static_cast<float>(row[x].red) / 255.0f;
            rgba[4 * x + 1] = static_cast<float>(row[x].green) / 255.0f;
            rgba[4 * x + 2] = static_cast<float>(row[x].blue) / 255.0f;
            rgba[4 * x + 3] = static_cast<float>(row[x].alpha) / 255.0f;
        }
        buffer.set_pixels(
            OIIO::ROI(spec.x, spec.x + spec.width, spec.y + y, spec.y + y + 1, 0, 1, 0, 4),
            OIIO::TypeDesc::FLOAT, rgba.data());
    }
    return buffer;
}

// Straight RGBA floats into an 8-bit world; counts the pixels clipped.
std::unique_ptr<World> FromRgba(const OIIO::ImageBuf& buffer, long& clipped) {
    const OIIO::ImageSpec& spec = buffer.spec();
    auto world = std::make_unique<World>(spec.width, spec.height, PF_PixelFormat_ARGB32);
    std::vector<float> rgba(static_cast<size_t>(spec.width) * 4);
    clipped = 0;
    auto level = [](float v, bool& clip) {
        // NaN compares false both ways and is clipped too.
        if (!(v >= 0.0f && v <= 1.0f)) {
            clip = true;
            v = v > 1.0f ? 1.0f : 0.0f;
        }
        return static_cast<A_u_char>(std::lround(v * 255.0f));
    };
    for (int y = 0; y < spec.height; ++y) {
        buffer.get_pixels(
            OIIO::ROI(spec.x, spec.x + spec.width, spec.y + y, spec.y + y + 1, 0, 1, 0, 4),
            OIIO::TypeDesc::FLOAT, rgba.data());
        PF_Pixel8* row = world->pixels<PF_Pixel8>(y);
        for (int x = 0; x < spec.width; ++x) {
            bool clip = false;
            row[x] = {level(rgba[4 * x + 3], clip), level(rgba[4 * x + 0], clip),
                      level(rgba[4 * x + 1], clip), level(rgba[4 * x + 2], clip)};
            clipped += clip ? 1 : 0;
        }
    }
    return world;
}

// Formats whose colour is premultiplied by definition.
bool StoresPremultiplied(const OIIO::ImageOutput& out) {
    return std::string(out.format_name()) == "openexr";
}

} // namespace

ImageLayout ImageLayout::scaled(int factor) const {
    ImageLayout small = *this;
    small.x = x / factor;
    small.y = y / factor;
    small.fullX = fullX / factor;
    small.fullY = fullY / factor;
    small.fullWidth = fullWidth > 0 ? std::max(1, fullWidth / factor) : 0;
    small.fullHeight = fullHeight > 0 ? std::max(1, fullHeight / factor) : 0;
    return small;
}

Image ImageFile::Read(const std::string& path) {
    CheckReadable(path);
    // Ask for straight colour where the file stores it so; a file that
    // stores premultiplied colour says so by not confirming the request.
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    OIIO::ImageBuf file(path, 0, 0, nullptr, &config);
    if (!file.read(0, 0, true, OIIO::TypeDesc::FLOAT)) {
        throw ImageFileError("cannot read image " + path + ": " + file.geterror());
    }
    const OIIO::ImageSpec& spec = file.spec();
    const int channels = spec.nchannels;
    if (channels < 1 || spec.width < 1 || spec.height < 1) {
        throw ImageFileError("cannot read image " + path + ": it holds no pixels");
    }

    OIIO::ImageBuf straight;
    const OIIO::ImageBuf* source = &file;
    if (spec.alpha_channel >= 0 && spec.get_int_attribute("oiio:UnassociatedAlpha", 0) == 0) {
        straight = OIIO::ImageBufAlgo::unpremult(file);
        if (straight.has_error()) {
            throw ImageFileError("cannot read image " + path + ": " + straight.geterror());
        }
        source = &straight;
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
    OIIO::ImageBuf rgba = OIIO::ImageBufAlgo::channels(*source, 4, OIIO::cspan<int>(order, 4),
                                                       OIIO::cspan<float>(opaque, 4));
    if (rgba.has_error()) {
        throw ImageFileError("cannot read image " + path + ": " + rgba.geterror());
    }

    Image image;
    image.layout.channels = (grey ? 1 : 3) + (alpha >= 0 ? 1 : 0);
    image.layout.pixelType = file.nativespec().format.c_str();
    image.layout.x = spec.x;
    image.layout.y = spec.y;
    image.layout.fullX = spec.full_x;
    image.layout.fullY = spec.full_y;
    image.layout.fullWidth = spec.full_width;
    image.layout.fullHeight = spec.full_height;
    image.world = FromRgba(rgba, image.clippedPixels);
    return image;
}

void ImageFile::CheckWritable(const std::string& path, bool streamed) {
    auto out = OIIO::ImageOutput::create(path);
    if (!out) {
        throw ImageFileError("cannot write image " + path + ": " + OIIO::geterror());
    }
    if (streamed && !out->supports("ioproxy")) {
        throw ImageFileError("cannot write image " + path + ": the " + out->format_name() +
                             " writer needs a file of its own, not a pipe or a device");
    }
}

void ImageFile::Write(OutputFile& file, const World& world, const ImageLayout& layout) {
    const std::string& format = file.name();
    auto out = OIIO::ImageOutput::create(format);
    if (!out) {
        throw ImageFileError("cannot write image " + format + ": " + OIIO::geterror());
    }
    const bool grey = layout.channels < 3;
    const bool alpha = (layout.channels == 2 || layout.channels >= 4) && out->supports("alpha");
    std::vector<int> order = grey ? std::vector<int>{0} : std::vector<int>{0, 1, 2};
    std::vector<std::string> names =
        grey ? std::vector<std::string>{"Y"} : std::vector<std::string>{"R", "G", "B"};
    if (alpha) {
        order.push_back(3);
        names.emplace_back("A");
    }
    OIIO::ImageBuf image = OIIO::ImageBufAlgo::channels(
        ToRgba(world, layout), static_cast<int>(order.size()), order, {}, names);
    image.specmod().alpha_channel = alpha ? static_cast<int>(order.size()) - 1 : -1;
    if (alpha && StoresPremultiplied(*out)) {
        image = OIIO::ImageBufAlgo::premult(image);
    } else if (alpha) {
        image.specmod().attribute("oiio:UnassociatedAlpha", 1);
    }
    // Writers may seek back; a pipe or a device cannot.
    OIIO::Filesystem::IOVecOutput memory;
    if (file.streamed()) {
        image.set_write_ioproxy(&memory);
    }
    // The input's depth as container; the writer takes the nearest it has.
    if (image.has_error() || !image.write(file.streamed() ? format : file.path(),
                                          OIIO::TypeDesc(layout.pixelType.c_str()), format)) {
        throw ImageFileError("cannot write image " + format + ": " + image.geterror());
    }
    if (file.streamed()) {
        file.write(memory.buffer().data(), memory.buffer().size());
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
