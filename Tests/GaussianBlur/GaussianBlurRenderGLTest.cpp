// Frames end to end: the host sends the effect its commands and worlds, and
// the result is compared with an independent CPU model of the chain.
#include <gtest/gtest.h>

#include <glbinding/gl/gl.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "AEOpenGLContext.h"
#include "AEOpenGLUtilities.h"
#include "AEOpenglMainFrameBuffer.h"
#include "AE_EffectCBSuites.h"
#include "AE_GeneralPlug.h"
#include "BlurModel.h"
#include "EffectHost.h"
#include "GLCallRecorder.h"
#include "GLTest.h"
#include "GaussianBlurRender.h"

using Brindel::GaussianBlur::AEOpenGLContext;
using Brindel::GaussianBlur::AEOpenglMainFrameBuffer;
using Brindel::GaussianBlur::GaussianBlurRender;
namespace AEOpenGLUtilities = Brindel::GaussianBlur::AEOpenGLUtilities;
using Brindel::Host::Callback;
using Brindel::Host::EffectHost;
using Brindel::Host::SuiteFault;
using Brindel::Host::World;
using Brindel::Testing::BlurModel;
using Brindel::Testing::GLCallRecorder;

// Whole pixels compare equal byte for byte; found by argument lookup for the
// host's pixel type.
static bool operator==(const PF_Pixel8& a, const PF_Pixel8& b) {
    return std::memcmp(&a, &b, sizeof(PF_Pixel8)) == 0;
}

namespace {

using Pixels = std::vector<PF_Pixel8>;

A_u_char Byte(int v) {
    return static_cast<A_u_char>(v);
}

// Test images, top row first. "gradient" shows a flip or a mirror, "noise"
// every tap's weight, "transparency" opaque, partly and fully transparent
// regions with colour kept under zero alpha.
Pixels Image(const std::string& name, int w, int h) {
    std::mt19937 random(7);
    Pixels p;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const int across = 255 * x / (w - 1);
            if (name == "gradient") {
                p.push_back({255, Byte(across), Byte(255 * y / (h - 1)), Byte(255 - across)});
            } else if (name == "noise") {
                p.push_back(
                    {255, Byte(random() % 256), Byte(random() % 256), Byte(random() % 256)});
            } else {
                const int alpha = x < w / 3 ? 0 : x < 2 * w / 3 ? y * 2 : 255;
                p.push_back({Byte(alpha), Byte(random() % 256), 200, Byte(x)});
            }
        }
    }
    return p;
}

void Fill(World& world, const Pixels& pixels) {
    for (A_long y = 0; y < world.height(); ++y) {
        std::memcpy(world.row(y), &pixels[static_cast<size_t>(y) * world.width()],
                    world.width() * sizeof(PF_Pixel8));
    }
}

Pixels Read(const World& world) {
    Pixels pixels;
    for (A_long y = 0; y < world.height(); ++y) {
        const PF_Pixel8* row = world.pixels<PF_Pixel8>(y);
        pixels.insert(pixels.end(), row, row + world.width());
    }
    return pixels;
}

int Premultiplied(A_u_char colour, A_u_char alpha) {
    return static_cast<int>(std::lround(colour * alpha / 255.0));
}

// Within one level in alpha and in premultiplied colour, in straight colour
// where the pixel is opaque, and no colour left under zero alpha; returns the
// number of pixels outside, and the index of the first.
int CountMismatches(const Pixels& got, const Pixels& want, size_t& first) {
    int bad = 0;
    for (size_t i = 0; i < got.size(); ++i) {
        const PF_Pixel8 &g = got[i], &w = want[i];
        bool ok = std::abs(g.alpha - w.alpha) <= 1 && (g.alpha > 0 || g == PF_Pixel8{});
        for (auto channel : {&PF_Pixel8::red, &PF_Pixel8::green, &PF_Pixel8::blue}) {
            ok = ok && std::abs(Premultiplied(g.*channel, g.alpha) -
                                Premultiplied(w.*channel, w.alpha)) <= 1;
            ok = ok && (g.alpha < 255 || w.alpha < 255 || std::abs(g.*channel - w.*channel) <= 1);
        }
        first = !ok && bad++ == 0 ? i : first;
    }
    return bad;
}

