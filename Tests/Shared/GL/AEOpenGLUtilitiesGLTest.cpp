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

// The host's records and worlds, with the host's context current; the
// transfer reads back from a frame-buffer with the uploaded texture attached.
class PixelTransfer : public Brindel::Testing::GLTest {
protected:
    void SetUp() override {
        GLTest::SetUp();
        glGenFramebuffers(1, &framebuffer);
    }
    void TearDown() override {
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glDeleteFramebuffers(1, &framebuffer);
        for (GLuint texture : textures) {
            glDeleteTextures(1, &texture);
        }
        EXPECT_NO_GL_ERROR();
        EXPECT_EQ(host.liveHandles(), 0u);
        EXPECT_EQ(host.suites().outstanding(), 0);
        GLTest::TearDown();
    }

    GLuint upload(int format, World& input, unsigned long& size, GLenum& type, float& multiplier) {
        host.useWorlds(&input, nullptr);
        const GLuint texture = UploadTexture(format, input.effectWorld(), nullptr, &host.inData(),
                                             size, type, multiplier, false);
        textures.push_back(texture);
        return texture;
    }

    void readFrom(GLuint texture) {
        glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    }

    void download(int format, World& input, World& output, unsigned long size, GLenum type) {
        host.useWorlds(&input, &output);
        DownloadTexture(input.width(), input.height(), input.effectWorld(), output.effectWorld(),
                        &host.inData(), format, size, type);
    }

    // Level 0 of `texture` as floats, r, g, b, a.
    std::vector<float> texels(GLuint texture, int count) {
        std::vector<float> values(4 * count);
        glBindTexture(GL_TEXTURE_2D, texture);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_FLOAT, values.data());
        glBindTexture(GL_TEXTURE_2D, 0);
        return values;
    }

    EffectHost host{BRINDEL_PLUGIN_PATH};
    GLuint framebuffer = 0;
    std::vector<GLuint> textures;
};

// The integer a transfer throws; -1 when it throws nothing.
PF_Err ThrownCode(const std::function<void()>& transfer) {
    try {
        transfer();
    } catch (PF_Err err) {
        return err;
    }
    return -1;
}

GLint Integer(GLenum what) {
    GLint value = -1;
    glGetIntegerv(what, &value);
    return value;
}

template <typename Pixel> void Pattern(World& world, int seed) {
    for (A_long y = 0; y < world.height(); ++y) {
        auto* row = world.pixels<Pixel>(y);
        for (A_long x = 0; x < world.width(); ++x) {
            const int v = seed + 7 * x + 31 * y;
            using C = decltype(row->alpha);
            if constexpr (std::is_same_v<C, float>) {
                row[x] = {v * 0.01f, -v * 0.02f, v * 1.5f, 0.25f};
            } else {
                const int max = sizeof(C) == 1 ? 255 : 32768;
                row[x] = {static_cast<C>(v % (max + 1)), static_cast<C>((v * 3) % (max + 1)),
                          static_cast<C>((v * 5) % (max + 1)),
                          static_cast<C>((v * 11) % (max + 1))};
            }
        }
    }
}

} // namespace

TEST_F(PixelTransfer, WorldsOfEveryDepthRoundTripUnflippedAndKeepTheirPadding) {
    // 16-bit white (32768) scales to one through the multiplier; 8-bit and float go through
    // as they are, float by the host's iterator.
    struct Case {
        PF_PixelFormat format;
        int width, height, inPad, outPad;
        unsigned long size;
        GLenum type;
        uint32_t multiplierBits;
    };
    const Case cases[] = {
        {PF_PixelFormat_ARGB32, 13, 7, 3 * 4, 4, 4, GL_UNSIGNED_BYTE, 0x3F800000u},
        {PF_PixelFormat_ARGB64, 9, 5, 2 * 8, 8, 8, GL_UNSIGNED_SHORT, 0x3FFFFF00u},
        {PF_PixelFormat_ARGB128, 6, 4, 16, 32, 16, GL_FLOAT, 0x3F800000u},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.format);
        World input(c.width, c.height, c.format, c.inPad);
        World output(c.width, c.height, c.format, c.outPad);
        size_t pixelSize = 0;
        if (c.format == PF_PixelFormat_ARGB32) {
            Pattern<PF_Pixel8>(input, 1);
            pixelSize = sizeof(PF_Pixel8);
        } else if (c.format == PF_PixelFormat_ARGB64) {
            Pattern<PF_Pixel16>(input, 100);
            pixelSize = sizeof(PF_Pixel16);
        } else {
            Pattern<PF_PixelFloat>(input, 3);
            pixelSize = sizeof(PF_PixelFloat);
        }
        unsigned long size = 0;
        GLenum type = GL_NONE;
        float multiplier = 0;
        const GLuint texture = upload(c.format, input, size, type, multiplier);
        uint32_t bits = 0;
        std::memcpy(&bits, &multiplier, sizeof(bits));
        EXPECT_EQ(size, c.size);
        EXPECT_EQ(type, c.type);
        EXPECT_EQ(bits, c.multiplierBits);
        // Upload leaves no trace in the unpack state or the binding.
        EXPECT_EQ(Integer(GL_UNPACK_ROW_LENGTH), 0);
        EXPECT_EQ(Integer(GL_TEXTURE_BINDING_2D), 0);
        if (c.format == PF_PixelFormat_ARGB32) {
            // Memory order lands in r, g, b, a: alpha first, the first row first.
            const std::vector<float> t = texels(texture, 13 * 7);
            const PF_Pixel8& first = input.pixels<PF_Pixel8>(0)[0];
            EXPECT_FLOAT_EQ(t[0], first.alpha / 255.0f);
            EXPECT_FLOAT_EQ(t[1], first.red / 255.0f);
            EXPECT_FLOAT_EQ(t[4 * 13 * 6 + 3], input.pixels<PF_Pixel8>(6)[0].blue / 255.0f);
        }

        readFrom(texture);
        download(c.format, input, output, size, type);
        for (A_long y = 0; y < input.height(); ++y) {
            EXPECT_EQ(std::memcmp(input.row(y), output.row(y), input.width() * pixelSize), 0) << y;
        }
        EXPECT_TRUE(output.paddingIntact());
        EXPECT_EQ(Integer(GL_READ_BUFFER), static_cast<GLint>(GL_COLOR_ATTACHMENT0));
    }
    // The host's iterator failing is the transfer failing, with its code.
    World input(6, 4, PF_PixelFormat_ARGB128);
    unsigned long size = 0;
    GLenum type = GL_NONE;
    float multiplier = 0;
    host.fail(Callback::Iterate, PF_Interrupt_CANCEL);
    EXPECT_EQ(ThrownCode([&] { upload(PF_PixelFormat_ARGB128, input, size, type, multiplier); }),
              PF_Interrupt_CANCEL);
}

