#include "AEOpenGLUtilities.h"

#include <glbinding/gl/gl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include "AE_EffectPixelFormat.h"
#include "EffectHost.h"
#include "GLCallRecorder.h"
#include "GLTest.h"

using namespace gl;
using namespace Brindel::GaussianBlur::AEOpenGLUtilities;
using Brindel::Host::Callback;
using Brindel::Host::EffectHost;
using Brindel::Host::World;
using Brindel::Testing::GLCallRecorder;

namespace {

// The host's records and worlds, with the host's context current. Every test ends with no
// GL error, no handle and no suite left over.
class PixelTransfer : public Brindel::Testing::GLTest {
protected:
    void TearDown() override {
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glDeleteFramebuffers(1, &framebuffer);
        glDeleteTextures(1, &texture);
        EXPECT_NO_GL_ERROR();
        EXPECT_TRUE(host.liveHandles() == 0 && host.suites().outstanding() == 0);
        GLTest::TearDown();
    }

    // Uploads `input` and attaches the texture for reading; its integer code, -1 when none.
    PF_Err upload(int format, World& input) {
        host.useWorlds(&input, nullptr);
        return thrown([&] {
            texture = UploadTexture(format, input.effectWorld(), nullptr, &host.inData(), size,
                                    type, multiplier, false);
            glGenFramebuffers(1, &framebuffer);
            glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
            glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
        });
    }

    PF_Err download(int format, World& input, World& output) {
        host.useWorlds(&input, &output);
        return thrown([&] {
            DownloadTexture(input.width(), input.height(), input.effectWorld(),
                            output.effectWorld(), &host.inData(), format, size, type);
        });
    }

    static PF_Err thrown(const std::function<void()>& transfer) {
        try {
            transfer();
        } catch (PF_Err err) {
            return err;
        }
        return -1;
    }

    EffectHost host{BRINDEL_PLUGIN_PATH};
    GLuint framebuffer = 0, texture = 0;
    unsigned long size = 0;
    GLenum type = GL_NONE;
    float multiplier = 0;
};

GLint Integer(GLenum what) {
    GLint value = -1;
    glGetIntegerv(what, &value);
    return value;
}

// Distinct values in every channel; returns the first pixel's alpha and red, from 0 to 1.
template <typename Pixel> std::pair<float, float> Pattern(World& world, float max) {
    for (A_long y = 0; y < world.height(); ++y) {
        for (A_long x = 0; x < world.width(); ++x) {
            const int v = 1 + 7 * x + 31 * y;
            using C = decltype(Pixel::alpha);
            const auto at = [max, v](int k) {
                return static_cast<C>(max == 1 ? v * k * 0.01f : (v * k) % int(max + 1));
            };
            world.pixels<Pixel>(y)[x] = {at(11), at(1), at(3), at(5)};
        }
    }
    const Pixel& first = world.pixels<Pixel>(0)[0];
    return {first.alpha / max, first.red / max};
}

} // namespace

