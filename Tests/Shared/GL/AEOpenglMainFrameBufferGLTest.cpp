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

std::size_t MaxTextureSizeQueries(const GLCallRecorder& recorder) {
    std::size_t queries = 0;
    for (const auto& call : recorder.calls()) {
        queries += call.function == "glGetIntegerv" && !call.parameters.empty() &&
                   call.parameters[0] == "GL_MAX_TEXTURE_SIZE";
    }
    return queries;
}

TEST_F(FramebufferStack, KeepsItsObjectsForFramesOfOneSizeRemakesThemForAnotherAndRefusesTooLarge) {
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
    EXPECT_EQ(1u, MaxTextureSizeQueries(recorder));
    recorder.clear();
    frames.prepare(8, 4, true);
    frames.prepare(8, 4, false);
    EXPECT_TRUE(recorder.calls().empty()) << "a frame of the same size reuses everything";
    frames.prepare(6, 2, true);
    EXPECT_EQ(framebuffers, Sorted(recorder.names("glDeleteFramebuffers")));
    EXPECT_EQ(renderbuffers, recorder.names("glDeleteRenderbuffers"));
    EXPECT_EQ(3u, recorder.count("glGenFramebuffers"));
    EXPECT_EQ(0u, MaxTextureSizeQueries(recorder)) << "limits are read once for the context";

    // Each side is bounded by the smallest limit that applies to it; unread limits hold nothing.
    const GLContextLimits mixed(100, 80, 120, 60, 4);
    EXPECT_TRUE(mixed.fits(80, 60) && mixed.fits(0, 0) && mixed.samples(8) == 4 &&
                mixed.samples(2) == 2);
    EXPECT_FALSE(mixed.fits(81, 60) || mixed.fits(80, 61) || mixed.fits(-1, 1) ||
                 GLContextLimits().fits(1, 1));
    // A frame beyond the context's limits is refused and changes nothing.
    const GLContextLimits& limits = frames.limits();
    EXPECT_EQ(Integer(GL_MAX_TEXTURE_SIZE), limits.maxTextureSize());
    EXPECT_EQ(GLContextLimits::query().maxFrameWidth(), limits.maxFrameWidth());
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
    EXPECT_EQ(6, frames.width());
    EXPECT_EQ(2, frames.height());
    frames.beginDrawing();
    Paint(9, 8, 7, 255);
    frames.endDrawing(1.0f);
    EXPECT_EQ(Repeat({255, 9, 8, 7}, 12), readFramebuffer(6, 2)) << "the frame before is whole";

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
            EXPECT_EQ(GL_FRAMEBUFFER_COMPLETE, glCheckFramebufferStatus(GL_FRAMEBUFFER));
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
                glDeleteTextures(1, &bottom);
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

TEST_F(FramebufferStack, NormalRenderContextDrawsIntoItsTextureOrMipLevelOutsideTheStack) {
    AEOpenGLContext context(nullptr);
    AEOpenglMainFrameBuffer frames;
    frames.prepare(8, 8, true);
    frames.beginDrawing();
    Paint(200, 0, 0, 255);
    GLuint texture = frames.createRenderTexture(false);
    GLuint mipmapped = frames.createRenderTexture(Vec2(8, 8), true);
    glBindTexture(GL_TEXTURE_2D, mipmapped); // only a complete mipmap is drawn into above its base
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
    GLint viewport[4] = {};
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(1, Attachment(GL_FRAMEBUFFER, GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LEVEL));
    EXPECT_TRUE(viewport[2] == 4 && viewport[3] == 3);
    frames.popNormalRenderContext();
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(viewport[2], 8);
    // The popped level is attached nowhere, so that its delete frees it: deleting detaches a
    // texture only from the frame-buffer objects bound in that moment.
    GLuint bottom = frames.popRenderContext();
    EXPECT_EQ(Repeat({200, 0, 0, 255}, 64), readTexture(bottom, 8, 8));
    const GLint resolve = Integer(GL_DRAW_FRAMEBUFFER_BINDING);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    for (GLuint name : {texture, mipmapped, bottom}) {
        glDeleteTextures(1, &name);
    }
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, static_cast<GLuint>(resolve));
    EXPECT_EQ(static_cast<GLint>(GL_NONE),
              Attachment(GL_DRAW_FRAMEBUFFER, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE));
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
    // clang-format off
    for (const Case& c : {Case{frames.createRenderTexture(Vec2(7.9, 3.2), false), 7, 3, GL_RGBA, GL_LINEAR, GL_LINEAR},
                          Case{frames.createRenderTexture(Vec2(5, 6), true), 5, 6, GL_RGBA, GL_LINEAR_MIPMAP_LINEAR, GL_LINEAR},
                          Case{frames.createFloatRenderTexture(Vec2(3, 2), true, false), 3, 2, GL_RGBA32F, GL_LINEAR, GL_LINEAR},
                          Case{frames.createFloatRenderTexture(Vec2(3, 2), false, false), 3, 2, GL_RGBA32F, GL_NEAREST, GL_NEAREST},
                          Case{frames.createFloatRenderTexture(Vec2(9, 1), false, true), 9, 1, GL_RGBA32F, GL_LINEAR_MIPMAP_NEAREST, GL_LINEAR}}) {
        // clang-format on
        glBindTexture(GL_TEXTURE_2D, c.texture);
        GLint got[6] = {};
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &got[0]);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &got[1]);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &got[2]);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &got[3]);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, &got[4]);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &got[5]);
        EXPECT_EQ((std::vector<GLint>(got, got + 6)),
                  (std::vector<GLint>{c.width, c.height, static_cast<GLint>(c.format),
                                      static_cast<GLint>(c.min), static_cast<GLint>(c.mag),
                                      static_cast<GLint>(GL_CLAMP_TO_EDGE)}));
        glBindTexture(GL_TEXTURE_2D, 0);
        glDeleteTextures(1, &c.texture);
    }
    frames.destory();
    EXPECT_NO_GL_ERROR();
}

} // namespace
