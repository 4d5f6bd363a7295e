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

// The module opened and set up (f0r_init) as a host does, through the functions
// it resolves. Going, it destructs its instances, sets the module down unless
// told not to, and closes it.
class Frei0rHost {
    void* mHandle = dlopen(BRIDGE_PATH, RTLD_NOW | RTLD_LOCAL);
    std::vector<f0r_instance_t> mInstances;
    bool mDeinitAtEnd;

    template <typename Function> Function resolve(const char* name) {
        const auto function = reinterpret_cast<Function>(mHandle ? dlsym(mHandle, name) : nullptr);
        EXPECT_NE(function, nullptr) << name;
        return function;
    }

public:
    explicit Frei0rHost(bool deinitAtEnd = true) : mDeinitAtEnd(deinitAtEnd) {
        EXPECT_TRUE(loaded() && init() == 1) << BRIDGE_PATH;
    }
    ~Frei0rHost() {
        if (loaded()) {
            close(mDeinitAtEnd);
        }
        if (mHandle != nullptr) {
            dlclose(mHandle);
        }
    }
    Frei0rHost(const Frei0rHost&) = delete;
    Frei0rHost& operator=(const Frei0rHost&) = delete;

    bool loaded() const { return mHandle != nullptr && update != nullptr; }
    f0r_instance_t make(unsigned width, unsigned height, double blurScale) {
        f0r_instance_t instance = construct(width, height);
        EXPECT_NE(instance, nullptr);
        set_param_value(instance, &blurScale, 0);
        mInstances.push_back(instance);
        return instance;
    }
    // A frame through `instance`, into a frame of its own or in place; frei0r's
    // frames are 32-bit words, 16-byte aligned (as new gives).
    std::string render(f0r_instance_t instance, const std::string& rgba, bool inPlace = false) {
        std::vector<uint32_t> in(rgba.size() / 4), out(in.size(), 0xDEADBEEF);
        std::memcpy(in.data(), rgba.data(), rgba.size());
        update(instance, 0.0, in.data(), inPlace ? in.data() : out.data());
        return {reinterpret_cast<const char*>((inPlace ? in : out).data()), rgba.size()};
    }
    // Every instance destructed, and the module set down unless told not to.
    void close(bool deinitToo = true) {
        for (f0r_instance_t instance : mInstances) {
            destruct(instance);
        }
        mInstances.clear();
        if (deinitToo) {
            deinit();
        }
    }

    decltype(&f0r_init) init = resolve<decltype(init)>("f0r_init");
    decltype(&f0r_deinit) deinit = resolve<decltype(deinit)>("f0r_deinit");
    decltype(&f0r_get_param_info) get_param_info =
        resolve<decltype(get_param_info)>("f0r_get_param_info");
    decltype(&f0r_construct) construct = resolve<decltype(construct)>("f0r_construct");
    decltype(&f0r_destruct) destruct = resolve<decltype(destruct)>("f0r_destruct");
    decltype(&f0r_set_param_value) set_param_value =
        resolve<decltype(set_param_value)>("f0r_set_param_value");
    decltype(&f0r_get_param_value) get_param_value =
        resolve<decltype(get_param_value)>("f0r_get_param_value");
    decltype(&f0r_update) update = resolve<decltype(update)>("f0r_update");
};

TEST(Frei0rBridge, NamesItsOneParameterAndKeepsItsValueWithinZeroToOne) {
    Frei0rHost host;
    ASSERT_TRUE(host.loaded());
    f0r_param_info_t param{};
    host.get_param_info(&param, 0);
    EXPECT_STREQ(param.name, "Blur Scale");
    f0r_instance_t instance = host.construct(16, 8);
    ASSERT_NE(instance, nullptr);
    double value = -1.0;
    host.get_param_value(instance, &value, 0);
    EXPECT_EQ(value, 0.0) << "the effect's own default, no blur";
    // Each row after the one before: a value that is not a number keeps the last.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::pair<double, double> setAndGot[] = {
        {0.1667, 0.1667}, {1.0, 1.0}, {1.5, 1.0}, {nan, 1.0}, {-0.25, 0.0}};
    for (auto [set, got] : setAndGot) {
        host.set_param_value(instance, &set, 0);
        host.get_param_value(instance, &value, 0);
        EXPECT_EQ(value, got) << "after setting " << set;
    }
    host.destruct(instance);
    EXPECT_EQ(host.construct(0, 8), nullptr);
    EXPECT_EQ(host.construct(std::numeric_limits<unsigned>::max(), 8), nullptr);
}

