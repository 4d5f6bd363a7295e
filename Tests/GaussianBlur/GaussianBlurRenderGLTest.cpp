// Frames end to end: the host sends the effect its commands and worlds, and
// the result is compared with an independent CPU model of the chain.
#include <gtest/gtest.h>

#include <glbinding/gl/gl.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
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
#include "RandomFrame.h"

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

// Random colour over clear, opaque and partial alpha, top row first.
Pixels Frame(int w, int h) {
    const std::string bytes = Brindel::Testing::RandomFrame(w, h, 7);
    Pixels pixels(static_cast<size_t>(w) * h);
    std::memcpy(pixels.data(), bytes.data(), bytes.size());
    return pixels;
}

void Fill(World& world, const Pixels& pixels) {
    for (A_long y = 0; y < world.height(); ++y) {
        std::memcpy(world.row(y), pixels.data() + static_cast<size_t>(y) * world.width(),
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

// Within one level in alpha and in premultiplied colour, in straight colour
// where the pixel is opaque, and no colour left under zero alpha. Empty, or
// how many pixels are off and where the first is.
std::string Mismatches(const Pixels& got, const Pixels& want, int width) {
    const auto near = [](long a, long b) { return std::abs(a - b) <= 1; };
    int bad = 0;
    size_t first = 0;
    for (size_t i = 0; i < got.size(); ++i) {
        const PF_Pixel8 &g = got[i], &w = want[i];
        bool ok = near(g.alpha, w.alpha) && (g.alpha > 0 || g == PF_Pixel8{});
        for (auto channel : {&PF_Pixel8::red, &PF_Pixel8::green, &PF_Pixel8::blue}) {
            const auto premultiplied = [channel](const PF_Pixel8& p) {
                return std::lround(p.*channel * p.alpha / 255.0);
            };
            ok = ok && near(premultiplied(g), premultiplied(w)) &&
                 (g.alpha < 255 || w.alpha < 255 || near(g.*channel, w.*channel));
        }
        first = !ok && bad++ == 0 ? i : first;
    }
    return bad == 0 ? ""
                    : std::to_string(bad) + " off, first at " + std::to_string(first % width) +
                          ", " + std::to_string(first / width);
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

    PF_Err render(World& input, World& output, double blur) {
        host.setParamValue(1, blur);
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
};

} // namespace

// Worlds with padded rows of different lengths. Only the horizontal
// downsample divides the radius, in both directions; an output larger than
// the input is written only where the input is. The model's kernel is read
// from a kernel object given the same values, which then has the effect's
// history.
TEST_F(GaussianBlurFrame, FramesMatchTheCpuModelWithinOneLevel) {
    GaussianBlurRender shadow;
    struct Row {
        const char* what;
        std::vector<double> blurs;
        int w = 257, h = 131;
        A_long downsampleX = 1, downsampleY = 1;
        int larger = 0;  // the output this many pixels wider and taller
        int threads = 0; // more, rendering five frames each at once
    };
    const Row rows[] = {
        {"every blur branch", {0.0, 0.49, 0.5, 1.0, 2.0, 3.0, 6.0, 7.0, 10.0, 30.0, 60.0}},
        {"half horizontally", {20.0}, 64, 48, 2},
        {"a quarter, under half a pixel", {1.0}, 64, 48, 4, 4},
        {"a larger output", {0.0, 5.0}, 10, 6, 1, 1, 4},
        {"several threads", {5.0}, 48, 36, 1, 1, 0, 4},
    };
    constexpr PF_Pixel8 kOld{0x77, 0x77, 0x77, 0x77};
    for (const Row& r : rows) {
        const Pixels pixels = Frame(r.w, r.h);
        host.inData().downsample_x = {1, static_cast<A_u_long>(r.downsampleX)};
        host.inData().downsample_y = {1, static_cast<A_u_long>(r.downsampleY)};
        const int outW = r.w + r.larger, outH = r.h + r.larger;
        for (double blur : r.blurs) {
            const std::string what = std::string(r.what) + ", blur " + std::to_string(blur);
            host.setParamValue(1, blur);
            shadow.setBlurScale(blur / r.downsampleX);
            const Pixels model = BlurModel::Render(
                pixels, r.w, r.h,
                BlurModel::ReadKernel(shadow.getVertexFunction(), shadow.getFragmentFunction()));
            Pixels want(static_cast<size_t>(outW) * outH, kOld);
            for (int y = 0; y < r.h; ++y) {
                std::copy_n(&model[static_cast<size_t>(y) * r.w], r.w, &want[y * outW]);
            }
            const auto frames = [&](int count) {
                for (int i = 0; i < count; ++i) {
                    World input(r.w, r.h, PF_PixelFormat_ARGB32, 3 * 4);
                    World output(outW, outH, PF_PixelFormat_ARGB32, 5 * 4);
                    Fill(input, pixels);
                    Fill(output, Pixels(want.size(), kOld));
                    EXPECT_EQ(host.smartRender(input, output), PF_Err_NONE) << what;
                    EXPECT_TRUE(host.glContext().isCurrent()) << what;
                    EXPECT_EQ(Mismatches(Read(output), want, outW), "") << what;
                    EXPECT_TRUE(output.paddingIntact() && input.paddingIntact()) << what;
                }
            };
            std::vector<std::thread> threads;
            for (int t = 0; t < r.threads; ++t) {
                threads.emplace_back(frames, 5);
            }
            frames(1);
            for (std::thread& thread : threads) {
                thread.join();
            }
        }
    }
}

// The GL half of a frame as the effect runs it, with the stack's levels in
// either mode.
Pixels RenderLevels(GaussianBlurRender& render, const Pixels& pixels, int w, int h, double blur,
                    bool multisampled) {
    AEOpenglMainFrameBuffer* stack = AEOpenglMainFrameBuffer::mainFrameBuffer();
    stack->unprepare();
    stack->prepare(w, h, multisampled);
    stack->beginDrawing();
    render.setBlurScale(blur);
    const AEOpenGLUtilities::HostRows rows{const_cast<PF_Pixel8*>(pixels.data()),
                                           w * static_cast<A_long>(sizeof(PF_Pixel8)), w, h};
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
// pixel, the largest), odd sizes and alpha edges. The frames are smooth: on
// per-pixel noise llvmpipe's two modes still differ by up to 3 levels, which
// the model comparison bounds for the mode the effect uses.
TEST_F(LevelModes, SingleSampledLevelsGiveTheMultisampledFramesByteForByte) {
    AEOpenGLContext context(nullptr);
    context.makeContextCurrent();
    {
        GaussianBlurRender render;
        GLCallRecorder recorder; // the two modes do take different roads
        for (const auto& [w, h] : {std::pair{257, 131}, {33, 17}, {96, 61}, {7, 300}}) {
            Pixels pixels; // smooth colour over clear, partial and opaque thirds
            for (int i = 0; i < w * h; ++i) {
                const int x = i % w, y = i / w;
                const int alpha = x < w / 3 ? 0 : x < 2 * w / 3 ? y * 255 / h : 255;
                pixels.push_back({A_u_char(alpha), A_u_char(255 * x / w), A_u_char(255 * y / h),
                                  A_u_char(255 - 255 * x / w)});
            }
            for (const double blur : {0.0, 0.4, 1.0, 3.0, 7.0, 3.5, 60.0}) {
                recorder.clear();
                const Pixels multi = RenderLevels(render, pixels, w, h, blur, true);
                EXPECT_GT(recorder.count("glBlitFramebuffer"), 0u);
                recorder.clear();
                EXPECT_TRUE(RenderLevels(render, pixels, w, h, blur, false) == multi)
                    << w << "x" << h << " at blur " << blur;
                EXPECT_EQ(recorder.count("glBlitFramebuffer") +
                              recorder.count("glRenderbufferStorageMultisample"),
                          0u);
            }
        }
        AEOpenglMainFrameBuffer::mainFrameBuffer()->destory();
    }
    EXPECT_NO_GL_ERROR();
}

// Frame-sized storage made and freed every frame makes the driver hand it back
// to the process's allocator, whose heap then grows without bound in a long
// run.
TEST_F(GaussianBlurFrame, SteadyFramesMakeNoGLObjectAndOnlyAChangeRebuildsWhatItChanges) {
    World input(40, 30, PF_PixelFormat_ARGB32), output(40, 30, PF_PixelFormat_ARGB32);
    Fill(input, Frame(40, 30));
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
// and leaves the stack balanced for the next frame. The parameter is checked
// in after a failed check-out too, whose code wins, and the frame is drawn
// unblurred.
TEST_F(GaussianBlurFrame, FailedAndEmptyFramesReturnTheirCodesAndLeaveTheNextFrameIntact) {
    const Pixels pixels = Frame(24, 20);
    const Pixels unblurred = renderPixels(pixels, 24, 20, 0.0);
    const Pixels blurred = renderPixels(pixels, 24, 20, 4.0);
    // The plug-in's contexts come from the same driver as the host's.
    gl::GLint maxSize = 0;
    gl::glGetIntegerv(gl::GL_MAX_TEXTURE_SIZE, &maxSize);
    ASSERT_GT(maxSize, 0);
    struct Case {
        const char* what;
        std::function<void()> arm;
        PF_Err expected;
        const Pixels* drawn = nullptr; // what the output holds, where that is promised
        int checkins = -1;             // parameter check-ins, where counted
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
        {"parameter check-out cancelled", failing(Callback::CheckoutParam, PF_Interrupt_CANCEL),
         PF_Interrupt_CANCEL, &unblurred, 1},
        {"parameter check-in fails", failing(Callback::CheckinParam, PF_Err_OUT_OF_MEMORY),
         PF_Err_OUT_OF_MEMORY, &blurred, 1},
        {"parameter check-out and check-in fail",
         [&] {
             host.fail(Callback::CheckoutParam, PF_Interrupt_CANCEL);
             host.fail(Callback::CheckinParam, PF_Err_OUT_OF_MEMORY);
         },
         PF_Interrupt_CANCEL, &unblurred, 1},
        // A check-out that throws hands nothing out, so nothing is checked in.
        {"parameter check-out throws",
         [&] { host.raise(Callback::CheckoutParam, std::make_exception_ptr(std::bad_alloc())); },
         PF_Err_OUT_OF_MEMORY, nullptr, 0},
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
        {"too wide", [] {}, PF_Err_BAD_CALLBACK_PARAM, nullptr, -1, maxSize + 1, 2},
        {"too tall", [] {}, PF_Err_BAD_CALLBACK_PARAM, nullptr, -1, 2, maxSize + 1},
        {"empty", [] {}, PF_Err_NONE, nullptr, -1, 0, 0},
        {"no rows", [] {}, PF_Err_NONE, nullptr, -1, 7, 0},
        {"no columns", [] {}, PF_Err_NONE, nullptr, -1, 0, 5},
    };
    for (const Case& c : cases) {
        World input(c.w, c.h, PF_PixelFormat_ARGB32), output(c.w, c.h, PF_PixelFormat_ARGB32);
        if (c.drawn != nullptr) {
            Fill(input, pixels);
        }
        c.arm();
        const int checkins = host.calls(Callback::CheckinParam);
        GLCallRecorder recorder;
        EXPECT_EQ(render(input, output, 4.0), c.expected) << c.what;
        EXPECT_TRUE(c.drawn == nullptr || Read(output) == *c.drawn) << c.what;
        EXPECT_TRUE(c.checkins < 0 || host.calls(Callback::CheckinParam) == checkins + c.checkins)
            << c.what;
        // None of these makes a GL object, and a frame failing inside GL frees what
        // it made.
        EXPECT_EQ(recorder.count("glGenTextures") + recorder.count("glGenRenderbuffers"), 0u)
            << c.what;
        host.clearFaults();
        host.giveNullWorlds(false);
        EXPECT_EQ(host.suites().outstanding(), 0) << c.what;
        EXPECT_EQ(host.liveHandles(), 0u) << c.what;
        EXPECT_EQ(renderPixels(pixels, 24, 20, 4.0), blurred) << c.what;
        // Refused sizes drop the stack's objects, which the next frame makes again.
        if (c.w == 24) {
            EXPECT_EQ(recorder.count("glGenTextures"), recorder.count("glDeleteTextures"))
                << c.what;
            EXPECT_EQ(recorder.count("glGenRenderbuffers"), recorder.count("glDeleteRenderbuffers"))
                << c.what;
        }
    }
}
