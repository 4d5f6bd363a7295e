#include "AEOpenGLContext.h"
#include "GLContextLimits.h"
#include "GLTest.h"

#include <glbinding/gl/gl.h>

using namespace gl;
using Brindel::GaussianBlur::AEOpenGLContext;
using Brindel::GaussianBlur::GLContextLimits;
using Brindel::Testing::GLTest;

namespace {

using ContextLimits = GLTest;

TEST_F(ContextLimits, FramesFitUpToTheSmallestOfTheTextureRenderbufferAndViewportLimits) {
    AEOpenGLContext context(nullptr);
    const GLContextLimits limits = GLContextLimits::query();
    GLint texture = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &texture);
    EXPECT_EQ(texture, limits.maxTextureSize());
    EXPECT_GT(limits.maxFrameWidth(), 0);
    EXPECT_LE(limits.maxFrameWidth(), texture);
    EXPECT_TRUE(limits.fits(limits.maxFrameWidth(), limits.maxFrameHeight()));
    EXPECT_FALSE(limits.fits(limits.maxFrameWidth() + 1, 1));
    EXPECT_FALSE(limits.fits(1, limits.maxFrameHeight() + 1));

    // Each side is bounded by the smallest limit that applies to it.
    const GLContextLimits mixed(100, 80, 120, 60, 4);
    EXPECT_TRUE(mixed.fits(80, 60));
    EXPECT_FALSE(mixed.fits(81, 60));
    EXPECT_FALSE(mixed.fits(80, 61));
    EXPECT_FALSE(mixed.fits(-1, 1));
    EXPECT_TRUE(mixed.fits(0, 0));
    EXPECT_EQ(4, mixed.samples(8));
    EXPECT_EQ(2, mixed.samples(2));
    EXPECT_FALSE(GLContextLimits().fits(1, 1)) << "unread limits hold nothing";
    EXPECT_NO_GL_ERROR();
}

} // namespace
