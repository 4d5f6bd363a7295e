#pragma once

#include <glbinding/gl/enum.h>
#include <glbinding/gl/functions.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "HostGLContext.h"

/// No GL error is pending on the current context, which the test owns: the effect reads errors
/// only in its own contexts.
#define EXPECT_NO_GL_ERROR() EXPECT_EQ(gl::GL_NO_ERROR, gl::glGetError())

namespace Brindel::Testing {

/// Fixture of the GL tests, which plays the host: its context, one for the whole process, is made
/// current before each test. A test that gets no context fails; it is never skipped.
class GLTest : public ::testing::Test {
public:
    static Host::HostGLContext& hostContext();

    /// Runs `body` on a new thread, which leaves no context current, and waits for it; an
    /// exception from `body` fails the test.
    static void runOnNewThread(const std::function<void()>& body);

    /// A 2D texture of 8-bit RGBA pixels, rows bottom first, nearest filtering, edges clamped.
    static unsigned int makeTexture(int width, int height, const std::vector<std::uint8_t>& rgba);
    /// The 8-bit RGBA pixels of level 0 of `texture`, rows bottom first.
    static std::vector<std::uint8_t> readTexture(unsigned int texture, int width, int height);
    /// The 8-bit RGBA pixels of the frame-buffer bound for reading, rows bottom first.
    static std::vector<std::uint8_t> readFramebuffer(int width, int height);

protected:
    void SetUp() override;
    void TearDown() override;

    /// The code under test promises to leave the host's context current: checked after the test.
    void expectHostContextAfterTest() { mExpectHostContext = true; }

private:
    bool mExpectHostContext = false;
};

} // namespace Brindel::Testing