// Plays the host through a session: set up before each test, set down after
// it, with the host's GL context checked after every command.
class GaussianBlurFrame : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
        ASSERT_EQ(send(PF_Cmd_PARAMS_SETUP), PF_Err_NONE);
    }

    void TearDown() override {
        EXPECT_EQ(send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
        EXPECT_EQ(host.suites().outstanding(), 0) << "a suite was not released";
        EXPECT_EQ(host.paramsOut(), 0) << "a parameter was not checked in";
        EXPECT_EQ(host.liveHandles(), 0u) << "a handle was not disposed of";
    }

    PF_Err send(PF_Cmd cmd) {
        const PF_Err err = host.send(cmd);
        EXPECT_TRUE(host.glContext().isCurrent()) << "after command " << cmd;
        return err;
    }

    // Renders with "Blur Scale" at `blur`, and feeds the same value to the
    // model's own kernel object, which then has the effect's history.
    PF_Err render(World& input, World& output, double blur) {
        host.setParamValue(1, blur);
        shadow.setBlurScale(blur / static_cast<float>(host.inData().downsample_x.den));
        const PF_Err err = host.smartRender(input, output);
        EXPECT_TRUE(host.glContext().isCurrent()) << "after a frame";
        return err;
    }

    Pixels renderPixels(const Pixels& pixels, int w, int h, double blur) {
        World input(w, h, PF_PixelFormat_ARGB32);
        World output(w, h, PF_PixelFormat_ARGB32);
        Fill(input, pixels);
        EXPECT_EQ(render(input, output, blur), PF_Err_NONE);
        return Read(output);
    }

    EffectHost host{BRINDEL_PLUGIN_PATH};
    GaussianBlurRender shadow;
};

} // namespace

class GaussianBlurModel : public GaussianBlurFrame,
                          public ::testing::WithParamInterface<const char*> {};

TEST_P(GaussianBlurModel, FramesMatchTheCpuModelWithinOneLevel) {
    const std::string name = GetParam();
    constexpr int kWidth = 257;
    constexpr int kHeight = 131;
    const Pixels pixels = Image(name, kWidth, kHeight);
    // Padded rows in both worlds, of different lengths.
    World input(kWidth, kHeight, PF_PixelFormat_ARGB32, 3 * 4);
    World output(kWidth, kHeight, PF_PixelFormat_ARGB32, 5 * 4);
    Fill(input, pixels);
    for (double blur : {0.0, 0.49, 0.5, 1.0, 2.0, 3.0, 6.0, 7.0, 10.0, 30.0, 60.0}) {
        ASSERT_EQ(render(input, output, blur), PF_Err_NONE) << "blur " << blur;
        const BlurModel::Kernel kernel =
            BlurModel::ReadKernel(shadow.getVertexFunction(), shadow.getFragmentFunction());
        size_t first = 0;
        EXPECT_EQ(CountMismatches(Read(output), BlurModel::Render(pixels, kWidth, kHeight, kernel),
                                  first),
                  0)
            << name << ", blur " << blur << ", first at pixel " << first % kWidth << ", "
            << first / kWidth;
        EXPECT_TRUE(output.paddingIntact() && input.paddingIntact()) << "blur " << blur;
    }
}

INSTANTIATE_TEST_SUITE_P(Images, GaussianBlurModel,
                         ::testing::Values("gradient", "noise", "transparency"));

// The GL half of a frame as the effect runs it, with the stack's levels in
// either mode.
Pixels RenderLevels(GaussianBlurRender& render, const Pixels& pixels, int w, int h, double blur,
                    bool multisampled) {
    AEOpenglMainFrameBuffer* stack = AEOpenglMainFrameBuffer::mainFrameBuffer();
    stack->unprepare();
    stack->prepare(w, h, multisampled);
    stack->beginDrawing();
    render.setBlurScale(blur);
    AEOpenGLUtilities::HostRows rows;
    rows.start = const_cast<PF_Pixel8*>(pixels.data());
    rows.rowbytes = w * static_cast<A_long>(sizeof(PF_Pixel8));
    rows.width = w;
    rows.height = h;
    unsigned long pixelSize = 0;
    gl::GLenum type = gl::GL_NONE;
    float multiplier = 0.0f;
    const unsigned int texture = stack->frameInputTexture();
    AEOpenGLUtilities::UploadRowsInto(texture, PF_PixelFormat_ARGB32, rows, pixelSize, type,
                                      multiplier);
    render.draw(texture, multiplier);
    stack->endDrawing(multiplier);
    Pixels result(pixels.size());
    AEOpenGLUtilities::ReadFrame(w, h, type, result.data());
    return result;
}

