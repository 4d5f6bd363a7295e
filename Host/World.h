#pragma once

#include <cstdint>
#include <vector>

#include "AE_Effect.h"
#include "AE_EffectPixelFormat.h"

namespace Brindel::Host {

// A pixel world: rows top first, each `rowbytes` apart, with any padding
// after a row's pixels. Either the world owns its pixels, and padding bytes
// hold kPadByte so that a write into them shows, or it views pixels that its
// caller owns, such as a frame another program hands over.
class World {
public:
    static constexpr uint8_t kPadByte = 0xCD;

    // `format` is one of PF_PixelFormat_ARGB32, ARGB64 or ARGB128.
    // Throws std::invalid_argument for another format or a negative size.
    World(A_long width, A_long height, PF_PixelFormat format, A_long rowPadding = 0);
    // A view of `pixels`, which the caller keeps alive; nothing is copied.
    // Throws std::invalid_argument as above, and for rows shorter than their pixels.
    World(A_long width, A_long height, PF_PixelFormat format, A_long rowbytes, void* pixels);
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    PF_EffectWorld* effectWorld() { return &mWorld; }
    const PF_EffectWorld* effectWorld() const { return &mWorld; }
    PF_PixelFormat format() const { return mFormat; }
    A_long width() const { return mWorld.width; }
    A_long height() const { return mWorld.height; }
    A_long rowbytes() const { return mWorld.rowbytes; }
    size_t pixelSize() const { return PixelSize(mFormat); }

    uint8_t* row(A_long y) { return mData + static_cast<size_t>(y) * mWorld.rowbytes; }
    const uint8_t* row(A_long y) const { return mData + static_cast<size_t>(y) * mWorld.rowbytes; }
    template <typename Pixel> Pixel* pixels(A_long y) { return reinterpret_cast<Pixel*>(row(y)); }
    template <typename Pixel> const Pixel* pixels(A_long y) const {
        return reinterpret_cast<const Pixel*>(row(y));
    }

    // Whether every padding byte still holds kPadByte.
    bool paddingIntact() const;

    static size_t PixelSize(PF_PixelFormat format);

private:
    void describe(A_long width, A_long height, A_long rowbytes, uint8_t* data);

    PF_PixelFormat mFormat;
    std::vector<uint8_t> mBytes;
    uint8_t* mData = nullptr;
    PF_EffectWorld mWorld{};
};

} // namespace Brindel::Host