// Two instances of different sizes and blurs, the second made after the first
// rendered, then both on threads of their own at once, into frames of their own
// and in place: every frame is aehost's for the same input.
TEST(Frei0rBridge, FramesEqualAehostsByteForByteInPlaceAndOnTwoThreadsAtOnce) {
    struct Case {
        unsigned width, height;
        double blurScale;
    };
    const Case cases[2] = {{64, 48, 0.1667}, {48, 32, 0.05}};
    Frei0rHost host;
    ASSERT_TRUE(host.loaded());
    const ScratchFolder folder;
    f0r_instance_t instances[2] = {};
    std::string inputs[2], expected[2];
    for (int i = 0; i < 2; ++i) {
        const Case& c = cases[i];
        inputs[i] = RandomFrame(c.width, c.height, 7 + i, 3);
        expected[i] =
            AehostRaw(folder.path(), c.width, c.height, c.blurScale * 60, RgbaToArgb(inputs[i]));
        EXPECT_NE(expected[i], RgbaToArgb(inputs[i])) << "the frame was not blurred at all";
        instances[i] = host.make(c.width, c.height, c.blurScale);
        EXPECT_TRUE(RgbaToArgb(host.render(instances[i], inputs[i])) == expected[i]);
    }
    int wrong[2][2] = {}; // [instance][in place]
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&, i] {
            for (int run = 0; run < 6; ++run) {
                wrong[i][run % 2] +=
                    RgbaToArgb(host.render(instances[i], inputs[i], run % 2)) != expected[i];
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(wrong[i][0], 0) << "instance " << i << " into a frame of its own";
        EXPECT_EQ(wrong[i][1], 0) << "instance " << i << " in place";
    }
}

// Blur Scale 0 keeps alpha and colour premultiplied by alpha, which is what the
// effect's 8-bit levels hold; straight colour under low alpha moves by up to
// about 128 / alpha levels, as the README says.
TEST(Frei0rBridge, BlurScaleZeroKeepsAlphaAndPremultipliedColourAsTheReadmeSays) {
    Frei0rHost host;
    ASSERT_TRUE(host.loaded());
    std::string input(256 * 256 * 4, '\0');
    for (size_t i = 0; i < input.size(); i += 4) {
        input[i] = input[i + 1] = input[i + 2] = static_cast<char>(i / 4 % 256); // colour
        input[i + 3] = static_cast<char>(i / 4 / 256);                           // alpha
    }
    const std::string output = host.render(host.make(256, 256, 0.0), input);
    std::string what;
    EXPECT_TRUE(WithinLevels(RgbaToArgb(output), RgbaToArgb(input), 1, what)) << what;
    std::vector<int> worst(256, 0);
    for (size_t i = 0; i < input.size(); i += 4) {
        const auto alpha = static_cast<uint8_t>(input[i + 3]);
        ASSERT_EQ(output[i + 3], input[i + 3]) << "pixel " << i / 4;
        worst[alpha] = std::max(worst[alpha], std::abs(uint8_t(output[i]) - uint8_t(input[i])));
    }
    // Alpha 0 keeps no colour; the rows of the README's table.
    const std::pair<int, int> alphaAndWorst[] = {{0, 255}, {1, 127}, {2, 64},  {16, 8}, {32, 4},
                                                 {64, 2},  {85, 1},  {254, 1}, {255, 0}};
    for (const auto& [alpha, levels] : alphaAndWorst) {
        EXPECT_EQ(worst[alpha], levels) << "alpha " << alpha;
    }
    EXPECT_EQ(*std::max_element(worst.begin() + 85, worst.end()), 1) << "alpha 85 and above";
    // A grey ramp hides the channel order; one coloured pixel shows it.
    EXPECT_EQ(host.render(host.make(1, 1, 0.0), std::string("\xC8\x64\x32\x01", 4)),
              std::string("\xFF\x00\x00\x01", 4))
        << "(200,100,50,1)";
}

// MLT closes the module and opens it again without f0r_deinit; the effect it
// set up the first time must still render right.
TEST(Frei0rBridgeReopened, RendersAsBeforeWhenClosedWithoutDeinit) {
    const std::string input = RandomFrame(32, 16, 3, 3);
    std::string frames[2];
    for (std::string& frame : frames) {
        Frei0rHost host(false);
        ASSERT_TRUE(host.loaded());
        frame = host.render(host.make(32, 16, 0.1), input);
    }
    EXPECT_NE(frames[0], input);
    EXPECT_TRUE(frames[1] == frames[0]);
    // Every open was counted: with this one's own, the deinits set the effect
    // down and free it, for a leak checker to see.
    Frei0rHost last;
    last.deinit();
    last.deinit();
}

