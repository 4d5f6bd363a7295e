// The frei0r module driven as a frei0r host drives it: loaded with dlopen and
// called through its functions only.
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "Frei0rTestSupport.h"
#include "RandomFrame.h"
#include "ScratchFolder.h"

extern "C" {
#include <frei0r.h>
}

using namespace Brindel::Testing;

namespace {

// A frame as frei0r wants it: 32-bit words, 16-byte aligned (as new gives).
std::vector<uint32_t> Words(const std::string& bytes) {
    std::vector<uint32_t> words(bytes.size() / 4);
    std::memcpy(words.data(), bytes.data(), bytes.size());
    return words;
}

std::string Bytes(const std::vector<uint32_t>& words) {
    return {reinterpret_cast<const char*>(words.data()), words.size() * 4};
}

// The module's functions, resolved as a host resolves them.
class Frei0rModule {
public:
    Frei0rModule() : mHandle(dlopen(BRIDGE_PATH, RTLD_NOW | RTLD_LOCAL)) {
        EXPECT_NE(mHandle, nullptr) << dlerror();
#define RESOLVE(name)                                                                              \
    name = mHandle ? reinterpret_cast<decltype(name)>(dlsym(mHandle, "f0r_" #name)) : nullptr;     \
    EXPECT_NE(name, nullptr) << #name;
        // clang-format off
        RESOLVE(init) RESOLVE(deinit) RESOLVE(get_plugin_info) RESOLVE(get_param_info)
        RESOLVE(construct) RESOLVE(destruct) RESOLVE(set_param_value) RESOLVE(get_param_value)
        RESOLVE(update)
        // clang-format on
#undef RESOLVE
    }
    ~Frei0rModule() {
        if (mHandle != nullptr) {
            dlclose(mHandle);
        }
    }
    Frei0rModule(const Frei0rModule&) = delete;
    Frei0rModule& operator=(const Frei0rModule&) = delete;

    decltype(&f0r_init) init;
    decltype(&f0r_deinit) deinit;
    decltype(&f0r_get_plugin_info) get_plugin_info;
    decltype(&f0r_get_param_info) get_param_info;
    decltype(&f0r_construct) construct;
    decltype(&f0r_destruct) destruct;
    decltype(&f0r_set_param_value) set_param_value;
    decltype(&f0r_get_param_value) get_param_value;
    decltype(&f0r_update) update;

    bool loaded() const {
        return mHandle != nullptr && update != nullptr;
    }
    f0r_instance_t make(unsigned width, unsigned height, double blurScale) {
        f0r_instance_t instance = construct(width, height);
        EXPECT_NE(instance, nullptr);
        set_param_value(instance, &blurScale, 0);
        return instance;
    }
    // A frame through `instance`, into a frame of its own.
    std::string render(f0r_instance_t instance, const std::string& rgba) {
        const std::vector<uint32_t> in = Words(rgba);
        std::vector<uint32_t> out(in.size(), 0xDEADBEEF);
        update(instance, 0.0, in.data(), out.data());
        return Bytes(out);
    }

private:
    void* mHandle;
};

class Frei0rBridge : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(module.loaded());
        ASSERT_EQ(module.init(), 1);
    }
    void TearDown() override {
        for (f0r_instance_t instance : instances) {
            module.destruct(instance);
        }
        if (module.loaded()) {
            module.deinit();
        }
    }

    f0r_instance_t make(unsigned width, unsigned height, double blurScale) {
        instances.push_back(module.make(width, height, blurScale));
        return instances.back();
    }
    std::string render(f0r_instance_t instance, const std::string& rgba) {
        return module.render(instance, rgba);
    }

