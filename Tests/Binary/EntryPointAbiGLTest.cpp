// The built module driven by a host that shares nothing with it: records laid out from the SDK's
// published field lists (SdkRecords.h), a distinct marker in every slot of every table, and the
// entry point found with dlsym. Each command must reach exactly the slots it needs, with the
// host's effect reference, and nothing else.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Binary/SdkRecords.h"

namespace {

// The layout the module must agree with, from the published field lists.
static_assert(sizeof(AbiInteractCallbacks) == 176, "interact callbacks");
static_assert(offsetof(AbiInData, utils) == 176 && offsetof(AbiInData, effect_ref) == 184 &&
                  offsetof(AbiInData, current_time) == 224 &&
                  offsetof(AbiInData, time_scale) == 240 &&
                  offsetof(AbiInData, downsample_x) == 284 &&
                  offsetof(AbiInData, pica_basicP) == 384 && sizeof(AbiInData) == 408,
              "in data");
static_assert(offsetof(AbiUtilCallbacks, ansi) == 208 && offsetof(AbiUtilCallbacks, tail) == 432 &&
                  sizeof(AbiUtilCallbacks) == 552,
              "utility callbacks");
static_assert(offsetof(AbiOutData, num_params) == 48 && offsetof(AbiOutData, return_msg) == 100 &&
                  offsetof(AbiOutData, out_flags2) == 400,
              "out data");
static_assert(sizeof(AbiParamDef) == 176 && offsetof(AbiParamDef, u) == 56, "parameter");
static_assert(sizeof(AbiWorld) == 120, "world");

using Entry = int32_t (*)(int32_t, AbiInData*, AbiOutData*, void**, void*, void*);

constexpr int32_t kInvalidCallback = 515;
constexpr int kWidth = 16;
constexpr int kHeight = 8;
constexpr int32_t kRowbytes = kWidth * 4 + 12;

// What the host saw: the calls by name, each marked if it came with another effect reference
// than the host's, which is the address of gEffectToken.
std::mutex gMutex;
using Calls = std::set<std::string>;
Calls gCalls;
char gEffectToken;

void Record(const std::string& name, void* ref = &gEffectToken) {
    std::lock_guard<std::mutex> lock(gMutex);
    gCalls.insert(ref == &gEffectToken ? name : name + " (another effect reference)");
}

// A distinct function for every slot, numbered across all tables and named when a table is
// served; the module calling one is recorded as unexpected.
constexpr std::size_t kMarkers = 200;
std::string gMarkerNames[kMarkers];
std::size_t gMarkersUsed = 0;

template <std::size_t N> int32_t Marker() {
    Record(gMarkerNames[N] + " (unexpected)");
    return kInvalidCallback;
}

template <std::size_t... N> std::array<Slot, kMarkers> MakeMarkers(std::index_sequence<N...>) {
    return {reinterpret_cast<Slot>(&Marker<N>)...};
}
const std::array<Slot, kMarkers> kMarkerSlots = MakeMarkers(std::make_index_sequence<kMarkers>{});

// Markers in every slot of a table, then the host's functions in the slots it implements.
template <std::size_t N>
void Serve(const std::string& table, Slot (&slots)[N],
           std::initializer_list<std::pair<int, Slot>> served = {}) {
    for (std::size_t i = 0; i < N; ++i) {
        gMarkerNames[gMarkersUsed] = table + "#" + std::to_string(i);
        slots[i] = kMarkerSlots.at(gMarkersUsed++);
    }
    for (const auto& [index, function] : served) {
        slots[index] = function;
    }
}

template <typename F> Slot S(F* function) {
    return reinterpret_cast<Slot>(function);
}

// The slots this host implements.
AbiWorld gInput{}, gOutput{};
// The utility table's and the ANSI suite's sprintf, told apart by name.
constexpr char kUtilSprintf[] = "utils.ansi.sprintf";
constexpr char kSuiteSprintf[] = "ansi.sprintf";

// clang-format off
std::string At(int32_t time, int32_t step, uint32_t scale) { return " @" + std::to_string(time) + "/" + std::to_string(step) + "/" + std::to_string(scale); }
int32_t CheckoutParam(void* ref, int32_t index, int32_t time, int32_t step, uint32_t scale, AbiParamDef* param) {
    Record("inter.checkout_param " + std::to_string(index) + At(time, step, scale), ref);
    std::memset(param, 0, sizeof(*param));
    param->param_type = 10;
    param->u.fs_d.value = 0.0; // no blur: the frame comes back as it went
    return 0;
}
int32_t CheckinParam(void* ref, AbiParamDef*) { return Record("inter.checkin_param", ref), 0; }
AbiParamDef gAdded{};
int32_t AddParam(void* ref, int32_t index, AbiParamDef* def) { return Record("inter.add_param " + std::to_string(index), ref), gAdded = *def, 0; }
template <const char* Name> int Sprintf(char* dst, const char* format, ...) {
    Record(Name);
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(dst, 256, format, args);
    va_end(args);
    return n;
}
char* UtilStrcpy(char* dst, const char* src) { return Record("utils.ansi.strcpy"), std::strcpy(dst, src); }
int32_t PixelData8(AbiWorld* world, void*, void** start) { return Record(std::string("utils.get_pixel_data8 ") + (world == &gInput ? "input" : "output")), *start = world->data, 0; }
void** NewHandle(uint64_t size) { return Record("handle.host_new_handle"), new void*(std::calloc(size ? size : 1, 1)); }
void* LockHandle(void** handle) { return Record("handle.host_lock_handle"), *handle; }
void UnlockHandle(void**) { Record("handle.host_unlock_handle"); }
void DisposeHandle(void** handle) { Record("handle.host_dispose_handle"), std::free(*handle), delete handle; }
int32_t CheckoutLayer(void* ref, int32_t index, int32_t id, const AbiRenderRequest*, int32_t time, int32_t step, uint32_t scale, AbiCheckoutResult* result) {
    Record("prerender.checkout_layer " + std::to_string(index) + "/" + std::to_string(id) + At(time, step, scale), ref);
    std::memset(result, 0, sizeof(*result));
    result->result_rect = result->max_result_rect = {0, 0, kWidth, kHeight};
    return 0;
}
int32_t CheckoutLayerPixels(void* ref, int32_t id, AbiWorld** world) { return Record("smart.checkout_layer_pixels " + std::to_string(id), ref), *world = &gInput, 0; }
int32_t CheckoutOutput(void* ref, AbiWorld** world) { return Record("smart.checkout_output", ref), *world = &gOutput, 0; }

// Suites, served by name and version.
Slot gAnsiSuite[kAnsiSlots];
AbiHandleSuite gHandleSuite;
Slot gOpaqueSuite[64];
int32_t AcquireSuite(const char* name, int32_t version, const void** suite) {
    Record("basic.AcquireSuite " + std::string(name) + "/" + std::to_string(version));
    const std::map<std::pair<std::string, int32_t>, const void*> served = {{{"PF ANSI Suite", 1}, gAnsiSuite}, {{"PF Handle Suite", 2}, &gHandleSuite},
        {{"AEGP PF Interface Suite", 1}, gOpaqueSuite}, {{"AEGP Layer Suite", 11}, gOpaqueSuite}, {{"AEGP Item Suite", 10}, gOpaqueSuite}};
    const auto found = served.find({name, version});
    *suite = found == served.end() ? nullptr : found->second;
    return found == served.end() ? 0x214E4641 : 0;
}
int32_t ReleaseSuite(const char* name, int32_t version) { return Record("basic.ReleaseSuite " + std::string(name) + "/" + std::to_string(version)), 0; }
// clang-format on

} // namespace

