// Frames end to end: the host sends the effect its commands and worlds, and
// the result is compared with an independent CPU model of the chain.
#include <gtest/gtest.h>

#include <glbinding/gl/gl.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <exception>
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

// ---- Test images ----

// A w x h image of make(x, y), top row first.
template <typename F> Pixels Image(int w, int h, F make) {
    Pixels p;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            p.push_back(make(x, y));
        }
    }
    return p;
}

A_u_char Byte(int v) {
    return static_cast<A_u_char>(v);
}

Pixels Gradient(int w, int h) {
    return Image(w, h, [w, h](int x, int y) {
        return PF_Pixel8{255, Byte(255 * x / (w - 1)), Byte(255 * y / (h - 1)),
                         Byte(255 - 255 * x / (w - 1))};
    });
}

Pixels Noise(int w, int h) {
    std::mt19937 random(7);
    return Image(w, h, [&random](int, int) {
        return PF_Pixel8{255, Byte(random() % 256), Byte(random() % 256), Byte(random() % 256)};
    });
}

// Opaque, partly transparent and fully transparent regions, with colour kept under zero alpha.
Pixels Transparency(int w, int h) {
    std::mt19937 random(11);
    return Image(w, h, [&random, w](int x, int y) {
        return PF_Pixel8{Byte(x < w / 3       ? 0
                              : x < 2 * w / 3 ? y * 2
                                              : 255),
                         Byte(random() % 256), 200, Byte(x)};
    });
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

// Within one level in alpha and in premultiplied colour, and in straight colour where the
// pixel is opaque; returns the number of pixels outside, and the index of the first.
int CountMismatches(const Pixels& got, const Pixels& want, size_t& first) {
    int bad = 0;
    for (size_t i = 0; i < got.size(); ++i) {
        const PF_Pixel8 &g = got[i], &w = want[i];
        bool ok = std::abs(g.alpha - w.alpha) <= 1;
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

    BlurModel::Kernel kernel() {
        return BlurModel::ReadKernel(shadow.getVertexFunction(), shadow.getFragmentFunction());
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

// ---- Images ----

class GaussianBlurModel : public GaussianBlurFrame,
                          public ::testing::WithParamInterface<const char*> {};

TEST_P(GaussianBlurModel, FramesMatchTheCpuModelWithinOneLevel) {
    const std::string name = GetParam();
    constexpr int kWidth = 257;
    constexpr int kHeight = 131;
    const Pixels pixels = name == "gradient" ? Gradient(kWidth, kHeight)
                          : name == "noise"  ? Noise(kWidth, kHeight)
                                             : Transparency(kWidth, kHeight);
    // Padded rows in both worlds, of different lengths.
    World input(kWidth, kHeight, PF_PixelFormat_ARGB32, 3 * 4);
    World output(kWidth, kHeight, PF_PixelFormat_ARGB32, 5 * 4);
    Fill(input, pixels);
    for (double blur : {0.0, 0.49, 0.5, 1.0, 2.0, 3.0, 6.0, 7.0, 10.0, 30.0, 60.0}) {
        ASSERT_EQ(render(input, output, blur), PF_Err_NONE) << "blur " << blur;
        const Pixels want = BlurModel::Render(pixels, kWidth, kHeight, kernel());
        size_t first = 0;
        EXPECT_EQ(CountMismatches(Read(output), want, first), 0)
            << name << ", blur " << blur << ", first at pixel " << first % kWidth << ", "
            << first / kWidth;
        EXPECT_TRUE(output.paddingIntact()) << "blur " << blur;
        EXPECT_TRUE(input.paddingIntact()) << "blur " << blur;
    }
}

INSTANTIATE_TEST_SUITE_P(Images, GaussianBlurModel,
                         ::testing::Values("gradient", "noise", "transparency"));

// The GL half of a frame as the effect runs it, with the stack's levels in either mode.
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

// Every pass draws one quad over the whole level, so all samples of a pixel hold one value and
// single-sampled levels give the multisampled frame: at every blur branch (none, below one half,
// one, even, odd, a downsampled half pixel, the largest), odd sizes and alpha edges.
TEST_F(LevelModes, SingleSampledLevelsGiveTheMultisampledFramesByteForByte) {
    AEOpenGLContext context(nullptr);
    context.makeContextCurrent();
    {
        GaussianBlurRender render;
        {
            // The two modes do take different roads.
            GLCallRecorder recorder;
            RenderLevels(render, Noise(5, 3), 5, 3, 3.0, true);
            EXPECT_EQ(recorder.count("glBlitFramebuffer"), 2u);
            recorder.clear();
            RenderLevels(render, Noise(5, 3), 5, 3, 3.0, false);
            EXPECT_EQ(recorder.count("glBlitFramebuffer"), 0u);
            EXPECT_EQ(recorder.count("glRenderbufferStorageMultisample"), 0u);
        }
        struct Image {
            const char* name;
            int w, h;
            Pixels (*make)(int, int);
        };
        for (const Image& image :
             {Image{"gradient", 257, 131, Gradient}, Image{"noise", 33, 17, Noise},
              Image{"transparency", 96, 61, Transparency}, Image{"tall", 7, 300, Gradient}}) {
            const Pixels pixels = image.make(image.w, image.h);
            for (const double blur : {0.0, 0.4, 1.0, 3.0, 7.0, 3.5, 60.0}) {
                const Pixels multi = RenderLevels(render, pixels, image.w, image.h, blur, true);
                const Pixels single = RenderLevels(render, pixels, image.w, image.h, blur, false);
                int differing = 0;
                for (size_t i = 0; i < multi.size(); ++i) {
                    differing += std::memcmp(&multi[i], &single[i], sizeof(PF_Pixel8)) != 0;
                }
                EXPECT_EQ(differing, 0) << image.name << " at blur " << blur;
            }
        }
        AEOpenglMainFrameBuffer::mainFrameBuffer()->destory();
    }
    EXPECT_NO_GL_ERROR();
}

TEST_F(GaussianBlurFrame, ImageIsNeitherFlippedNorMirroredAndHalfAlphaLosesColour) {
    constexpr int w = 5, h = 3;
    Pixels pixels(w * h, PF_Pixel8{255, 0, 0, 0});
    pixels[0] = {255, 255, 0, 0};           // top left: red
    pixels[w - 1] = {255, 0, 255, 0};       // top right: green
    pixels[(h - 1) * w] = {255, 0, 0, 255}; // bottom left: blue
    pixels[w * h - 1] = {0, 9, 9, 9};       // bottom right: transparent, its colour dropped
    pixels[1] = {128, 200, 100, 50};        // premultiplying and back loses a level
    const Pixels out = renderPixels(pixels, w, h, 0.0);
    EXPECT_TRUE(out[0].red == 255 && out[w - 1].green == 255 && out[(h - 1) * w].blue == 255);
    EXPECT_TRUE(out[w * h - 1] == (PF_Pixel8{0, 0, 0, 0}));
    EXPECT_TRUE(out[1] == (PF_Pixel8{128, 199, 100, 50}));
}

// ---- What a host relies on ----

TEST_F(GaussianBlurFrame, DownsampleDividesTheRadius) {
    const Pixels pixels = Noise(64, 48);
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
    const Pixels pixels = Noise(32, 16);
    const Pixels unblurred = renderPixels(pixels, 32, 16, 0.0);
    host.fail(Callback::CheckoutParam, PF_Interrupt_CANCEL);
    World input(32, 16, PF_PixelFormat_ARGB32);
    World output(32, 16, PF_PixelFormat_ARGB32);
    Fill(input, pixels);
    EXPECT_EQ(render(input, output, 25.0), PF_Interrupt_CANCEL);
    EXPECT_EQ(Read(output), unblurred);
    EXPECT_EQ(host.calls(Callback::CheckinParam), 2) << "checked in after a failed check-out too";

    host.clearFaults();
    host.fail(Callback::CheckinParam, PF_Err_OUT_OF_MEMORY);
    EXPECT_EQ(render(input, output, 0.0), PF_Err_OUT_OF_MEMORY);
    EXPECT_EQ(Read(output), unblurred);
    // Both failing: the check-out's code is the one the host hears.
    host.fail(Callback::CheckoutParam, PF_Interrupt_CANCEL);
    EXPECT_EQ(render(input, output, 0.0), PF_Interrupt_CANCEL);

    // A check-out that throws hands nothing out: the frame fails with the
    // exception's code and nothing is checked in for it.
    host.clearFaults();
    host.raise(Callback::CheckoutParam, std::make_exception_ptr(std::bad_alloc()));
    EXPECT_EQ(render(input, output, 0.0), PF_Err_OUT_OF_MEMORY);
    EXPECT_EQ(host.calls(Callback::CheckinParam), 4);
    EXPECT_EQ(host.paramsOut(), 0);
}

// Frame-sized storage made and freed every frame makes the driver hand it back to the
// process's allocator, whose heap then grows without bound in a long run.
TEST_F(GaussianBlurFrame, SteadyFramesMakeNoGLObjectAndOnlyAChangeRebuildsWhatItChanges) {
    World input(40, 30, PF_PixelFormat_ARGB32), output(40, 30, PF_PixelFormat_ARGB32);
    Fill(input, Gradient(40, 30));
    for (const double blur : {0.0, 7.6}) { // plus 0.2: the same rounded radius
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

// ---- Faults ----

TEST_F(GaussianBlurFrame, HostFaultsReturnTheirCodesAndLeaveTheNextFrameIntact) {
    World input(24, 20, PF_PixelFormat_ARGB32);
    World output(24, 20, PF_PixelFormat_ARGB32);
    const Pixels pixels = Transparency(24, 20);
    Fill(input, pixels);
    const Pixels good = renderPixels(pixels, 24, 20, 4.0);

    struct Case {
        const char* what;
        std::function<void()> arm;
        PF_Err expected;
    };
    // clang-format off
    const std::vector<Case> cases = {
        {"no layer pixels", [&] { host.fail(Callback::CheckoutLayerPixels, PF_Interrupt_CANCEL); }, PF_Interrupt_CANCEL},
        {"no output", [&] { host.fail(Callback::CheckoutOutput, PF_Err_OUT_OF_MEMORY); }, PF_Err_OUT_OF_MEMORY},
        {"null worlds", [&] { host.giveNullWorlds(true); }, PF_Err_BAD_CALLBACK_PARAM},
        {"no interface suite", [&] { host.suites().setFault(kAEGPPFInterfaceSuite, 1, SuiteFault::Missing); }, PF_Err_BAD_CALLBACK_PARAM},
        {"no layer suite", [&] { host.suites().setFault(kAEGPLayerSuite, 11, SuiteFault::Missing); }, PF_Err_BAD_CALLBACK_PARAM},
        {"no item suite", [&] { host.suites().setFault(kAEGPItemSuite, 10, SuiteFault::Missing); }, PF_Err_BAD_CALLBACK_PARAM},
        {"no read-back handle", [&] { host.fail(Callback::NewHandle, 1); }, PF_Err_BAD_CALLBACK_PARAM},
        {"no handle suite", [&] { host.suites().setFault(kPFHandleSuite, 2, SuiteFault::Missing); }, PF_Err_BAD_CALLBACK_PARAM},
        {"no pixel start", [&] { host.fail(Callback::GetPixelData8, PF_Err_INVALID_INDEX); }, PF_Err_BAD_CALLBACK_PARAM},
    };
    // clang-format on
    GLCallRecorder recorder; // failed frames leak no GL object
    for (const Case& c : cases) {
        c.arm();
        EXPECT_EQ(render(input, output, 4.0), c.expected) << c.what;
        host.clearFaults();
        host.giveNullWorlds(false);
        EXPECT_EQ(host.suites().outstanding(), 0) << c.what;
        // The stack was left balanced: the next frame is whole.
        EXPECT_EQ(renderPixels(pixels, 24, 20, 4.0), good) << c.what;
    }
    EXPECT_EQ(recorder.count("glGenTextures"), recorder.count("glDeleteTextures"));
    EXPECT_EQ(recorder.count("glGenRenderbuffers"), recorder.count("glDeleteRenderbuffers"));
}

TEST_F(GaussianBlurFrame, EmptyAndOversizedFramesMakeNothingAndLeaveTheNextFrameIntact) {
    const Pixels pixels = Gradient(12, 9);
    const Pixels good = renderPixels(pixels, 12, 9, 3.0);
    // The plug-in's contexts come from the same driver as the host's.
    gl::GLint maxSize = 0;
    gl::glGetIntegerv(gl::GL_MAX_TEXTURE_SIZE, &maxSize);
    ASSERT_GT(maxSize, 0);
    struct Case {
        int w, h;
        bool refused; // an empty frame renders nothing and succeeds
    };
    GLCallRecorder recorder;
    for (const Case& c : {Case{maxSize + 1, 2, true}, Case{2, maxSize + 1, true}, Case{0, 0, false},
                          Case{0, 5, false}, Case{7, 0, false}}) {
        World input(c.w, c.h, PF_PixelFormat_ARGB32);
        World output(c.w, c.h, PF_PixelFormat_ARGB32);
        const PF_Err err = render(input, output, 3.0);
        EXPECT_EQ(err != PF_Err_NONE, c.refused) << c.w << "x" << c.h;
        EXPECT_EQ(host.liveHandles(), 0u);
        EXPECT_EQ(recorder.count("glGenTextures"), 0u) << c.w << "x" << c.h;
        EXPECT_EQ(recorder.count("glGenRenderbuffers"), 0u) << c.w << "x" << c.h;
    }
    EXPECT_EQ(renderPixels(pixels, 12, 9, 3.0), good);
}

TEST_F(GaussianBlurFrame, OutputLargerThanInputIsWrittenOnlyWhereTheInputIs) {
    World input(10, 6, PF_PixelFormat_ARGB32);
    Fill(input, Gradient(10, 6));
    World output(14, 9, PF_PixelFormat_ARGB32);
    for (A_long y = 0; y < output.height(); ++y) {
        std::memset(output.row(y), 0x77, output.rowbytes());
    }
    ASSERT_EQ(render(input, output, 0.0), PF_Err_NONE);
    const Pixels out = Read(output);
    EXPECT_EQ(out[9].red, 255) << "the input's last column is written";
    for (A_long y = 0; y < output.height(); ++y) {
        for (A_long x = 0; x < output.width(); ++x) {
            if (x >= 10 || y >= 6) {
                EXPECT_EQ(out[y * 14 + x].alpha, 0x77) << x << ", " << y;
            }
        }
    }
}

// ---- Threads ----

TEST_F(GaussianBlurFrame, FramesFromSeveralThreadsMatchOneThread) {
    constexpr int w = 48, h = 36;
    const Pixels pixels = Transparency(w, h);
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