using LevelModes = Brindel::Testing::GLTest;

// Every pass draws one quad over the whole level, so all samples of a pixel
// hold one value and single-sampled levels give the multisampled frame: at
// every blur branch (none, below one half, one, even, odd, a downsampled half
// pixel, the largest), odd sizes and alpha edges.
TEST_F(LevelModes, SingleSampledLevelsGiveTheMultisampledFramesByteForByte) {
    AEOpenGLContext context(nullptr);
    context.makeContextCurrent();
    {
        GaussianBlurRender render;
        GLCallRecorder recorder; // the two modes do take different roads
        struct Size {
            const char* image;
            int w, h;
        };
        for (const auto& [image, w, h] : {Size{"gradient", 257, 131}, Size{"noise", 33, 17},
                                          Size{"transparency", 96, 61}, Size{"gradient", 7, 300}}) {
            const Pixels pixels = Image(image, w, h);
            for (const double blur : {0.0, 0.4, 1.0, 3.0, 7.0, 3.5, 60.0}) {
                recorder.clear();
                const Pixels multi = RenderLevels(render, pixels, w, h, blur, true);
                EXPECT_GT(recorder.count("glBlitFramebuffer"), 0u);
                recorder.clear();
                EXPECT_TRUE(RenderLevels(render, pixels, w, h, blur, false) == multi)
                    << image << " " << w << "x" << h << " at blur " << blur;
                EXPECT_EQ(recorder.count("glBlitFramebuffer") +
                              recorder.count("glRenderbufferStorageMultisample"),
                          0u);
            }
        }
        AEOpenglMainFrameBuffer::mainFrameBuffer()->destory();
    }
    EXPECT_NO_GL_ERROR();
}

// ---- What a host relies on ----

TEST_F(GaussianBlurFrame, DownsampleDividesTheRadius) {
    const Pixels pixels = Image("noise", 64, 48);
    const Pixels unblurred = renderPixels(pixels, 64, 48, 0.0);
    const Pixels tenPixels = renderPixels(pixels, 64, 48, 10.0);

    // At a quarter, a value of 1 is a quarter pixel and rounds to no blur.
    host.inData().downsample_x = {1, 4};
    host.inData().downsample_y = {1, 4};
    EXPECT_EQ(renderPixels(pixels, 64, 48, 1.0), unblurred);

    // Only the horizontal denominator counts, for both directions.
    host.inData().downsample_x = {1, 2};
    host.inData().downsample_y = {1, 1};
    EXPECT_EQ(renderPixels(pixels, 64, 48, 20.0), tenPixels);
}

TEST_F(GaussianBlurFrame, FailedParameterCheckoutGivesAnUnblurredFrameAndTheHostsCode) {
    const Pixels pixels = Image("noise", 32, 16);
    const Pixels unblurred = renderPixels(pixels, 32, 16, 0.0);
    World input(32, 16, PF_PixelFormat_ARGB32);
    World output(32, 16, PF_PixelFormat_ARGB32);
    Fill(input, pixels);
    // The parameter is checked in after a failed check-out too, and the
    // check-out's code wins.
    struct Case {
        PF_Err checkout, checkin;
    };
    for (const Case& c :
         {Case{PF_Interrupt_CANCEL, PF_Err_NONE}, Case{PF_Err_NONE, PF_Err_OUT_OF_MEMORY},
          Case{PF_Interrupt_CANCEL, PF_Err_OUT_OF_MEMORY}}) {
        host.clearFaults();
        host.fail(Callback::CheckoutParam, c.checkout);
        host.fail(Callback::CheckinParam, c.checkin);
        const int checkins = host.calls(Callback::CheckinParam);
        EXPECT_EQ(render(input, output, 25.0 * (c.checkout != PF_Err_NONE)),
                  c.checkout != PF_Err_NONE ? c.checkout : c.checkin);
        EXPECT_EQ(Read(output), unblurred);
        EXPECT_EQ(host.calls(Callback::CheckinParam), checkins + 1);
    }

    // A check-out that throws hands nothing out: the frame fails with the
    // exception's code and nothing is checked in for it.
    host.clearFaults();
    host.raise(Callback::CheckoutParam, std::make_exception_ptr(std::bad_alloc()));
    const int checkins = host.calls(Callback::CheckinParam);
    EXPECT_EQ(render(input, output, 0.0), PF_Err_OUT_OF_MEMORY);
    EXPECT_EQ(host.calls(Callback::CheckinParam), checkins);
}