TEST_F(PixelTransfer, OpaqueBlackArrivesWithAlphaInTheRedSlotAtEveryDepth) {
    World eight(1, 1, PF_PixelFormat_ARGB32);
    World sixteen(1, 1, PF_PixelFormat_ARGB64);
    World full(1, 1, PF_PixelFormat_ARGB128);
    eight.pixels<PF_Pixel8>(0)[0] = {255, 0, 0, 0};
    sixteen.pixels<PF_Pixel16>(0)[0] = {32768, 0, 0, 0};
    full.pixels<PF_PixelFloat>(0)[0] = {1, 0, 0, 0};
    for (World* world : {&eight, &sixteen, &full}) {
        unsigned long size = 0;
        GLenum type = GL_NONE;
        float multiplier = 0;
        const GLuint texture = upload(world->format(), *world, size, type, multiplier);
        const std::vector<float> t = texels(texture, 1);
        EXPECT_NEAR(t[0] * multiplier, 1.0f, 1e-6) << world->format();
        EXPECT_EQ(t[1], 0.0f);
        EXPECT_EQ(t[2], 0.0f);
        EXPECT_EQ(t[3], 0.0f);
    }
}

TEST_F(PixelTransfer, FailuresThrowAndLeaveNothingBehind) {
    World input(4, 4, PF_PixelFormat_ARGB32);
    World output(4, 4, PF_PixelFormat_ARGB32);
    unsigned long size = 4;
    GLenum type = GL_UNSIGNED_BYTE;
    float multiplier = 0;
    GLCallRecorder recorder;
    for (int format : {0, static_cast<int>(PF_PixelFormat_BGRA32)}) {
        host.useWorlds(&input, &output);
        EXPECT_EQ(ThrownCode([&] {
                      UploadTexture(format, input.effectWorld(), nullptr, &host.inData(), size,
                                    type, multiplier, false);
                  }),
                  PF_Err_BAD_CALLBACK_PARAM);
        EXPECT_EQ(ThrownCode([&] {
                      DownloadTexture(4, 4, input.effectWorld(), output.effectWorld(),
                                      &host.inData(), format, size, type);
                  }),
                  PF_Err_BAD_CALLBACK_PARAM);
    }
    // A pixel start the host does not give, on a world of another depth.
    World deep(4, 4, PF_PixelFormat_ARGB64);
    host.useWorlds(&deep, nullptr);
    EXPECT_EQ(ThrownCode([&] {
                  UploadTexture(PF_PixelFormat_ARGB32, deep.effectWorld(), nullptr, &host.inData(),
                                size, type, multiplier, false);
              }),
              PF_Err_BAD_CALLBACK_PARAM);
    // Textures made on the way are deleted, and nothing stays bound.
    EXPECT_EQ(recorder.names("glGenTextures"), recorder.names("glDeleteTextures"));
    EXPECT_EQ(Integer(GL_TEXTURE_BINDING_2D), 0);
    EXPECT_EQ(Integer(GL_UNPACK_ROW_LENGTH), 0);

    // No handle for the read-back.
    host.fail(Callback::NewHandle, 1);
    EXPECT_EQ(ThrownCode([&] { download(PF_PixelFormat_ARGB32, input, output, size, type); }),
              PF_Err_OUT_OF_MEMORY);
}

TEST_F(PixelTransfer, OutputOfNoRowsCopiesNothingAndStillDisposesTheHandle) {
    World input(3, 3, PF_PixelFormat_ARGB32);
    World output(3, 0, PF_PixelFormat_ARGB32);
    unsigned long size = 0;
    GLenum type = GL_NONE;
    float multiplier = 0;
    readFrom(upload(PF_PixelFormat_ARGB32, input, size, type, multiplier));
    download(PF_PixelFormat_ARGB32, input, output, size, type);
    EXPECT_EQ(host.calls(Callback::NewHandle), 1);
    EXPECT_EQ(host.liveHandles(), 0u);
}

TEST_F(PixelTransfer, FramebufferStatusReadsAsText) {
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    EXPECT_EQ(CheckFramebufferStatus(), "Framebuffer incomplete, missing attachment!");
    World input(2, 2, PF_PixelFormat_ARGB32);
    unsigned long size = 0;
    GLenum type = GL_NONE;
    float multiplier = 0;
    readFrom(upload(PF_PixelFormat_ARGB32, input, size, type, multiplier));
    EXPECT_EQ(CheckFramebufferStatus(), "OK");
    // The default frame-buffer of a context with no surface is undefined.
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    EXPECT_EQ(CheckFramebufferStatus(), "Unknown error!");
}
