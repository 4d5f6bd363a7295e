#pragma once

#include <cstdint>

namespace Brindel::GaussianBlur {

/// What a GL context can hold of a frame: the largest side of a texture, of a renderbuffer and of
/// the viewport, and the most samples of a multisampled renderbuffer. Frames beyond them are not
/// refused by GL: storage is silently left out and the frame reads back black, so they are
/// checked before anything is made. The values are fixed for the life of a context, so a context
/// reads them once.
class GLContextLimits {
public:
    /// All zero: holds no frame.
    GLContextLimits() = default;
    GLContextLimits(int maxTextureSize, int maxRenderbufferSize, int maxViewportWidth,
                    int maxViewportHeight, int maxSamples);

    /// The limits of the context current on the calling thread.
    static GLContextLimits query();

    /// Whether a frame of `width` by `height` (0 included) fits every texture, renderbuffer and
    /// viewport it needs.
    bool fits(std::int64_t width, std::int64_t height) const;
    /// The largest frame width, and height, that fits.
    int maxFrameWidth() const;
    int maxFrameHeight() const;

    int maxTextureSize() const { return mMaxTextureSize; }
    int maxRenderbufferSize() const { return mMaxRenderbufferSize; }
    /// The samples a multisampled level gets: `wanted`, or fewer where the context offers fewer.
    int samples(int wanted) const;

private:
    int mMaxTextureSize = 0;
    int mMaxRenderbufferSize = 0;
    int mMaxViewportWidth = 0;
    int mMaxViewportHeight = 0;
    int mMaxSamples = 0;
};

} // namespace Brindel::GaussianBlur