    Frei0rModule module;
    std::vector<f0r_instance_t> instances;
};

// The filter's type, colour model and parameter type are what ffmpeg and melt go by, and the
// media tests run them; the name is what editors show.
TEST_F(Frei0rBridge, NamesItsOneParameterAndKeepsItsValueWithinZeroToOne) {
    f0r_param_info_t param{};
    module.get_param_info(&param, 0);
    EXPECT_STREQ(param.name, "Blur Scale");
    f0r_instance_t instance = module.construct(16, 8);
    ASSERT_NE(instance, nullptr);
    instances.push_back(instance);
    double value = -1.0;
    module.get_param_value(instance, &value, 0);
    EXPECT_EQ(value, 0.0) << "the effect's own default, no blur";

    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<std::pair<double, double>> setAndGot = {
        {0.1667, 0.1667}, {1.0, 1.0}, {1.5, 1.0}, {nan, 1.0}, {-0.25, 0.0}};
    for (const auto& [set, got] : setAndGot) {
        double in = set;
        module.set_param_value(instance, &in, 0);
        module.get_param_value(instance, &value, 0);
        EXPECT_EQ(value, got) << "after setting " << set;
    }

    EXPECT_EQ(module.construct(0, 8), nullptr);
    EXPECT_EQ(module.construct(std::numeric_limits<unsigned>::max(), 8), nullptr);
}

TEST_F(Frei0rBridge, OutputEqualsAehostsByteForByteAlsoWhenRenderedInPlace) {
    constexpr unsigned kWidth = 64, kHeight = 48;
    constexpr double kBlurScale = 0.1667;
    const std::string input = RandomFrame(kWidth, kHeight, 7, 3);
    f0r_instance_t instance = make(kWidth, kHeight, kBlurScale);

    const std::string blurred = render(instance, input);
    std::vector<uint32_t> inPlace = Words(input);
    module.update(instance, 0.0, inPlace.data(), inPlace.data());

    const ScratchFolder folder;
    const std::string expected =
        ArgbToRgba(AehostRaw(folder.path(), kWidth, kHeight, kBlurScale * 60.0, RgbaToArgb(input)));
    ASSERT_EQ(expected.size(), input.size());
    EXPECT_NE(expected, input) << "the frame was not blurred at all";
    EXPECT_TRUE(blurred == expected);
    EXPECT_TRUE(Bytes(inPlace) == expected);
}

// Instances of different sizes and blurs, the second made after the first rendered, on two
// threads at once: each frame is what one thread rendering alone gives.
TEST_F(Frei0rBridge, InstancesKeepTheirOwnSizeAndBlurAlsoOnTwoThreadsAtOnce) {
    constexpr int kFrames = 4;
    const unsigned sizes[2][2] = {{64, 48}, {48, 32}};
    f0r_instance_t instance[2] = {};
    std::vector<std::string> inputs[2], expected[2], got[2];
    for (int t = 0; t < 2; ++t) {
        instance[t] = make(sizes[t][0], sizes[t][1], t ? 0.2 : 0.05);
        for (int f = 0; f < kFrames; ++f) {
            inputs[t].push_back(RandomFrame(sizes[t][0], sizes[t][1], 10 * t + f, 3));
            expected[t].push_back(render(instance[t], inputs[t].back()));
            EXPECT_NE(expected[t].back(), inputs[t].back());
        }
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&, t] {
            for (int f = 0; f < kFrames; ++f) {
                got[t].push_back(render(instance[t], inputs[t][f]));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int t = 0; t < 2; ++t) {
        for (int f = 0; f < kFrames; ++f) {
            EXPECT_TRUE(got[t][f] == expected[t][f]) << "instance " << t << ", frame " << f;
        }
    }
}

// Blur Scale 0 keeps alpha and colour premultiplied by alpha, which is what
// the effect's 8-bit levels hold; straight colour under low alpha moves by
// up to about 128 / alpha levels, as the README says.
TEST_F(Frei0rBridge, BlurScaleZeroKeepsAlphaAndPremultipliedColourAsTheReadmeSays) {
    std::string input(256 * 256 * 4, '\0');
    for (size_t alpha = 0; alpha < 256; ++alpha) {
        for (size_t colour = 0; colour < 256; ++colour) {
            const size_t at = (alpha * 256 + colour) * 4;
            input[at] = input[at + 1] = input[at + 2] = static_cast<char>(colour);
            input[at + 3] = static_cast<char>(alpha);
        }
    }
    const std::string output = render(make(256, 256, 0.0), input);
    ASSERT_EQ(output.size(), input.size());
    std::vector<int> worst(256, 0);
    std::string what;
    EXPECT_TRUE(WithinLevels(RgbaToArgb(output), RgbaToArgb(input), 1, what)) << what;
    for (size_t i = 0; i < input.size(); i += 4) {
        const auto in = static_cast<uint8_t>(input[i]), out = static_cast<uint8_t>(output[i]);
        const auto alpha = static_cast<uint8_t>(input[i + 3]);
        ASSERT_EQ(output[i + 3], input[i + 3]) << "pixel " << i / 4;
        worst[alpha] = std::max(worst[alpha], std::abs(int(out) - int(in)));
    }
    // Alpha 0 keeps no colour; the rows of the README's table.
    const std::vector<std::pair<int, int>> alphaAndWorst = {
        {0, 255}, {1, 127}, {2, 64}, {16, 8}, {32, 4}, {64, 2}, {85, 1}, {254, 1}, {255, 0}};
    for (const auto& [alpha, levels] : alphaAndWorst) {
        EXPECT_EQ(worst[alpha], levels) << "alpha " << alpha;
    }
    EXPECT_EQ(*std::max_element(worst.begin() + 85, worst.end()), 1) << "alpha 85 and above";
    const std::vector<uint32_t> pixel = Words(std::string("\xC8\x64\x32\x01", 4));
    std::vector<uint32_t> out(1);
    module.update(make(1, 1, 0.0), 0.0, pixel.data(), out.data());
    EXPECT_EQ(Bytes(out), std::string("\xFF\x00\x00\x01", 4)) << "(200,100,50,1)";
}

// MLT closes the module and opens it again without f0r_deinit; the effect it
// set up the first time must still render right.
TEST(Frei0rBridgeReopened, RendersAsBeforeWhenClosedWithoutDeinit) {
    const std::string input = RandomFrame(32, 16, 3, 3);
    std::string first, second;
    for (std::string* result : {&first, &second}) {
        Frei0rModule module;
        ASSERT_TRUE(module.loaded());
        module.init();
        f0r_instance_t instance = module.make(32, 16, 0.1);
        *result = module.render(instance, input);
        module.destruct(instance);
    }
    EXPECT_NE(first, input);
    EXPECT_TRUE(second == first);
    // Both opens were counted: two deinits set the effect down and free it.
    Frei0rModule module;
    module.deinit();
    module.deinit();
}

// Runs frames through a module whose effect is `plugin`; 0 when every frame
// came back as it went in, both into a separate frame and in place.
int PassThroughStatus(const char* plugin) {
    setenv("GAUSSIAN_BLUR_PLUGIN", plugin, 1);
    Frei0rModule module;
    module.init();
    f0r_instance_t instance = module.make(24, 16, 0.5);
    bool same = instance != nullptr;
    for (unsigned seed = 0; seed < 2 && same; ++seed) {
        const std::vector<uint32_t> in = Words(RandomFrame(24, 16, seed, 3));
        std::vector<uint32_t> out(in.size()), inPlace = in;
        module.update(instance, 0.0, in.data(), out.data());
        module.update(instance, 0.0, inPlace.data(), inPlace.data());
        same = out == in && inPlace == in;
    }
    module.destruct(instance);
    module.deinit();
    return same ? 0 : 1;
}

// Each case in a process of its own, so that the messages of the process are
// its own, which the pattern matches whole.
TEST(Frei0rBridgeFailing, MissingPluginOrEffectErrorPassesFramesThroughSayingWhy) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(std::exit(PassThroughStatus("/nonexistent/GaussianBlur.so")),
                ::testing::ExitedWithCode(0),
                "^gaussian_blur: [^;]*; frames pass through unchanged\n$");
    EXPECT_EXIT(std::exit(PassThroughStatus(SCRIBBLING_EFFECT_PATH)), ::testing::ExitedWithCode(0),
                "^(gaussian_blur: the effect failed inside \\(a GL error or a damaged "
                "state\\): smart render returned PF_Err 512; the frame passes through "
                "unchanged\n){4}$");
}

// Runs `child` in a forked process with its standard error in `errors`; its
// exit status, or -1 when it had not ended after a minute (an alarm ends it).
int RunForked(const std::function<int()>& child, const std::string& errors) {
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(60);
        const int status = std::freopen(errors.c_str(), "w", stderr) ? child() : 3;
        std::fflush(stderr);
        _exit(status);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status) == SIGALRM ? -1 : -2;
}

