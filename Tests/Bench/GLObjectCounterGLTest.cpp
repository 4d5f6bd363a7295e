#include "GLObjectCounter.h"

#include <glbinding/gl/gl.h>
#include <gtest/gtest.h>

#include "GLTest.h"
#include "HostGLContext.h"

using namespace gl;
using Brindel::Bench::GLObjectCounter;
using Brindel::Host::HostGLContext;
using Brindel::Testing::GLTest;

namespace {

class GLObjectCounterTest : public GLTest {};

TEST_F(GLObjectCounterTest, CountsWhatIsMadeUntilItIsDeletedOnEveryContext) {
    GLObjectCounter counter;
    GLuint textures[3] = {}, framebuffer = 0;
    glGenTextures(3, textures);
    glGenFramebuffers(1, &framebuffer);
    const GLuint program = glCreateProgram();
    EXPECT_EQ(counter.total(), 5u);
    EXPECT_EQ(counter.live().at("Textures"), 3u);
    EXPECT_EQ(counter.live().at("Program"), 1u);

    // A context of its own on another thread: its frame-buffer names are its own, even when the
    // numbers match ours, and the counter sees the calls made there.
    runOnNewThread([&] {
        HostGLContext other;
        GLuint theirs = 0;
        glGenFramebuffers(1, &theirs);
        EXPECT_EQ(counter.live().at("Framebuffers"), 2u);
        glDeleteFramebuffers(1, &theirs);
        EXPECT_EQ(counter.live().at("Framebuffers"), 1u);
    });
    hostContext().makeCurrent();

    // Names that are not alive count nothing.
    const GLuint never = 4242;
    glDeleteTextures(1, &never);
    glDeleteProgram(0);
    glDeleteTextures(2, textures);
    glDeleteProgram(program);
    EXPECT_EQ(counter.total(), 2u);
    EXPECT_EQ(counter.live().count("Program"), 0u);
    glDeleteTextures(1, &textures[2]);
    glDeleteFramebuffers(1, &framebuffer);
    EXPECT_EQ(counter.total(), 0u);
    EXPECT_NO_GL_ERROR();
}

} // namespace
