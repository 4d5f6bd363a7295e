#include "GLContextLimits.h"

#include <glbinding/gl/gl.h>

#include <algorithm>

using namespace gl;

namespace Brindel::GaussianBlur {

GLContextLimits::GLContextLimits(int maxTextureSize, int maxRenderbufferSize, int maxViewportWidth,
                                 int maxViewportHeight, int maxSamples)
    : mMaxTextureSize(maxTextureSize), mMaxRenderbufferSize(maxRenderbufferSize),
      mMaxViewportWidth(maxViewportWidth), mMaxViewportHeight(maxViewportHeight),
      mMaxSamples(maxSamples) {}

GLContextLimits GLContextLimits::query() {
    GLint texture = 0;
    GLint renderbuffer = 0;
    GLint viewport[2] = {0, 0};
    GLint samples = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &texture);
    glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE, &renderbuffer);
    glGetIntegerv(GL_MAX_VIEWPORT_DIMS, viewport);
    glGetIntegerv(GL_MAX_SAMPLES, &samples);
    return {texture, renderbuffer, viewport[0], viewport[1], samples};
}

bool GLContextLimits::fits(std::int64_t width, std::int64_t height) const {
    return width >= 0 && height >= 0 && width <= maxFrameWidth() && height <= maxFrameHeight();
}

int GLContextLimits::maxFrameWidth() const {
    // Every level is a renderbuffer and is resolved into a texture of the frame's size.
    return std::min({mMaxTextureSize, mMaxRenderbufferSize, mMaxViewportWidth});
}

int GLContextLimits::maxFrameHeight() const {
    return std::min({mMaxTextureSize, mMaxRenderbufferSize, mMaxViewportHeight});
}

int GLContextLimits::samples(int wanted) const {
    return std::min(wanted, mMaxSamples);
}

} // namespace Brindel::GaussianBlur