TEST_F(PixelTransfer, WorldsOfEveryDepthRoundTripUnflippedAlphaFirstAndKeepTheirPadding) {
    // 16-bit white (32768) scales to one through the multiplier; 8-bit and float go through as
    // they are, float by the host's iterator.
    struct Case {
        PF_PixelFormat format;
        int width, height, inPad, outPad;
        unsigned long size;
        GLenum type;
        float multiplier; // compared exactly
    };
    const Case cases[] = {
        {PF_PixelFormat_ARGB32, 13, 7, 3 * 4, 4, 4, GL_UNSIGNED_BYTE, 1.0f},
        {PF_PixelFormat_ARGB64, 9, 5, 2 * 8, 8, 8, GL_UNSIGNED_SHORT, 65535.0f / 32768},
        {PF_PixelFormat_ARGB128, 6, 4, 16, 32, 16, GL_FLOAT, 1.0f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.format);
        World input(c.width, c.height, c.format, c.inPad);
        World output(c.width, c.height, c.format, c.outPad);
        const auto first = c.format == PF_PixelFormat_ARGB32   ? Pattern<PF_Pixel8>(input, 255)
                           : c.format == PF_PixelFormat_ARGB64 ? Pattern<PF_Pixel16>(input, 32768)
                                                               : Pattern<PF_PixelFloat>(input, 1);
        ASSERT_EQ(upload(c.format, input), -1);
        EXPECT_TRUE(size == c.size && type == c.type && multiplier == c.multiplier);
        // Memory order lands in r, g, b, a: alpha in the red slot, the first row first.
        std::vector<float> t(4 * c.width * c.height);
        glBindTexture(GL_TEXTURE_2D, texture);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_FLOAT, t.data());
        glBindTexture(GL_TEXTURE_2D, 0);
        EXPECT_NEAR(t[0] * multiplier, first.first, 1e-6);
        EXPECT_NEAR(t[1] * multiplier, first.second, 1e-6);
        EXPECT_EQ(download(c.format, input, output), -1);
        for (A_long y = 0; y < input.height(); ++y) {
            EXPECT_EQ(std::memcmp(input.row(y), output.row(y), size * input.width()), 0) << y;
        }
        EXPECT_TRUE(output.paddingIntact());
        EXPECT_EQ(Integer(GL_READ_BUFFER), static_cast<GLint>(GL_COLOR_ATTACHMENT0));
        glDeleteTextures(1, &texture);
        glDeleteFramebuffers(1, &framebuffer);
    }
}

TEST_F(PixelTransfer, FailuresThrowTheirCodesAndLeaveNothingBehind) {
    World input(4, 4, PF_PixelFormat_ARGB32), output(4, 4, PF_PixelFormat_ARGB32);
    World deep(4, 4, PF_PixelFormat_ARGB64), floats(6, 4, PF_PixelFormat_ARGB128);
    World noRows(4, 0, PF_PixelFormat_ARGB32);
    size = 4, type = GL_UNSIGNED_BYTE;
    GLCallRecorder recorder;
    for (int format : {0, static_cast<int>(PF_PixelFormat_BGRA32)}) {
        EXPECT_EQ(upload(format, input), PF_Err_BAD_CALLBACK_PARAM);
        EXPECT_EQ(download(format, input, output), PF_Err_BAD_CALLBACK_PARAM);
    }
    EXPECT_EQ(upload(PF_PixelFormat_ARGB32, deep), PF_Err_BAD_CALLBACK_PARAM); // no pixel start
    host.fail(Callback::Iterate, PF_Interrupt_CANCEL); // the host's iterator fails: its code
    EXPECT_EQ(upload(PF_PixelFormat_ARGB128, floats), PF_Interrupt_CANCEL);
    // Textures made on the way are deleted, and nothing stays bound or set for unpacking.
    EXPECT_EQ(recorder.names("glGenTextures"), recorder.names("glDeleteTextures"));
    EXPECT_TRUE(Integer(GL_TEXTURE_BINDING_2D) == 0 && Integer(GL_UNPACK_ROW_LENGTH) == 0);
    // An output of no rows copies nothing, but the handle is still made and disposed of.
    EXPECT_EQ(upload(PF_PixelFormat_ARGB32, input), -1);
    EXPECT_TRUE(Integer(GL_TEXTURE_BINDING_2D) == 0 && Integer(GL_UNPACK_ROW_LENGTH) == 0);
    EXPECT_EQ(CheckFramebufferStatus(), "OK");
    EXPECT_EQ(download(PF_PixelFormat_ARGB32, input, noRows), -1);
    EXPECT_EQ(host.calls(Callback::NewHandle), 1);
    host.fail(Callback::NewHandle, 1); // no handle for the read-back
    EXPECT_EQ(download(PF_PixelFormat_ARGB32, input, output), PF_Err_OUT_OF_MEMORY);
    glBindFramebuffer(GL_FRAMEBUFFER, 0); // no surface: the default frame-buffer is undefined
    EXPECT_EQ(CheckFramebufferStatus(), "Unknown error!");
}