// Frame-sized storage made and freed every frame makes the driver hand it back
// to the process's allocator, whose heap then grows without bound in a long
// run.
TEST_F(GaussianBlurFrame, SteadyFramesMakeNoGLObjectAndOnlyAChangeRebuildsWhatItChanges) {
    World input(40, 30, PF_PixelFormat_ARGB32), output(40, 30, PF_PixelFormat_ARGB32);
    Fill(input, Image("gradient", 40, 30));
    // Plus 0.2: the same rounded radius; not a number is as unchanged as any
    // other.
    for (const double blur : {std::numeric_limits<double>::quiet_NaN(), 0.0, 7.6}) {
        ASSERT_EQ(render(input, output, blur), PF_Err_NONE);
        GLCallRecorder recorder;
        for (int i = 0; i < 20; ++i) {
            ASSERT_EQ(render(input, output, blur + (i % 2) * 0.2), PF_Err_NONE);
        }
        for (const char* call :
             {"glGenTextures", "glGenRenderbuffers", "glGenFramebuffers", "glGenVertexArrays",
              "glGenBuffers", "glCreateProgram", "glCompileShader", "glTexImage2D",
              "glCopyTexImage2D", "glRenderbufferStorage", "glRenderbufferStorageMultisample",
              "glBufferData", "glDeleteTextures", "glDeleteRenderbuffers"}) {
            EXPECT_EQ(recorder.count(call), 0u) << call << " at blur " << blur;
        }
        // Per frame: the bottom level's passes, and one level pushed by the blur.
        EXPECT_EQ(recorder.count("glDrawArrays"), blur > 0 ? 60u : 40u);
    }
    GLCallRecorder recorder;
    // Another size remakes the frame-buffer objects but not the programs.
    World wider(41, 30, PF_PixelFormat_ARGB32), widerOut(41, 30, PF_PixelFormat_ARGB32);
    ASSERT_EQ(render(wider, widerOut, 8.0), PF_Err_NONE);
    EXPECT_GT(recorder.count("glGenFramebuffers"), 0u);
    EXPECT_EQ(recorder.count("glCreateProgram"), 0u);
    // Another rounded blur makes one new program, and no blur draws once.
    recorder.clear();
    ASSERT_EQ(render(wider, widerOut, 0.2), PF_Err_NONE);
    EXPECT_EQ(recorder.count("glCreateProgram"), 1u);
    EXPECT_EQ(recorder.count("glDrawArrays"), 2u);
}

