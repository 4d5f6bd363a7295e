#include "AEOpenGLContext.h"
#include "BackgroundRender.h"
#include "GLTest.h"
#include "ScreenRender.h"

#include <glbinding/gl/gl.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

using namespace gl;
using Brindel::GaussianBlur::AEOpenGLContext;
using Brindel::GaussianBlur::BackgroundRender;
using Brindel::GaussianBlur::ScreenRender;
using Brindel::Testing::GLTest;

namespace {

using Pixels = std::vector<std::uint8_t>;
using ScreenPass = GLTest;
using BackgroundPass = GLTest;

// One level of 8 bits: the passes write through 8-bit targets.
constexpr int kTolerance = 1;

std::uint8_t ToByte(double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255.0));
}

// The screen pass on the CPU: premultiplied r, g, b, a to straight a, r, g, b, over multiplier.
Pixels ScreenModel(const Pixels& in, double multiplier) {
    Pixels out;
    for (std::size_t i = 0; i < in.size(); i += 4) {
        const double a = in[i + 3] / 255.0;
        for (int k = 0; k < 4; ++k) {
            const double value = k == 0 ? a : in[i + k - 1] / 255.0 / a;
            out.push_back(a == 0.0 ? 0 : ToByte(value / multiplier));
        }
    }
    return out;
}

// The background pass on the CPU: host a, r, g, b times multiplier to premultiplied r, g, b, a.
Pixels BackgroundModel(const Pixels& in, double multiplier) {
    Pixels out;
    for (std::size_t i = 0; i < in.size(); i += 4) {
        const double a = in[i] / 255.0 * multiplier;
        for (int k = 1; k <= 4; ++k) {
            const double value = in[i + k % 4] / 255.0 * multiplier;
            out.push_back(ToByte(k == 4 ? a : a * value));
        }
    }
    return out;
}

void ExpectNear(const Pixels& expected, const Pixels& actual) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_LE(std::abs(expected[i] - actual[i]), kTolerance)
            << "pixel " << i / 4 << " channel " << i % 4;
    }
}

// An 8-bit target of the given size, bound for drawing and reading, the viewport on it.
class Target {
public:
    Target(int width, int height) : mWidth(width), mHeight(height) {
        mTexture = GLTest::makeTexture(width, height, Pixels(width * height * 4, 0));
        glGenFramebuffers(1, &mFramebuffer);
        bind();
    }
    ~Target() {
        glDeleteFramebuffers(1, &mFramebuffer);
        glDeleteTextures(1, &mTexture);
    }
    void bind() const {
        glBindFramebuffer(GL_FRAMEBUFFER, mFramebuffer);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, mTexture, 0);
        glViewport(0, 0, mWidth, mHeight);
    }
    Pixels pixels() const { return GLTest::readFramebuffer(mWidth, mHeight); }
    GLuint texture() const { return mTexture; }

private:
    int mWidth;
    int mHeight;
    GLuint mTexture = 0;
    GLuint mFramebuffer = 0;
};

// Working-form pixels at distinct places: transparent with colour, opaque, half, opaque black.
const Pixels kWorkingForm = {200, 100, 50, 0, 10, 20, 30, 255, 100, 50, 25, 128, 0, 0, 0, 255};

TEST_F(ScreenPass, TurnsTheWorkingFormIntoStraightHostOrderInPlace) {
    AEOpenGLContext context(nullptr);
    GLuint input = makeTexture(2, 2, kWorkingForm);
    Target target(2, 2);
    ScreenRender pass;
    for (const float multiplier : {1.0f, 65535.0f / 32768.0f}) {
        SCOPED_TRACE(multiplier);
        pass.draw(input, multiplier);
        const Pixels out = target.pixels();
        ExpectNear(ScreenModel(kWorkingForm, multiplier), out);
        if (multiplier == 1.0f) {
            EXPECT_EQ((Pixels{0, 0, 0, 0}), Pixels(out.begin(), out.begin() + 4))
                << "alpha 0 drops the colour";
            EXPECT_EQ((Pixels{255, 10, 20, 30}), Pixels(out.begin() + 4, out.begin() + 8))
                << "full alpha passes unchanged";
        }
    }
    glDeleteTextures(1, &input);
    EXPECT_NO_GL_ERROR();
}

TEST_F(BackgroundPass, TurnsHostOrderIntoTheWorkingFormThatTheScreenPassUndoes) {
    AEOpenGLContext context(nullptr);
    const Pixels host = {0, 200, 100, 50, 255, 10, 20, 30, 128, 200, 100, 50, 255, 0, 0, 0};
    GLuint input = makeTexture(2, 2, host);
    Target working(2, 2);
    BackgroundRender background;
    background.draw(input, 1.0f);
    const Pixels workingForm = working.pixels();
    ExpectNear(BackgroundModel(host, 1.0), workingForm);

    Target back(2, 2);
    ScreenRender screen;
    screen.draw(working.texture(), 1.0f);
    const Pixels roundTrip = back.pixels();
    ExpectNear(ScreenModel(workingForm, 1.0), roundTrip);
    EXPECT_EQ(Pixels(host.begin() + 4, host.begin() + 8),
              Pixels(roundTrip.begin() + 4, roundTrip.begin() + 8))
        << "an opaque pixel survives the round trip exactly";

    glDeleteTextures(1, &input);
    EXPECT_NO_GL_ERROR();
}

} // namespace