TEST(EntryPointAbi, EachCommandCallsExactlyTheSlotsItNeeds) {
    void* module = dlopen(BRINDEL_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    const auto entry = reinterpret_cast<Entry>(dlsym(module, "EntryPointFunc"));
    ASSERT_NE(entry, nullptr);

    AbiInData inData{};
    AbiUtilCallbacks utils{};
    AbiBasicSuite basic{};
    gMarkersUsed = 0;
    Serve("inter", inData.inter.slots,
          {{0, S(&CheckoutParam)}, {1, S(&CheckinParam)}, {2, S(&AddParam)}});
    Serve("utils", utils.head);
    Serve("utils.ansi", utils.ansi.slots, {{15, S(&Sprintf<kUtilSprintf>)}, {16, S(&UtilStrcpy)}});
    Serve("utils.colorCB", utils.color);
    Serve("utils.tail", utils.tail, {{12, S(&PixelData8)}});
    Serve("ansi", gAnsiSuite, {{15, S(&Sprintf<kSuiteSprintf>)}});
    Serve("handle", gHandleSuite.slots,
          {{0, S(&NewHandle)}, {1, S(&LockHandle)}, {2, S(&UnlockHandle)}, {3, S(&DisposeHandle)}});
    Serve("aegp", gOpaqueSuite);
    Serve("basic", basic.slots, {{0, S(&AcquireSuite)}, {1, S(&ReleaseSuite)}});
    inData.utils = &utils;
    inData.effect_ref = &gEffectToken;
    inData.quality = 1;
    inData.version_major = 13;
    inData.version_minor = 28;
    inData.current_time = 60;
    inData.time_step = 1;
    inData.time_scale = 30;
    inData.downsample_x = inData.downsample_y = inData.pixel_aspect_ratio = {1, 1};
    inData.pica_basicP = &basic;
    AbiOutData outData{};
    void* params[2] = {};
    // Sends a command, which must succeed, and gives the host calls it made.
    const auto calls = [&](int32_t cmd, void* extra) {
        EXPECT_EQ(entry(cmd, &inData, &outData, params, nullptr, extra), 0) << "command " << cmd;
        std::lock_guard<std::mutex> lock(gMutex);
        return std::exchange(gCalls, {});
    };

    // About: the name and version through the ANSI suite.
    EXPECT_EQ(calls(0, nullptr), (Calls{"basic.AcquireSuite PF ANSI Suite/1", "ansi.sprintf",
                                        "basic.ReleaseSuite PF ANSI Suite/1"}));
    EXPECT_STREQ(outData.return_msg, "Gaussian Blur v1.0\rGaussian Blur");

    // Global set-up: version and flags, and no host call.
    EXPECT_EQ(calls(1, nullptr), Calls{});
    EXPECT_TRUE(outData.my_version == 0x80001u && outData.out_flags == 0 &&
                outData.out_flags2 == 0x400);

    // Parameter set-up: "Blur Scale" appended as a float slider.
    EXPECT_EQ(calls(4, nullptr), (Calls{"utils.ansi.strcpy", "inter.add_param -1"}));
    EXPECT_EQ(outData.num_params, 2);
    EXPECT_STREQ(gAdded.name, "Blur Scale");
    EXPECT_TRUE(gAdded.param_type == 10 && gAdded.id == 1 && gAdded.u.fs_d.valid_max == 60.0f &&
                gAdded.u.fs_d.slider_max == 60.0f && gAdded.u.fs_d.curve_tolerance == 0.05f);

    // Smart pre-render: the input checked out at the host's time.
    AbiPreRenderInput preInput{};
    preInput.output_request.rect = {0, 0, kWidth, kHeight};
    preInput.output_request.channel_mask = 0xF;
    preInput.bitdepth = 8;
    AbiPreRenderOutput preOutput{};
    AbiPreRenderCallbacks preCallbacks{};
    Serve("prerender", preCallbacks.slots, {{0, S(&CheckoutLayer)}});
    AbiPreRenderExtra preExtra{&preInput, &preOutput, &preCallbacks};
    EXPECT_EQ(calls(23, &preExtra), Calls{"prerender.checkout_layer 0/0 @60/1/30"});
    EXPECT_EQ(preOutput.result_rect.right, kWidth);
    EXPECT_EQ(preOutput.max_result_rect.bottom, kHeight);

    // One smart frame at blur 0 on worlds with padded rows: the opaque input comes back unchanged,
    // padding (zero) included.
    std::vector<unsigned char> inputPixels(static_cast<size_t>(kRowbytes) * kHeight);
    std::vector<unsigned char> outputPixels(inputPixels.size());
    for (size_t i = 0; i < inputPixels.size(); ++i) {
        if (i % kRowbytes < kWidth * 4) {
            inputPixels[i] = static_cast<unsigned char>(i % 4 == 0 ? 255 : i * 7);
        }
    }
    gInput.rowbytes = kRowbytes;
    gInput.width = kWidth;
    gInput.height = kHeight;
    gInput.extent_hint = {0, 0, kWidth, kHeight};
    gInput.pix_aspect_ratio = {1, 1};
    gOutput = gInput;
    gInput.data = inputPixels.data();
    gOutput.data = outputPixels.data();
    AbiSmartRenderInput renderInput{};
    renderInput.output_request = preInput.output_request;
    renderInput.bitdepth = 8;
    AbiSmartRenderCallbacks renderCallbacks{};
    Serve("smart", renderCallbacks.slots, {{0, S(&CheckoutLayerPixels)}, {2, S(&CheckoutOutput)}});
    AbiSmartRenderExtra renderExtra{&renderInput, &renderCallbacks};
    EXPECT_EQ(
        calls(24, &renderExtra),
        (Calls{"smart.checkout_layer_pixels 0", "smart.checkout_output",
               "inter.checkout_param 1 @60/1/30", "inter.checkin_param",
               "utils.get_pixel_data8 input", "utils.get_pixel_data8 output",
               "basic.AcquireSuite AEGP PF Interface Suite/1",
               "basic.ReleaseSuite AEGP PF Interface Suite/1",
               "basic.AcquireSuite AEGP Layer Suite/11", "basic.ReleaseSuite AEGP Layer Suite/11",
               "basic.AcquireSuite AEGP Item Suite/10", "basic.ReleaseSuite AEGP Item Suite/10",
               "basic.AcquireSuite PF Handle Suite/2", "basic.ReleaseSuite PF Handle Suite/2",
               "handle.host_new_handle", "handle.host_lock_handle", "handle.host_unlock_handle",
               "handle.host_dispose_handle"}));
    EXPECT_EQ(outputPixels, inputPixels);

    EXPECT_EQ(calls(3, nullptr), Calls{});
}
