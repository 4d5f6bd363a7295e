#include "AEOpenGLContext.h"
#include "AEOpenglMainFrameBuffer.h"
#include "GLCallRecorder.h"
#include "GLTest.h"
#include "Vec2.h"

#include <glbinding/gl/gl.h>

#include <algorithm>
#include <cstdint>
#include <vector>

using namespace gl;
using namespace Brindel::GaussianBlur;
using Brindel::Testing::GLCallRecorder;

namespace {

using Pixels = std::vector<std::uint8_t>;
using FramebufferStack = Brindel::Testing::GLTest;

Pixels Repeat(const Pixels& pixel, int count) {
    Pixels pixels;
    for (int i = 0; i < count; ++i) {
        pixels.insert(pixels.end(), pixel.begin(), pixel.end());
    }
    return pixels;
}

// Fills the current level with a colour (0 to 255 a channel), as a pass would draw it.
void Paint(float r, float g, float b, float a) {
    glClearColor(r / 255.0f, g / 255.0f, b / 255.0f, a / 255.0f);
    glClear(GL_COLOR_BUFFER_BIT);
}

GLint Integer(GLenum what) {
    GLint value = -1;
    glGetIntegerv(what, &value);
    return value;
}

GLint Attachment(GLenum target, GLenum what) {
    GLint value = -1;
    glGetFramebufferAttachmentParameteriv(target, GL_COLOR_ATTACHMENT0, what, &value);
    return value;
}

TEST_F(FramebufferStack,
       PoolsItsObjectsPerFrameSizeRefusesTooLargeAndMakesRenderTexturesOfAnySize) {
    AEOpenGLContext context(nullptr);
    AEOpenglMainFrameBuffer frames;
    GLCallRecorder recorder;
    frames.prepare(0, 0, true);
    EXPECT_TRUE(recorder.calls().empty()) << "an unprepared instance of size 0 makes nothing";
    frames.prepare(8, 4, true);
    auto framebuffers = recorder.names("glGenFramebuffers");
    const auto renderbuffers = recorder.names("glGenRenderbuffers");
    EXPECT_TRUE(framebuffers.size() == 3 && renderbuffers.size() == 1);
    recorder.clear();
    frames.prepare(8, 4, true);
    frames.prepare(8, 4, false);
    EXPECT_TRUE(recorder.calls().empty()) << "a frame of the same size reuses everything";
    frames.prepare(6, 2, true);
    auto deleted = recorder.names("glDeleteFramebuffers");
    std::sort(framebuffers.begin(), framebuffers.end()), std::sort(deleted.begin(), deleted.end());
    EXPECT_EQ(framebuffers, deleted);
    EXPECT_EQ(renderbuffers, recorder.names("glDeleteRenderbuffers"));
    EXPECT_EQ(3u, recorder.count("glGenFramebuffers"));
    EXPECT_EQ(0u, recorder.count("glGetIntegerv")) << "limits are read once for the context";

    // Each side is bounded by the smallest limit that applies to it; unread limits hold nothing.
    const GLContextLimits mixed(100, 80, 120, 60, 4);
    EXPECT_TRUE(mixed.fits(80, 60) && mixed.fits(0, 0) && mixed.samples(8) == 4 &&
                mixed.samples(2) == 2);
    EXPECT_FALSE(mixed.fits(81, 60) || mixed.fits(80, 61) || mixed.fits(-1, 1) ||
                 GLContextLimits().fits(1, 1));
    // A frame beyond the context's limits is refused and changes nothing.
    const GLContextLimits& limits = frames.limits();
    EXPECT_EQ(Integer(GL_MAX_TEXTURE_SIZE), limits.maxTextureSize());
    const long wide = limits.maxFrameWidth() + 1L, tall = limits.maxFrameHeight() + 1L;
    for (const auto& [w, h] : {std::pair{wide, 2L}, std::pair{6L, tall}}) {
        recorder.clear();
        int code = 0;
        try {
            frames.prepare(w, h, true);
        } catch (int thrown) {
            code = thrown;
        }
        EXPECT_EQ(AEOpenglMainFrameBuffer::kFrameTooLarge, code) << w << "x" << h;
        EXPECT_TRUE(recorder.calls().empty()) << w << "x" << h;
    }
    frames.beginDrawing();
    Paint(9, 8, 7, 255);
    frames.endDrawing(1.0f);
    EXPECT_EQ(Repeat({255, 9, 8, 7}, 12), readFramebuffer(6, 2)) << "the frame before is whole";
    // Render textures take the frame's size or their own whole size, and their filters.
    const GLint linear = GLint(GL_LINEAR), rgba = GLint(GL_RGBA), floats = GLint(GL_RGBA32F);
    struct Case {
        GLuint texture;
        std::vector<GLint> want; // width, height, format, min and mag filter
    };
    const Case cases[] = {
        {frames.createRenderTexture(false), {6, 2, rgba, linear, linear}},
        {frames.createRenderTexture(Vec2(7.9, 3.2), false), {7, 3, rgba, linear, linear}},
        {frames.createRenderTexture(Vec2(5, 6), true),
         {5, 6, rgba, GLint(GL_LINEAR_MIPMAP_LINEAR), linear}},
        {frames.createFloatRenderTexture(Vec2(3, 2), true, false), {3, 2, floats, linear, linear}},
        {frames.createFloatRenderTexture(Vec2(3, 2), false, false),
         {3, 2, floats, GLint(GL_NEAREST), GLint(GL_NEAREST)}},
        {frames.createFloatRenderTexture(Vec2(9, 1), false, true),
         {9, 1, floats, GLint(GL_LINEAR_MIPMAP_NEAREST), linear}},
    };
    for (const Case& c : cases) {
        glBindTexture(GL_TEXTURE_2D, c.texture);
        std::vector<GLint> got(6, -1);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &got[0]);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &got[1]);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &got[2]);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &got[3]);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, &got[4]);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &got[5]);
        std::vector<GLint> want = c.want;
        want.push_back(GLint(GL_CLAMP_TO_EDGE)); // edges clamped
        EXPECT_EQ(want, got) << "row " << &c - cases;
        glBindTexture(GL_TEXTURE_2D, 0);
        glDeleteTextures(1, &c.texture);
    }
    // Levels drawn are pooled, not made anew each frame, and all go at the end.
    const std::size_t madeWhileDrawing = recorder.count("glGenRenderbuffers");
    frames.destory();
    EXPECT_EQ(framebuffers.size(), recorder.names("glDeleteFramebuffers").size());
    EXPECT_EQ(1u + madeWhileDrawing, recorder.names("glDeleteRenderbuffers").size());
    EXPECT_NO_GL_ERROR();
}

