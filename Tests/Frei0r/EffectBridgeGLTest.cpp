// The frei0r module driven as a frei0r host drives it: loaded with dlopen and
// called through its functions only.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Frei0rTestSupport.h"

extern "C" {
#include <frei0r.h>
}

using namespace Brindel::Testing;

namespace {

// The module's functions, resolved as a host resolves them.
class Frei0rModule {
public:
    Frei0rModule() : mHandle(dlopen(BRIDGE_PATH, RTLD_NOW | RTLD_LOCAL)) {
        if (mHandle == nullptr) {
            ADD_FAILURE() << dlerror();
            return;
        }
        resolve(init, "f0r_init");
        resolve(deinit, "f0r_deinit");
        resolve(pluginInfo, "f0r_get_plugin_info");
        resolve(paramInfo, "f0r_get_param_info");
        resolve(construct, "f0r_construct");
        resolve(destruct, "f0r_destruct");
        resolve(setParam, "f0r_set_param_value");
        resolve(getParam, "f0r_get_param_value");
        resolve(update, "f0r_update");
    }
    ~Frei0rModule() {
        if (mHandle != nullptr) {
            dlclose(mHandle);
        }
    }
    Frei0rModule(const Frei0rModule&) = delete;
    Frei0rModule& operator=(const Frei0rModule&) = delete;

    bool loaded() const { return mHandle != nullptr && update != nullptr; }

    decltype(&f0r_init) init = nullptr;
    decltype(&f0r_deinit) deinit = nullptr;
    decltype(&f0r_get_plugin_info) pluginInfo = nullptr;
    decltype(&f0r_get_param_info) paramInfo = nullptr;
    decltype(&f0r_construct) construct = nullptr;
    decltype(&f0r_destruct) destruct = nullptr;
    decltype(&f0r_set_param_value) setParam = nullptr;
    decltype(&f0r_get_param_value) getParam = nullptr;
    decltype(&f0r_update) update = nullptr;

private:
    template <typename F> void resolve(F& function, const char* name) {
        function = reinterpret_cast<F>(dlsym(mHandle, name));
        EXPECT_NE(function, nullptr) << name;
    }

    void* mHandle;
};

// An RGBA frame of random colour over every kind of alpha: clear, partial
// and opaque.
std::string RandomRgba(unsigned width, unsigned height, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(static_cast<size_t>(width) * height * 4, '\0');
    for (size_t i = 0; i < bytes.size(); i += 4) {
        for (size_t c = 0; c < 3; ++c) {
            bytes[i + c] = static_cast<char>(random() & 0xFF);
        }
        const unsigned kind = random() % 4;
        bytes[i + 3] = static_cast<char>(kind == 0 ? 0 : kind == 1 ? 255 : random() & 0xFF);
    }
    return bytes;
}

// A frame as frei0r wants it: 32-bit words, 16-byte aligned (as new gives).
std::vector<uint32_t> Words(const std::string& bytes) {
    std::vector<uint32_t> words(bytes.size() / 4);
    std::memcpy(words.data(), bytes.data(), bytes.size());
    return words;
}

std::string Bytes(const std::vector<uint32_t>& words) {
    return {reinterpret_cast<const char*>(words.data()), words.size() * 4};
}

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
        f0r_instance_t instance = module.construct(width, height);
        EXPECT_NE(instance, nullptr);
        instances.push_back(instance);
        module.setParam(instance, &blurScale, 0);
        return instance;
    }

    std::string render(f0r_instance_t instance, const std::string& rgba) {
        const std::vector<uint32_t> in = Words(rgba);
        std::vector<uint32_t> out(in.size(), 0xDEADBEEF);
        module.update(instance, 0.0, in.data(), out.data());
        return Bytes(out);
    }

    Frei0rModule module;
    std::vector<f0r_instance_t> instances;
};

TEST_F(Frei0rBridge, DescribesOneDoubleParameterAndKeepsItsValueWithinZeroToOne) {
    f0r_plugin_info_t info{};
    module.pluginInfo(&info);
    EXPECT_EQ(info.plugin_type, F0R_PLUGIN_TYPE_FILTER);
    EXPECT_EQ(info.color_model, F0R_COLOR_MODEL_RGBA8888);
    EXPECT_EQ(info.frei0r_version, FREI0R_MAJOR_VERSION);
    EXPECT_EQ(info.num_params, 1);
    f0r_param_info_t param{};
    module.paramInfo(&param, 0);
    EXPECT_STREQ(param.name, "Blur Scale");
    EXPECT_EQ(param.type, F0R_PARAM_DOUBLE);

    f0r_instance_t instance = module.construct(16, 8);
    ASSERT_NE(instance, nullptr);
    instances.push_back(instance);
    double value = -1.0;
    module.getParam(instance, &value, 0);
    EXPECT_EQ(value, 0.0) << "the effect's own default, no blur";

    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<std::pair<double, double>> setAndGot = {
        {0.1667, 0.1667}, {1.0, 1.0}, {1.5, 1.0}, {nan, 1.0}, {-0.25, 0.0}};
    for (const auto& [set, got] : setAndGot) {
        double in = set;
        module.setParam(instance, &in, 0);
        module.getParam(instance, &value, 0);
        EXPECT_EQ(value, got) << "after setting " << set;
    }

    EXPECT_EQ(module.construct(0, 8), nullptr);
    EXPECT_EQ(module.construct(std::numeric_limits<unsigned>::max(), 8), nullptr);
}