// A frame that fails, is refused or is empty returns its code, leaks nothing
// and leaves the stack balanced for the next frame.
TEST_F(GaussianBlurFrame, FailedAndEmptyFramesReturnTheirCodesAndLeaveTheNextFrameIntact) {
    const Pixels pixels = Image("transparency", 24, 20);
    const Pixels good = renderPixels(pixels, 24, 20, 4.0);
    // The plug-in's contexts come from the same driver as the host's.
    gl::GLint maxSize = 0;
    gl::glGetIntegerv(gl::GL_MAX_TEXTURE_SIZE, &maxSize);
    ASSERT_GT(maxSize, 0);
    struct Case {
        const char* what;
        std::function<void()> arm;
        PF_Err expected;
        int w = 24, h = 20;
    };
    auto missing = [&](const char* suite, int version) {
        return
            [this, suite, version] { host.suites().setFault(suite, version, SuiteFault::Missing); };
    };
    auto failing = [&](Callback callback, PF_Err err) {
        return [this, callback, err] { host.fail(callback, err); };
    };
    const Case cases[] = {
        {"no layer pixels", failing(Callback::CheckoutLayerPixels, PF_Interrupt_CANCEL),
         PF_Interrupt_CANCEL},
        {"no output", failing(Callback::CheckoutOutput, PF_Err_OUT_OF_MEMORY),
         PF_Err_OUT_OF_MEMORY},
        {"null worlds", [&] { host.giveNullWorlds(true); }, PF_Err_BAD_CALLBACK_PARAM},
        {"no interface suite", missing(kAEGPPFInterfaceSuite, 1), PF_Err_BAD_CALLBACK_PARAM},
        {"no layer suite", missing(kAEGPLayerSuite, 11), PF_Err_BAD_CALLBACK_PARAM},
        {"no item suite", missing(kAEGPItemSuite, 10), PF_Err_BAD_CALLBACK_PARAM},
        {"no read-back handle", failing(Callback::NewHandle, 1), PF_Err_BAD_CALLBACK_PARAM},
        {"no handle suite", missing(kPFHandleSuite, 2), PF_Err_BAD_CALLBACK_PARAM},
        {"no pixel start", failing(Callback::GetPixelData8, PF_Err_INVALID_INDEX),
         PF_Err_BAD_CALLBACK_PARAM},
        {"too wide", [] {}, PF_Err_BAD_CALLBACK_PARAM, maxSize + 1, 2},
        {"too tall", [] {}, PF_Err_BAD_CALLBACK_PARAM, 2, maxSize + 1},
        {"empty", [] {}, PF_Err_NONE, 0, 0},
        {"no rows", [] {}, PF_Err_NONE, 7, 0},
        {"no columns", [] {}, PF_Err_NONE, 0, 5},
    };
    for (const Case& c : cases) {
        World input(c.w, c.h, PF_PixelFormat_ARGB32), output(c.w, c.h, PF_PixelFormat_ARGB32);
        c.arm();
        GLCallRecorder recorder;
        EXPECT_EQ(render(input, output, 4.0), c.expected) << c.what;
        // None of these makes a GL object, and a frame failing inside GL frees what
        // it made.
        EXPECT_EQ(recorder.count("glGenTextures") + recorder.count("glGenRenderbuffers"), 0u)
            << c.what;
        host.clearFaults();
        host.giveNullWorlds(false);
        EXPECT_EQ(host.suites().outstanding(), 0) << c.what;
        EXPECT_EQ(host.liveHandles(), 0u) << c.what;
        EXPECT_EQ(renderPixels(pixels, 24, 20, 4.0), good) << c.what;
        // Refused sizes drop the stack's objects, which the next frame makes again.
        if (c.w == 24) {
            EXPECT_EQ(recorder.count("glGenTextures"), recorder.count("glDeleteTextures"))
                << c.what;
            EXPECT_EQ(recorder.count("glGenRenderbuffers"), recorder.count("glDeleteRenderbuffers"))
                << c.what;
        }
    }
}

TEST_F(GaussianBlurFrame, OutputLargerThanInputIsWrittenOnlyWhereTheInputIs) {
    World input(10, 6, PF_PixelFormat_ARGB32), output(14, 9, PF_PixelFormat_ARGB32);
    Fill(input, Image("gradient", 10, 6));
    for (A_long y = 0; y < output.height(); ++y) {
        std::memset(output.row(y), 0x77, output.rowbytes());
    }
    ASSERT_EQ(render(input, output, 0.0), PF_Err_NONE);
    const Pixels out = Read(output);
    EXPECT_EQ(out[9].red, 255) << "the input's last column is written";
    for (size_t i = 0; i < out.size(); ++i) {
        EXPECT_TRUE((i % 14 < 10 && i / 14 < 6) || out[i].alpha == 0x77)
            << i % 14 << ", " << i / 14;
    }
}

TEST_F(GaussianBlurFrame, FramesFromSeveralThreadsMatchOneThread) {
    constexpr int w = 48, h = 36;
    const Pixels pixels = Image("transparency", w, h);
    const Pixels single = renderPixels(pixels, w, h, 5.0);
    std::atomic<int> wrong{0};
    const auto frames = [&](int count) {
        World input(w, h, PF_PixelFormat_ARGB32), output(w, h, PF_PixelFormat_ARGB32);
        Fill(input, pixels);
        for (int i = 0; i < count; ++i) {
            wrong += host.smartRender(input, output) != PF_Err_NONE || Read(output) != single ||
                     !host.glContext().isCurrent();
        }
    };
    for (int i = 0; i < 8; ++i) { // in turn: each frame from a thread of its own
        std::thread(frames, 1).join();
    }
    std::vector<std::thread> threads; // at once: four threads, several frames each
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back(frames, 5);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}
