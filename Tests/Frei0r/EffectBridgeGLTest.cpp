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
#include <stdexcept>
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

// The frame that most tests send through the module, in frei0r's RGBA.
const std::string kInput = RandomFrame(32, 16, 5, 3);

// The module opened and set up (f0r_init) as a host does, through the functions
// it resolves, with an instance for kInput at Blur Scale 0.1. Going, it
// destructs its instances, sets the module down unless told not to, and closes
// it.
class Frei0rHost {
    void* mHandle = dlopen(BRIDGE_PATH, RTLD_NOW | RTLD_LOCAL);
    std::vector<f0r_instance_t> mInstances;

    template <typename Function> Function resolve(const char* name) {
        const auto function = reinterpret_cast<Function>(mHandle ? dlsym(mHandle, name) : nullptr);
        if (function == nullptr) {
            throw std::runtime_error(std::string(name) + " not found in " BRIDGE_PATH);
        }
        return function;
    }

public:
    Frei0rHost() {
        EXPECT_EQ(init(), 1);
        instance = make(32, 16, 0.1);
    }
    ~Frei0rHost() {
        close(deinitAtEnd);
        dlclose(mHandle);
    }

    f0r_instance_t make(unsigned width, unsigned height, double blurScale) {
        f0r_instance_t made = construct(width, height);
        EXPECT_NE(made, nullptr);
        set_param_value(made, &blurScale, 0);
        mInstances.push_back(made);
        return made;
    }
    // A frame through `to`, into a frame of its own or in place; frei0r's
    // frames are 32-bit words, 16-byte aligned (as new gives).
    std::string render(f0r_instance_t to, const std::string& rgba, bool inPlace = false) {
        std::vector<uint32_t> in(rgba.size() / 4), out(in.size(), 0xDEADBEEF);
        std::memcpy(in.data(), rgba.data(), rgba.size());
        update(to, 0.0, in.data(), inPlace ? in.data() : out.data());
        return {reinterpret_cast<const char*>((inPlace ? in : out).data()), rgba.size()};
    }
    std::string frame(bool inPlace = false) { return render(instance, kInput, inPlace); }
    // Every instance destructed, and the module set down unless told not to.
    void close(bool deinitToo = true) {
        for (f0r_instance_t made : mInstances) {
            destruct(made);
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
    f0r_instance_t instance = nullptr;
    bool deinitAtEnd = true;
};

// What `check` found wrong, or nothing, in a process of its own where GL has
// not begun; its standard error must match `said` (a pattern) before the
// verdict. With `forgetsByDesign` it ends without exit handlers (a leak
// checker's): what the effect made on a display the application terminated is
// forgotten, never freed through dead contexts.
void ExpectCleanProcess(const std::function<std::string()>& check, bool forgetsByDesign = false,
                        const std::string& said = "") {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const std::string wrong = check();
            // The last line; the effect's GL version lines may come before it.
            std::fprintf(stderr, "\nverdict: %s", wrong.empty() ? "fine" : wrong.c_str());
            std::fflush(stderr);
            forgetsByDesign ? std::_Exit(0) : std::exit(0);
        },
        ::testing::ExitedWithCode(0), said + "\nverdict: fine$");
}