TEST_F(Frei0rBridge, OutputEqualsAehostsByteForByteAlsoWhenRenderedInPlace) {
    constexpr unsigned kWidth = 64, kHeight = 48;
    constexpr double kBlurScale = 0.1667;
    const std::string input = RandomRgba(kWidth, kHeight, 7);
    f0r_instance_t instance = make(kWidth, kHeight, kBlurScale);

    const std::string blurred = render(instance, input);
    std::vector<uint32_t> inPlace = Words(input);
    module.update(instance, 0.0, inPlace.data(), inPlace.data());

    const ScratchFolder folder;
    const std::string expected =
        ArgbToRgba(AehostRaw(folder, kWidth, kHeight, kBlurScale * 60.0, RgbaToArgb(input)));
    ASSERT_EQ(expected.size(), input.size());
    EXPECT_NE(expected, input) << "the frame was not blurred at all";
    EXPECT_TRUE(blurred == expected);
    EXPECT_TRUE(Bytes(inPlace) == expected);
}

TEST_F(Frei0rBridge, InstancesOfDifferentSizesKeepTheirOwnSizeAndBlur) {
    const std::string frameA = RandomRgba(64, 48, 1), frameB = RandomRgba(40, 24, 2);
    f0r_instance_t a = make(64, 48, 0.1);
    const std::string alone = render(a, frameA);

    // A second instance, set after the first, renders between its frames.
    f0r_instance_t b = make(40, 24, 0.3);
    const std::string firstB = render(b, frameB);
    EXPECT_TRUE(render(a, frameA) == alone);
    EXPECT_TRUE(render(b, frameB) == firstB);
    EXPECT_NE(alone, frameA);
    EXPECT_NE(firstB, frameB);
}

TEST_F(Frei0rBridge, UpdatesFromTwoThreadsGiveWhatOneThreadGives) {
    constexpr int kFrames = 4;
    f0r_instance_t instance[2] = {make(64, 48, 0.05), make(48, 32, 0.2)};
    std::vector<std::string> inputs[2], expected[2], got[2];
    for (int t = 0; t < 2; ++t) {
        for (int f = 0; f < kFrames; ++f) {
            inputs[t].push_back(RandomRgba(t ? 48 : 64, t ? 32 : 48, 10 * t + f));
            expected[t].push_back(render(instance[t], inputs[t].back()));
        }
    }
    std::vector<std::thread> threads;
    threads.reserve(2);
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

// MLT closes the module and opens it again without f0r_deinit; the effect it
// set up the first time must still render right.
TEST(Frei0rBridgeReopened, RendersAsBeforeWhenClosedWithoutDeinit) {
    const std::string input = RandomRgba(32, 16, 3);
    std::string first, second;
    for (std::string* result : {&first, &second}) {
        Frei0rModule module;
        ASSERT_TRUE(module.loaded());
        module.init();
        f0r_instance_t instance = module.construct(32, 16);
        double blurScale = 0.1;
        module.setParam(instance, &blurScale, 0);
        std::vector<uint32_t> in = Words(input), out(in.size());
        module.update(instance, 0.0, in.data(), out.data());
        *result = Bytes(out);
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
    f0r_instance_t instance = module.construct(24, 16);
    double blurScale = 0.5;
    module.setParam(instance, &blurScale, 0);
    bool same = instance != nullptr;
    for (unsigned seed = 0; seed < 2 && same; ++seed) {
        const std::vector<uint32_t> in = Words(RandomRgba(24, 16, seed));
        std::vector<uint32_t> out(in.size()), inPlace = in;
        module.update(instance, 0.0, in.data(), out.data());
        module.update(instance, 0.0, inPlace.data(), inPlace.data());
        same = out == in && inPlace == in;
    }
    module.destruct(instance);
    module.deinit();
    return same ? 0 : 1;
}

// In a process of its own, so that the messages of the process are this
// case's, which `says` matches whole.
void ExpectPassThrough(const char* plugin, const char* says) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(std::exit(PassThroughStatus(plugin)), ::testing::ExitedWithCode(0), says);
}

TEST(Frei0rBridgeFailing, MissingPluginPassesFramesThroughAndSaysSoOnce) {
    ExpectPassThrough("/nonexistent/GaussianBlur.so",
                      "^gaussian_blur: [^;]*; frames pass through unchanged\n$");
}

TEST(Frei0rBridgeFailing, EffectErrorPassesEachFrameThroughWithALineNamingTheError) {
    ExpectPassThrough(SCRIBBLING_EFFECT_PATH,
                      "^(gaussian_blur: the effect failed inside \\(a GL error or a damaged "
                      "state\\): smart render returned PF_Err 512; the frame passes through "
                      "unchanged\n){4}$");
}

} // namespace
