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
using Brindel::GaussianBlur::AEOpenGLContext;
using Brindel::GaussianBlur::AEOpenglMainFrameBuffer;
using Brindel::GaussianBlur::GLContextLimits;
using Brindel::GaussianBlur::Vec2;
using Brindel::Testing::GLCallRecorder;
using Brindel::Testing::GLTest;

namespace {

using Pixels = std::vector<std::uint8_t>;
using FramebufferStack = GLTest;

std::vector<unsigned int> Sorted(std::vector<unsigned int> names) {
    std::sort(names.begin(), names.end());
    return names;
}

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

TEST_F(FramebufferStack, KeepsItsObjectsForFramesOfOneSizeAndRemakesThemForAnother) {
    AEOpenGLContext context(nullptr);
    AEOpenglMainFrameBuffer frames;
    GLCallRecorder recorder;
    frames.prepare(0, 0, true);
    EXPECT_TRUE(recorder.calls().empty()) << "an unprepared instance of size 0 makes nothing";

    frames.prepare(8, 4, true);
    const auto framebuffers = Sorted(recorder.names("glGenFramebuffers"));
    const auto renderbuffers = recorder.names("glGenRenderbuffers");
    EXPECT_EQ(3u, framebuffers.size());
    EXPECT_EQ(1u, renderbuffers.size());
    EXPECT_EQ(8, frames.width());
    EXPECT_EQ(4, frames.height());

    recorder.clear();
    frames.prepare(8, 4, true);
    frames.prepare(8, 4, false);
    EXPECT_TRUE(recorder.calls().empty()) << "a frame of the same size reuses everything";

    frames.prepare(6, 6, true);
    EXPECT_EQ(framebuffers, Sorted(recorder.names("glDeleteFramebuffers")));
    EXPECT_EQ(renderbuffers, recorder.names("glDeleteRenderbuffers"));
    EXPECT_EQ(3u, recorder.count("glGenFramebuffers"));

    recorder.clear();
    frames.destory();
    EXPECT_EQ(3u, recorder.names("glDeleteFramebuffers").size());
    EXPECT_EQ(1u, recorder.names("glDeleteRenderbuffers").size());
    EXPECT_NO_GL_ERROR();
}

TEST_F(FramebufferStack, PushClearsOnlyTheNewLevelAndPopGivesBackTheLevelBelowAsItWas) {
    AEOpenGLContext context(nullptr);
    GLint maxSamples = 0;
    glGetIntegerv(GL_MAX_SAMPLES, &maxSamples);
    for (const bool multisampled : {true, false}) {
        SCOPED_TRACE(multisampled ? "multisampled" : "single-sampled");
        AEOpenglMainFrameBuffer frames;
        frames.prepare(4, 2, multisampled);
        frames.beginDrawing();
        EXPECT_EQ(GL_FRAMEBUFFER_COMPLETE, glCheckFramebufferStatus(GL_FRAMEBUFFER));
        GLint samples = -1;
        glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_SAMPLES, &samples);
        EXPECT_EQ(multisampled ? std::min(8, maxSamples) : 0, samples);
        Paint(255, 128, 0, 255);

        frames.pushRenderContext(false, false);
        EXPECT_EQ(GL_FRAMEBUFFER_COMPLETE, glCheckFramebufferStatus(GL_FRAMEBUFFER));
        glEnable(GL_SCISSOR_TEST);
        glScissor(0, 0, 1, 1);
        Paint(0, 0, 255, 255);
        glDisable(GL_SCISSOR_TEST);

        GLuint top = frames.popRenderContext();
        Pixels expectedTop = Repeat({0, 0, 0, 0}, 8);
        std::fill(expectedTop.begin(), expectedTop.begin() + 4, 255);
        expectedTop[0] = expectedTop[1] = 0;
        EXPECT_EQ(expectedTop, readTexture(top, 4, 2));
        GLuint bottom = frames.popRenderContext();
        EXPECT_EQ(Repeat({255, 128, 0, 255}, 8), readTexture(bottom, 4, 2));

        GLCallRecorder recorder;
        EXPECT_EQ(0u, frames.popRenderContext());
        frames.endDrawing(1.0f);
        EXPECT_TRUE(recorder.calls().empty()) << "an empty stack is left alone";

        glDeleteTextures(1, &top);
        glDeleteTextures(1, &bottom);
        frames.destory();
        EXPECT_NO_GL_ERROR();
    }
}

