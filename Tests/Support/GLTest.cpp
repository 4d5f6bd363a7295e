#include "GLTest.h"

#include <glbinding/gl/gl.h>

#include <exception>
#include <thread>

using namespace gl;

namespace Brindel::Testing {

void GLTest::SetUp() {
    ASSERT_NO_THROW(hostContext()) << "a GL test needs a headless GL context";
    hostContext().makeCurrent();
    ASSERT_TRUE(hostContext().isCurrent());
}

void GLTest::TearDown() {
    EXPECT_TRUE(!mExpectHostContext || hostContext().isCurrent())
        << "the host's context is not current again";
}

Host::HostGLContext& GLTest::hostContext() {
    // Never destroyed: other contexts may still live on its display when the process ends.
    static Host::HostGLContext* const context = new Host::HostGLContext();
    return *context;
}

void GLTest::runOnNewThread(const std::function<void()>& body) {
    std::exception_ptr failure;
    std::thread([&] {
        try {
            body();
        } catch (...) {
            failure = std::current_exception();
        }
        Host::HostGLContext::releaseCurrent();
    }).join();
    EXPECT_NO_THROW(failure ? std::rethrow_exception(failure) : void()) << "the thread threw";
}

unsigned int GLTest::makeTexture(int width, int height, const std::vector<std::uint8_t>& rgba) {
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 rgba.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    return texture;
}

std::vector<std::uint8_t> GLTest::readTexture(unsigned int texture, int width, int height) {
    GLint previous = 0;
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &previous);
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
    glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    std::vector<std::uint8_t> pixels = readFramebuffer(width, height);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(previous));
    glDeleteFramebuffers(1, &framebuffer);
    return pixels;
}

std::vector<std::uint8_t> GLTest::readFramebuffer(int width, int height) {
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * height * 4);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    return pixels;
}

} // namespace Brindel::Testing