// What a case found wrong, or empty; run in a process of its own, so that GL
// has not begun in it before the case says so. With `forgetsByDesign` the
// process ends without the exit handlers, a leak checker's among them: what
// the effect made on a display the application terminated is forgotten, not
// freed, since calling into those dead contexts is what must not happen.
void ExpectCleanProcess(const std::function<std::string()>& check, bool forgetsByDesign = false) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const std::string wrong = check();
            // The last line; the effect's GL version lines may come before it.
            std::fprintf(stderr, "\nverdict: %s", wrong.empty() ? "fine" : wrong.c_str());
            std::fflush(stderr);
            forgetsByDesign ? std::_Exit(0) : std::exit(0);
        },
        ::testing::ExitedWithCode(0), "\nverdict: fine$");
}

// A host that forks after loading the module: a child forked before any frame
// renders as the parent does; one forked after GL work began cannot carry it
// on, and passes frames through, says so once, and ends, never hanging.
TEST(Frei0rBridgeFork, ChildBlursWhenForkedBeforeGLWorkElsePassesThroughWithoutHanging) {
    for (const bool framesBeforeFork : {false, true}) {
        SCOPED_TRACE(framesBeforeFork ? "forked after a frame" : "forked before any frame");
        ExpectCleanProcess([framesBeforeFork]() -> std::string {
            const ScratchFolder folder;
            Frei0rModule module;
            module.init();
            f0r_instance_t instance = module.make(32, 16, 0.1);
            const std::string input = RandomFrame(32, 16, 5, 3);
            const std::string before = framesBeforeFork ? module.render(instance, input) : "";
            const std::string frames = (folder / "child.rgba").string();
            const std::string errors = (folder / "child.txt").string();
            const int status = RunForked(
                [&] {
                    const std::string first = module.render(instance, input);
                    ScratchFolder::Write(frames, first + module.render(instance, input));
                    module.destruct(instance);
                    module.deinit();
                    return 0;
                },
                errors);
            if (status != 0) {
                return status == -1 ? "the child hung" : "the child failed";
            }
            const std::string parent = module.render(instance, input);
            const std::string child = ScratchFolder::Read(frames),
                              message = ScratchFolder::Read(errors);
            module.destruct(instance);
            module.deinit();
            if (parent == input || (framesBeforeFork && parent != before)) {
                return "the parent's frame is wrong";
            }
            if (!framesBeforeFork) {
                return child == parent + parent ? "" : "the child's frames are not the parent's";
            }
            if (child != input + input) {
                return "the child's frames did not pass through";
            }
            const size_t said = message.find("gaussian_blur:");
            if (said == std::string::npos ||
                message.find("gaussian_blur:", said + 1) != std::string::npos ||
                message.find("fork()") == std::string::npos) {
                return "the child said: " + message;
            }
            return "";
        });
    }
}

