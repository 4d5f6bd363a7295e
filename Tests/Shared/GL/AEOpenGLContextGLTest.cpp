#include "AEOpenGLContext.h"
#include "GLCallRecorder.h"
#include "GLTest.h"

#include <glbinding/gl/gl.h>

#include <functional>

using namespace gl;
using Brindel::GaussianBlur::AEOpenGLContext;
using Brindel::Testing::GLCallRecorder;

namespace {

using ContextSwitch = Brindel::Testing::GLTest;

TEST_F(ContextSwitch, FlushesTheOutgoingContextUnlessItsDrawFramebufferIsIncomplete) {
    AEOpenGLContext first(nullptr), second(&first);
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
