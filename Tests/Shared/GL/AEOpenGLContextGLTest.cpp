#include "AEOpenGLContext.h"
#include "GLCallRecorder.h"
#include "GLTest.h"
#include "StderrCapture.h"

#include <glbinding/Meta.h>
#include <glbinding/gl/gl.h>

#include <functional>
#include <string>

using namespace gl;
using Brindel::GaussianBlur::AEOpenGLContext;
using Brindel::Testing::GLCallRecorder;
using Brindel::Testing::GLTest;
using Brindel::Testing::StderrCapture;

namespace {

using ContextCreation = GLTest;
using ContextSwitch = GLTest;

std::string GLString(GLenum name) {
    return reinterpret_cast<const char*>(glGetString(name));
}

TEST_F(ContextCreation, PrintsTheVersionBlockForEveryContextMade) {
    StderrCapture capture;
    AEOpenGLContext data(nullptr);
    AEOpenGLContext render(&data);
    GLint major = 0, minor = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    const std::string block =
        "\nOpenGL Version:  " + std::to_string(major) + "." + std::to_string(minor) +
        "\nOpenGL Vendor:   " + GLString(GL_VENDOR) +
        "\nOpenGL Renderer: " + GLString(GL_RENDERER) +
        "\nOpenGL Revision: " + std::to_string(glbinding::Meta::glRevision()) + " (gl.xml)\n\n";

    EXPECT_EQ(block + block, capture.text());
    EXPECT_GE(major * 10 + minor, 32);
    EXPECT_NO_GL_ERROR();
}

TEST_F(ContextCreation, PartnerSeesTexturesAndAnUnsharedContextDoesNot) {
    AEOpenGLContext data(nullptr);
    const std::vector<std::uint8_t> pixels = {10, 20, 30, 40, 50, 60, 70, 80};
    GLuint texture = makeTexture(2, 1, pixels);
    glFlush();

    AEOpenGLContext render(&data);
    EXPECT_EQ(render.platformContext(), AEOpenGLContext::currentPlatformContext());
    EXPECT_TRUE(glIsTexture(texture));
    EXPECT_EQ(pixels, readTexture(texture, 2, 1));
    EXPECT_NO_GL_ERROR();

    AEOpenGLContext unrelated(nullptr);
    EXPECT_FALSE(glIsTexture(texture));

    render.makeContextCurrent();
    glDeleteTextures(1, &texture);
    EXPECT_NO_GL_ERROR();
}

TEST_F(ContextSwitch, FlushesTheOutgoingContextUnlessItsDrawFramebufferIsIncomplete) {
    AEOpenGLContext first(nullptr);
    AEOpenGLContext second(&first);
    GLuint framebuffer = 0, renderbuffer = 0;
    // The switch, then the flushes and status queries it must make.
    const auto expectSwitch = [](const std::function<void()>& to, AEOpenGLContext& now,
                                 size_t flushes, size_t queries) {
        GLCallRecorder recorder;
        to();
        EXPECT_EQ(flushes, recorder.count("glFlush"));
        EXPECT_EQ(queries, recorder.count("glCheckFramebufferStatus"));
        EXPECT_EQ(now.platformContext(), AEOpenGLContext::currentPlatformContext());
    };
    expectSwitch([&] { second.makeContextCurrent(); }, second, 0, 0); // already current
    expectSwitch([&] { first.makeContextCurrent(); }, first, 1, 0);   // the default frame-buffer
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    expectSwitch([&] { second.makeContextCurrent(); }, second, 0, 1); // incomplete: no flush
    first.makeContextCurrent();
    glGenRenderbuffers(1, &renderbuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, 4, 4);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffer);
    expectSwitch([&] { AEOpenGLContext::makeCurrentFlush(second.platformContext()); }, second, 1,
                 1);
    first.makeContextCurrent();
    glDeleteFramebuffers(1, &framebuffer);
    glDeleteRenderbuffers(1, &renderbuffer);
    EXPECT_NO_GL_ERROR();
}

} // namespace