TEST(Frei0rBridge, NamesItsOneParameterAndKeepsItsValueWithinZeroToOne) {
    Frei0rHost host;
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
// rendered, then both at once on two threads, into frames of their own and in
// place: every frame is aehost's for the same input.
TEST(Frei0rBridge, FramesEqualAehostsByteForByteInPlaceAndOnTwoThreadsAtOnce) {
    const struct {
        unsigned width, height;
        double blurScale;
    } cases[2] = {{64, 48, 0.1667}, {48, 32, 0.05}};
    Frei0rHost host;
    const ScratchFolder folder;
    f0r_instance_t instances[2] = {};
    std::string inputs[2], expected[2];
    int wrong[2][2] = {}; // [instance][in place]
    const auto render = [&](int i, bool inPlace) {
        wrong[i][inPlace] +=
            RgbaToArgb(host.render(instances[i], inputs[i], inPlace)) != expected[i];
    };
    for (int i = 0; i < 2; ++i) {
        const auto& c = cases[i];
        inputs[i] = RandomFrame(c.width, c.height, 7 + i, 3);
        expected[i] =
            AehostRaw(folder.path(), c.width, c.height, c.blurScale * 60, RgbaToArgb(inputs[i]));
        instances[i] = host.make(c.width, c.height, c.blurScale);
        render(i, false);
    }
    std::thread other([&] {
        for (int run = 0; run < 6; ++run) {
            render(1, run % 2);
        }
    });
    for (int run = 0; run < 6; ++run) {
        render(0, run % 2);
    }
    other.join();
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
}

// An effect that cannot be loaded, or one that writes into its output and
// fails: every frame comes back as it went in, into a frame of its own and in
// place, and the module says why, once for the load and once per failed frame.
TEST(Frei0rBridgeFailing, FramesPassThroughSayingWhyWhenTheEffectIsMissingOrFails) {
    const struct {
        const char* effect;
        const char* said;
    } cases[] = {{"no-such-folder/GaussianBlur.so",
                  "^gaussian_blur: [^;]*no-such-folder/GaussianBlur.so[^;]*; frames pass through "
                  "unchanged\n"},
                 {SCRIBBLING_EFFECT_PATH,
                  "^(gaussian_blur: the effect failed inside \\(a GL error or a "
                  "damaged state\\): smart render returned PF_Err 512; the frame "
                  "passes through unchanged\n){2}"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.effect);
        ExpectCleanProcess(
            [&c]() -> std::string {
                setenv("GAUSSIAN_BLUR_PLUGIN", c.effect, 1);
                Frei0rHost host;
                return host.frame() == kInput && host.frame(true) == kInput
                           ? ""
                           : "a frame did not come back as it went in";
            },
            false, c.said);
    }
}

// MLT closes the module and opens it again without f0r_deinit, and a host may
// set it down while another of its threads is inside a frame: that frame
// completes, and every frame after, in either opening, is the first one's.
TEST(Frei0rBridge, FramesStayBlurredWhenReopenedWithoutDeinitOrSetDownDuringAFrame) {
    std::string first;
    for (int opening = 0; opening < 2; ++opening) {
        Frei0rHost host;
        host.deinitAtEnd = false;
        first = opening == 0 ? host.frame() : first;
        int wrong = 0;
        for (int run = 0; run < 100; ++run) {
            std::string during;
            std::thread frame([&] { during = host.frame(); });
            host.deinit();
            host.init();
            frame.join();
            wrong += (during != first) + (host.frame() != first);
        }
        EXPECT_EQ(wrong, 0) << "opening " << opening;
    }
    EXPECT_NE(first, kInput);
    // Every opening still counts: with the last one's own, the deinits set the
    // effect down, for a leak checker to see.
    Frei0rHost last;
    last.deinit();
    last.deinit();
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
            const std::string before = framesBeforeFork ? host.frame() : "";
            const pid_t pid = fork();
            if (pid == 0) {
                alarm(60);
                std::freopen((folder / "said").c_str(), "w", stderr);
                ScratchFolder::Write(folder / "frames", host.frame() + host.frame());
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
            const std::string parent = host.frame();
            const std::string child = ScratchFolder::Read(folder / "frames");
            const std::string said = ScratchFolder::Read(folder / "said");
            if (parent == kInput || (framesBeforeFork && parent != before)) {
                return "the parent's frame is wrong";
            }
            if (!framesBeforeFork) {
                return child == parent + parent ? "" : "the child's frames are not the parent's";
            }
            const size_t first = said.find("gaussian_blur:");
            const bool once = first != std::string::npos && first == said.rfind("gaussian_blur:");
            return child == kInput + kInput && once && said.find("fork()") != std::string::npos
                       ? ""
                       : "the child's frames did not pass through, or it said: " + said;
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
                const std::string blurred = host.frame();
                TerminateDisplays();
                if (deinitBetween) {
                    host.close();
                    host.init();
                    host.instance = host.make(32, 16, 0.1);
                }
                const bool right = host.frame() == blurred && host.frame() == blurred;
                return blurred == kInput || !right ? "frames wrong before or after" : "";
            },
            true);
    }
}

} // namespace