// Every display of the platforms the effect picks from, initialised and
// terminated as an application that is done with its own GL would.
void TerminateDisplays() {
    const auto getDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    const auto queryDevices =
        reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
    std::vector<EGLDisplay> displays;
    EGLint count = 0;
    if (queryDevices != nullptr && queryDevices(0, nullptr, &count) && count > 0) {
        std::vector<EGLDeviceEXT> devices(static_cast<size_t>(count));
        queryDevices(count, devices.data(), &count);
        for (EGLint i = 0; i < count; ++i) {
            displays.push_back(getDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr));
        }
    }
    displays.push_back(getDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr));
    for (const EGLDisplay display : displays) {
        if (display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr)) {
            eglTerminate(display);
        }
    }
}

// EGL gives every caller of a process the same display, and an application may
// terminate it. The effect's next frames are right all the same, with or
// without the host setting the module down and up in between.
TEST(Frei0rBridgeDisplay, FramesAfterTheApplicationTerminatesTheDisplayAreStillBlurred) {
    for (const bool deinitBetween : {false, true}) {
        SCOPED_TRACE(deinitBetween ? "with deinit and init after" : "frames straight after");
        ExpectCleanProcess(
            [deinitBetween]() -> std::string {
                Frei0rModule module;
                module.init();
                const std::string input = RandomFrame(32, 16, 6, 3);
                f0r_instance_t instance = module.make(32, 16, 0.1);
                const std::string blurred = module.render(instance, input);
                TerminateDisplays();
                if (deinitBetween) {
                    module.destruct(instance);
                    module.deinit();
                    module.init();
                    instance = module.make(32, 16, 0.1);
                }
                std::string wrong;
                for (int frame = 0; frame < 2 && wrong.empty(); ++frame) {
                    if (module.render(instance, input) != blurred) {
                        wrong = "frame " + std::to_string(frame) + " after the terminate is wrong";
                    }
                }
                module.destruct(instance);
                module.deinit();
                return blurred == input ? "not blurred before the terminate" : wrong;
            },
            true);
    }
}

// A host that sets the module down while another of its threads is inside a
// frame: the frame completes, and the frames after init render, every time.
TEST_F(Frei0rBridge, DeinitDuringAFrameNeverLeavesFramesPassingThrough) {
    const std::string input = RandomFrame(32, 16, 8, 3);
    f0r_instance_t instance = make(32, 16, 0.1);
    const std::string blurred = render(instance, input);
    ASSERT_NE(blurred, input);
    int wrongDuring = 0, wrongAfter = 0;
    for (int run = 0; run < 100; ++run) {
        std::string during;
        std::thread frame([&] { during = render(instance, input); });
        module.deinit();
        module.init();
        frame.join();
        wrongDuring += during != blurred;
        wrongAfter += render(instance, input) != blurred;
    }
    EXPECT_EQ(wrongDuring, 0);
    EXPECT_EQ(wrongAfter, 0);
}

} // namespace