// What `check` found wrong, or nothing, in a process of its own where GL has
// not begun. With `forgetsByDesign` it ends without exit handlers (a leak
// checker's): what the effect made on a display the application terminated is
// forgotten, never freed through dead contexts.
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
// on, and passes frames through, says so once, and ends (set down too), never
// hanging.
TEST(Frei0rBridgeFork, ChildBlursWhenForkedBeforeGLWorkElsePassesThroughWithoutHanging) {
    for (const bool framesBeforeFork : {false, true}) {
        SCOPED_TRACE(framesBeforeFork ? "forked after a frame" : "forked before any frame");
        ExpectCleanProcess([framesBeforeFork]() -> std::string {
            const ScratchFolder folder;
            Frei0rHost host;
            f0r_instance_t instance = host.make(32, 16, 0.1);
            const std::string input = RandomFrame(32, 16, 5, 3);
            const std::string before = framesBeforeFork ? host.render(instance, input) : "";
            const pid_t pid = fork();
            if (pid == 0) {
                alarm(60);
                std::freopen((folder / "said").c_str(), "w", stderr);
                ScratchFolder::Write(folder / "frames",
                                     host.render(instance, input) + host.render(instance, input));
                host.close();
                std::fflush(stderr);
                _exit(0);
            }
            int status = 0;
            waitpid(pid, &status, 0);
            if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
                return WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM ? "the child hung"
                                                                          : "the child failed";
            }
            const std::string parent = host.render(instance, input);
            const std::string child = ScratchFolder::Read(folder / "frames");
            const std::string said = ScratchFolder::Read(folder / "said");
            if (parent == input || (framesBeforeFork && parent != before)) {
                return "the parent's frame is wrong";
            }
            if (!framesBeforeFork) {
                return child == parent + parent ? "" : "the child's frames are not the parent's";
            }
            if (child != input + input) {
                return "the child's frames did not pass through";
            }
            const size_t first = said.find("gaussian_blur:");
            const bool once = first != std::string::npos &&
                              said.find("gaussian_blur:", first + 1) == std::string::npos;
            return once && said.find("fork()") != std::string::npos ? ""
                                                                    : "the child said: " + said;
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
    std::vector<EGLDisplay> displays = {
        getDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr)};
    EGLDeviceEXT devices[16];
    EGLint count = 0;
    if (queryDevices != nullptr && queryDevices(16, devices, &count)) {
        for (EGLint i = 0; i < count; ++i) {
            displays.push_back(getDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr));
        }
    }
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
                Frei0rHost host;
                const std::string input = RandomFrame(32, 16, 6, 3);
                f0r_instance_t instance = host.make(32, 16, 0.1);
                const std::string blurred = host.render(instance, input);
                TerminateDisplays();
                if (deinitBetween) {
                    host.close();
                    host.init();
                    instance = host.make(32, 16, 0.1);
                }
                for (int frame = 0; frame < 2; ++frame) {
                    if (host.render(instance, input) != blurred) {
                        return "frame " + std::to_string(frame) + " after the terminate is wrong";
                    }
                }
                return blurred == input ? "not blurred before the terminate" : "";
            },
            true);
    }
}

// A host that sets the module down while another of its threads is inside a
// frame: the frame completes, and the frames after init render, every time.
TEST(Frei0rBridge, DeinitDuringAFrameNeverLeavesFramesPassingThrough) {
    Frei0rHost host;
    ASSERT_TRUE(host.loaded());
    const std::string input = RandomFrame(32, 16, 8, 3);
    f0r_instance_t instance = host.make(32, 16, 0.1);
    const std::string blurred = host.render(instance, input);
    ASSERT_NE(blurred, input);
    int wrongDuring = 0, wrongAfter = 0;
    for (int run = 0; run < 100; ++run) {
        std::string during;
        std::thread frame([&] { during = host.render(instance, input); });
        host.deinit();
        host.init();
        frame.join();
        wrongDuring += during != blurred;
        wrongAfter += host.render(instance, input) != blurred;
    }
    EXPECT_EQ(wrongDuring, 0);
    EXPECT_EQ(wrongAfter, 0);
}

} // namespace
