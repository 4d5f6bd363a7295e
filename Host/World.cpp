#include "World.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace Brindel::Host {

size_t World::PixelSize(PF_PixelFormat format) {
    switch (format) {
    case PF_PixelFormat_ARGB32:
        return sizeof(PF_Pixel8);
    case PF_PixelFormat_ARGB64:
        return sizeof(PF_Pixel16);
    case PF_PixelFormat_ARGB128:
        return sizeof(PF_PixelFloat);
    default:
        return 0;
    }
}

World::World(A_long width, A_long height, PF_PixelFormat format, A_long rowPadding)
    : mFormat(format) {
    const size_t pixelSize = PixelSize(format);
    if (pixelSize == 0) {
        throw std::invalid_argument("unsupported pixel format " + std::to_string(format));
    }
    if (width < 0 || height < 0 || rowPadding < 0) {
        throw std::invalid_argument("negative world size");
    }
    const size_t rowbytes = static_cast<size_t>(width) * pixelSize + rowPadding;
    mBytes.assign(rowbytes * static_cast<size_t>(height), 0);
    // Without padding there is nothing to mark, and an empty world has no storage to mark in.
    for (A_long y = 0; rowPadding > 0 && y < height; ++y) {
        std::memset(mBytes.data() + y * rowbytes + width * pixelSize, kPadByte, rowPadding);
    }
    describe(width, height, static_cast<A_long>(rowbytes), mBytes.data());
}

World::World(A_long width, A_long height, PF_PixelFormat format, A_long rowbytes, void* pixels)
    : mFormat(format) {
    const size_t pixelSize = PixelSize(format);
    if (pixelSize == 0) {
        throw std::invalid_argument("unsupported pixel format " + std::to_string(format));
    }
    if (width < 0 || height < 0 || rowbytes < 0 ||
        static_cast<size_t>(rowbytes) < static_cast<size_t>(width) * pixelSize) {
        throw std::invalid_argument("negative world size or rows too short");
    }
    describe(width, height, rowbytes, static_cast<uint8_t*>(pixels));
}

void World::describe(A_long width, A_long height, A_long rowbytes, uint8_t* data) {
    mData = data;
    mWorld.world_flags =
        PF_WorldFlag_WRITEABLE | (mFormat == PF_PixelFormat_ARGB64 ? PF_WorldFlag_DEEP : 0);
    mWorld.data = reinterpret_cast<PF_PixelPtr>(data);
    mWorld.rowbytes = rowbytes;
    mWorld.width = width;
    mWorld.height = height;
    mWorld.extent_hint = {0, 0, width, height};
    mWorld.pix_aspect_ratio = {1, 1};
}

bool World::paddingIntact() const {
    const size_t used = static_cast<size_t>(mWorld.width) * pixelSize();
    for (A_long y = 0; y < mWorld.height; ++y) {
        const uint8_t* r = row(y);
        for (size_t i = used; i < static_cast<size_t>(mWorld.rowbytes); ++i) {
            if (r[i] != kPadByte) {
                return false;
            }
        }
    }
    return true;
}

} // namespace Brindel::Host