TEST_F(FramebufferStack, EndDrawingPassesTheBottomLevelIntoTheBoundMainRenderbuffer) {
    AEOpenGLContext context(nullptr);
    AEOpenglMainFrameBuffer frames;
    frames.prepare(3, 2, true);
    for (int frame = 0; frame < 2; ++frame) {
        frames.beginDrawing();
        Paint(51, 102, 153, 255);
        frames.pushRenderContext(false, true);
        Paint(1, 2, 3, 4);
        GLuint discarded = frames.popRenderContext();
        glDeleteTextures(1, &discarded);
        frames.endDrawing(1.0f);

        GLint read = 0;
        GLint draw = 0;
        GLint attachment = 0;
        glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &read);
        glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &draw);
        glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0,
                                              GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE, &attachment);
        EXPECT_NE(0, read);
        EXPECT_EQ(read, draw);
        EXPECT_EQ(static_cast<GLint>(GL_RENDERBUFFER), attachment);
        EXPECT_EQ(Repeat({255, 51, 102, 153}, 6), readFramebuffer(3, 2));
        EXPECT_NO_GL_ERROR();
    }
    frames.destory();
    EXPECT_NO_GL_ERROR();
}

TEST_F(FramebufferStack, FramesMovingBetweenThreadsRenderRightAndKeepEachContextsObjects) {
    AEOpenGLContext data(nullptr);
    AEOpenGLContext first(&data);
    AEOpenGLContext second(&data);
    data.makeContextCurrent();
    AEOpenglMainFrameBuffer frames;
    GLCallRecorder recorder;
    const auto render = [&](AEOpenGLContext& context, std::uint8_t red) {
        Pixels result;
        runOnNewThread([&] {
            context.makeContextCurrent();
            frames.prepare(2, 2, true);
            frames.beginDrawing();
            Paint(red, 0, 0, 255);
            frames.endDrawing(1.0f);
            result = readFramebuffer(2, 2);
            EXPECT_NO_GL_ERROR();
        });
        return result;
    };

    EXPECT_EQ(Repeat({255, 10, 0, 0}, 4), render(first, 10));
    EXPECT_EQ(Repeat({255, 20, 0, 0}, 4), render(second, 20));
    EXPECT_EQ(6u, recorder.count("glGenFramebuffers")) << "each context makes its own";
    recorder.clear();
    EXPECT_EQ(Repeat({255, 30, 0, 0}, 4), render(first, 30));
    EXPECT_EQ(Repeat({255, 40, 0, 0}, 4), render(second, 40));
    EXPECT_EQ(0u, recorder.count("glGenFramebuffers")) << "and keeps them for its next frames";
    EXPECT_EQ(0u, recorder.count("glGenRenderbuffers") + recorder.count("glGenTextures"))
        << "nor is the frames' storage made again";

    recorder.clear();
    frames.destory();
    EXPECT_EQ(0u, recorder.count("glDeleteFramebuffers"))
        << "no frame-buffer object is deleted in a context that does not own it";
    EXPECT_NO_GL_ERROR();
}

TEST_F(FramebufferStack, NormalRenderContextDrawsIntoItsTextureOrMipLevelOutsideTheStack) {
    AEOpenGLContext context(nullptr);
    AEOpenglMainFrameBuffer frames;
    frames.prepare(8, 8, false);
    frames.beginDrawing();
    Paint(200, 0, 0, 255);
    GLuint texture = frames.createRenderTexture(false);
    GLuint mipmapped = frames.createRenderTexture(Vec2(8, 8), true);
    // The other levels: only a complete mipmap can be drawn into above its base.
    glBindTexture(GL_TEXTURE_2D, mipmapped);
    for (int level = 1, size = 4; size >= 1; ++level, size /= 2) {
        glTexImage2D(GL_TEXTURE_2D, level, GL_RGBA, size, size, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                     nullptr);
    }
    glBindTexture(GL_TEXTURE_2D, 0);

    GLCallRecorder recorder;
    frames.pushNormalRenderContext(texture);
    Paint(0, 200, 0, 255);
    frames.popNormalRenderContext();
    EXPECT_EQ(recorder.names("glGenFramebuffers"), recorder.names("glDeleteFramebuffers"));
    EXPECT_EQ(Repeat({0, 200, 0, 255}, 64), readTexture(texture, 8, 8));

    // With a size: that mip level, and a viewport of the size, then the frame's again.
    frames.pushNormalRenderContext(mipmapped, Vec2(4.7, 3.2), 1);
    EXPECT_NO_GL_ERROR();
    GLint level = -1;
    glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0,
                                          GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LEVEL, &level);
    EXPECT_EQ(level, 1);
    GLint viewport[4] = {};
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(viewport[2], 4);
    EXPECT_EQ(viewport[3], 3);
    frames.popNormalRenderContext();
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(viewport[2], 8);

    GLuint bottom = frames.popRenderContext();
    EXPECT_EQ(Repeat({200, 0, 0, 255}, 64), readTexture(bottom, 8, 8))
        << "the stack's top level is the target again, as it was";
    for (GLuint name : {texture, mipmapped, bottom}) {
        glDeleteTextures(1, &name);
    }
    frames.destory();
    EXPECT_NO_GL_ERROR();
}