TEST_F(FramebufferStack, PushClearsOnlyTheNewLevelPopGivesBackTheLevelBelowAndEndResolves) {
    AEOpenGLContext context(nullptr);
    for (const bool multisampled : {true, false}) {
        SCOPED_TRACE(multisampled ? "multisampled" : "single-sampled");
        AEOpenglMainFrameBuffer frames;
        frames.prepare(4, 2, multisampled);
        for (int frame = 0; frame < 2; ++frame) {
            frames.beginDrawing();
            GLint samples = -1;
            glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_SAMPLES, &samples);
            EXPECT_EQ(multisampled ? std::min(8, Integer(GL_MAX_SAMPLES)) : 0, samples);
            Paint(255, 128, 0, 255);
            frames.pushRenderContext(false, false);
            EXPECT_EQ(GL_FRAMEBUFFER_COMPLETE, glCheckFramebufferStatus(GL_FRAMEBUFFER));
            glEnable(GL_SCISSOR_TEST);
            glScissor(0, 0, 1, 1);
            Paint(0, 0, 255, 255);
            glDisable(GL_SCISSOR_TEST);
            GLuint top = frames.popRenderContext();
            Pixels expectedTop = Repeat({0, 0, 0, 0}, 8);
            expectedTop[2] = expectedTop[3] = 255;
            EXPECT_EQ(expectedTop, readTexture(top, 4, 2));
            glDeleteTextures(1, &top);
            if (frame == 0) {
                GLuint bottom = frames.popRenderContext();
                EXPECT_EQ(Repeat({255, 128, 0, 255}, 8), readTexture(bottom, 4, 2));
                // Attached nowhere, so that its delete frees it: a delete detaches a texture
                // only from the frame-buffer objects bound in that moment.
                const GLint resolve = Integer(GL_DRAW_FRAMEBUFFER_BINDING);
                glBindFramebuffer(GL_FRAMEBUFFER, 0);
                glDeleteTextures(1, &bottom);
                glBindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(resolve));
                EXPECT_NE(static_cast<GLint>(GL_TEXTURE),
                          Attachment(GL_DRAW_FRAMEBUFFER, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE));
                GLCallRecorder recorder;
                EXPECT_EQ(0u, frames.popRenderContext());
                frames.endDrawing(1.0f);
                EXPECT_TRUE(recorder.calls().empty()) << "an empty stack is left alone";
                continue;
            }
            // The bottom level passes into the bound main renderbuffer, read and draw alike.
            frames.endDrawing(1.0f);
            EXPECT_NE(0, Integer(GL_READ_FRAMEBUFFER_BINDING));
            EXPECT_EQ(Integer(GL_READ_FRAMEBUFFER_BINDING), Integer(GL_DRAW_FRAMEBUFFER_BINDING));
            EXPECT_EQ(static_cast<GLint>(GL_RENDERBUFFER),
                      Attachment(GL_FRAMEBUFFER, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE));
            EXPECT_EQ(Repeat({255, 255, 128, 0}, 8), readFramebuffer(4, 2));
        }
        frames.destory();
        EXPECT_NO_GL_ERROR();
    }
}

} // namespace