TEST_F(FramebufferStack, TexturesOfAGivenSizeTakeThatSizeAndTheirFilters) {
    AEOpenglMainFrameBuffer frames;
    frames.prepare(4, 4, false);
    struct Case {
        GLuint texture;
        GLint width, height;
        GLenum format, min, mag;
    };
    const Case cases[] = {
        {frames.createRenderTexture(Vec2(7.9, 3.2), false), 7, 3, GL_RGBA, GL_LINEAR, GL_LINEAR},
        {frames.createRenderTexture(Vec2(5, 6), true), 5, 6, GL_RGBA, GL_LINEAR_MIPMAP_LINEAR,
         GL_LINEAR},
        {frames.createFloatRenderTexture(Vec2(3, 2), true, false), 3, 2, GL_RGBA32F, GL_LINEAR,
         GL_LINEAR},
        {frames.createFloatRenderTexture(Vec2(3, 2), false, false), 3, 2, GL_RGBA32F, GL_NEAREST,
         GL_NEAREST},
        {frames.createFloatRenderTexture(Vec2(9, 1), false, true), 9, 1, GL_RGBA32F,
         GL_LINEAR_MIPMAP_NEAREST, GL_LINEAR},
    };
    for (const Case& c : cases) {
        glBindTexture(GL_TEXTURE_2D, c.texture);
        GLint width = 0, height = 0, format = 0, min = 0, mag = 0, wrap = 0;
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &width);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &height);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &format);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &min);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, &mag);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &wrap);
        EXPECT_EQ(width, c.width);
        EXPECT_EQ(height, c.height);
        EXPECT_EQ(format, static_cast<GLint>(c.format));
        EXPECT_EQ(min, static_cast<GLint>(c.min));
        EXPECT_EQ(mag, static_cast<GLint>(c.mag));
        EXPECT_EQ(wrap, static_cast<GLint>(GL_CLAMP_TO_EDGE));
        glBindTexture(GL_TEXTURE_2D, 0);
        glDeleteTextures(1, &c.texture);
    }
    frames.destory();
    EXPECT_NO_GL_ERROR();
}

TEST_F(FramebufferStack, PoppedTextureIsLeftAttachedNowhereSoThatItsDeleteFreesIt) {
    AEOpenGLContext context(nullptr);
    AEOpenglMainFrameBuffer frames;
    frames.prepare(4, 4, true);
    frames.beginDrawing();
    GLuint texture = frames.popRenderContext();
    // Deleting a texture detaches it only from the frame-buffer objects bound in that moment:
    // the resolve target must not keep it, bound or not.
    GLint resolve = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &resolve);
    ASSERT_NE(0, resolve);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteTextures(1, &texture);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(resolve));
    GLint type = -1;
    glGetFramebufferAttachmentParameteriv(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0,
                                          GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE, &type);
    EXPECT_EQ(static_cast<GLint>(GL_NONE), type);
    frames.destory();
    EXPECT_NO_GL_ERROR();
}

TEST_F(FramebufferStack, FrameBeyondTheContextsLimitsIsRefusedAndLeavesTheLastFrameAlone) {
    AEOpenGLContext context(nullptr);
    AEOpenglMainFrameBuffer frames;
    GLCallRecorder recorder;
    frames.prepare(4, 4, true);
    frames.prepare(6, 2, true);
    const GLContextLimits& limits = frames.limits();
    // Read once for the context, not for every frame.
    std::size_t queries = 0;
    for (const auto& call : recorder.calls()) {
        queries += call.function == "glGetIntegerv" && !call.parameters.empty() &&
                   call.parameters[0] == "GL_MAX_TEXTURE_SIZE";
    }
    EXPECT_EQ(1u, queries);
    EXPECT_EQ(GLContextLimits::query().maxFrameWidth(), limits.maxFrameWidth());

    const long wide = limits.maxFrameWidth() + 1L;
    const long tall = limits.maxFrameHeight() + 1L;
    for (const auto& [w, h] : {std::pair{wide, 2L}, std::pair{6L, tall}, std::pair{wide, tall}}) {
        recorder.clear();
        try {
            frames.prepare(w, h, true);
            ADD_FAILURE() << w << "x" << h << " was accepted";
        } catch (int code) {
            EXPECT_EQ(AEOpenglMainFrameBuffer::kFrameTooLarge, code);
        }
        EXPECT_EQ(0u, recorder.names("glGenRenderbuffers").size()) << w << "x" << h;
        EXPECT_EQ(0u, recorder.count("glDeleteFramebuffers")) << w << "x" << h;
    }
    EXPECT_EQ(6, frames.width());
    EXPECT_EQ(2, frames.height());

    // The frame before is still whole.
    recorder.clear();
    frames.prepare(6, 2, true);
    frames.beginDrawing();
    Paint(9, 8, 7, 255);
    frames.endDrawing(1.0f);
    EXPECT_EQ(0u, recorder.count("glGenFramebuffers"));
    EXPECT_EQ(Repeat({255, 9, 8, 7}, 12), readFramebuffer(6, 2));
    frames.destory();
    EXPECT_NO_GL_ERROR();
}

} // namespace
