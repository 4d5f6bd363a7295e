// The plug-in's entry point, driven through the headless host by a random session: the
// lifecycle commands in a host's order, frames of random sizes, row padding and depths on this
// thread or a new one, Blur Scale values across the slider's range, downsampling, commands the
// effect ignores, and host faults (failing or throwing callbacks, missing suites, null worlds).
// After every command the host's context must be current again; a frame that succeeds leaves the
// input and the output's padding alone; the set-down leaves nothing checked out.
#include <dlfcn.h>

#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "EffectHost.h"
#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "World.h"

using Brindel::Fuzz::FuzzInput;
using namespace Brindel::Host;

namespace {

constexpr PF_ParamIndex kBlurScale = 1;

// clang-format off
enum class Op { GlobalSetup, ParamsSetup, GlobalSetdown, Frame, PreRenderOnly, RenderOnly, FrameOnNewThread, BlurValue, Downsample,
                FailCallback, ThrowFromCallback, SuiteFault, ClearFaults, NullWorlds, About, IgnoredCommand, Count };
// clang-format on

// clang-format off
const PF_Err kErrors[] = {PF_Err_OUT_OF_MEMORY, PF_Err_INTERNAL_STRUCT_DAMAGED, PF_Err_INVALID_INDEX, PF_Err_UNRECOGNIZED_PARAM_TYPE,
                          PF_Err_INVALID_CALLBACK, PF_Err_BAD_CALLBACK_PARAM, PF_Interrupt_CANCEL, PF_Err_CANNOT_PARSE_KEYFRAME_TEXT};
const std::pair<const char*, int> kSuites[] = {{kPFANSISuite, kPFANSISuiteVersion1}, {kPFHandleSuite, kPFHandleSuiteVersion1},
    {kPFIterateFloatSuite, kPFIterateFloatSuiteVersion1}, {kAEGPPFInterfaceSuite, kAEGPPFInterfaceSuiteVersion1},
    {kAEGPLayerSuite, kAEGPLayerSuiteVersion5}, {kAEGPItemSuite, kAEGPItemSuiteVersion6}};
// Commands the effect acknowledges without work, sent as a host would between frames.
const PF_Cmd kIgnored[] = {PF_Cmd_SEQUENCE_SETUP, PF_Cmd_SEQUENCE_RESETUP, PF_Cmd_SEQUENCE_FLATTEN, PF_Cmd_SEQUENCE_SETDOWN,
                           PF_Cmd_FRAME_SETUP, PF_Cmd_FRAME_SETDOWN};
// clang-format on

// A slider value as the host may hold one: within the parameter's range 0 to 60, often at or
// near the values where the kernel changes shape.
double BlurValue(FuzzInput& input) {
    const double edges[] = {0.0, 0.4, 0.49999, 0.5, 0.5000001, 1.0, 1.5, 59.99, 60.0};
    return input.flag() ? edges[input.integer(0, std::size(edges) - 1)]
                        : static_cast<double>(input.integer(0, 60000)) / 1000.0;
}

// The pixel format, size and padding of one world; padding comes in whole pixels, as a host's
// rows start at multiples of the pixel size.
std::unique_ptr<World> MakeWorld(FuzzInput& input, PF_PixelFormat format) {
    const auto width = static_cast<A_long>(input.integer(0, 40));
    const auto height = static_cast<A_long>(input.integer(0, 40));
    const auto padding = static_cast<A_long>(input.integer(0, 4) * World::PixelSize(format));
    auto world = std::make_unique<World>(width, height, format, padding);
    for (A_long y = 0; y < height; ++y) {
        for (size_t i = 0; i < static_cast<size_t>(width) * world->pixelSize(); ++i) {
            world->row(y)[i] =
                static_cast<uint8_t>(input.byte() ^ (static_cast<size_t>(y) * 31 + i));
        }
    }
    return world;
}

class Session {
public:
    explicit Session(FuzzInput& input) : mInput(input), mHost(BRINDEL_PLUGIN_PATH) {}

    void run() {
        // A host always begins with global set-up.
        send(PF_Cmd_GLOBAL_SETUP);
        while (!mInput.empty()) {
            step(static_cast<Op>(mInput.integer(0, static_cast<int>(Op::Count) - 1)));
        }
        // ... and ends with global set-down, with its callbacks working again.
        mHost.clearFaults();
        mHost.giveNullWorlds(false);
        if (mGlobalUp) {
            send(PF_Cmd_GLOBAL_SETDOWN);
        }
        FUZZ_CHECK(mHost.suites().outstanding() == 0);
        FUZZ_CHECK(mHost.paramsOut() == 0);
    }

private:
    void send(PF_Cmd cmd) {
        const PF_Err err = mHost.send(cmd);
        FUZZ_CHECK(mHost.glContext().isCurrent());
        if (cmd == PF_Cmd_GLOBAL_SETUP) {
            mGlobalUp = err == PF_Err_NONE;
        } else if (cmd == PF_Cmd_PARAMS_SETUP) {
            mParamsUp = err == PF_Err_NONE;
        } else if (cmd == PF_Cmd_GLOBAL_SETDOWN) {
            mGlobalUp = mParamsUp = false;
        }
    }

    PF_Err preRender(const World& output) {
        PF_PreRenderInput request{};
        request.output_request.rect = {0, 0, output.width(), output.height()};
        request.output_request.channel_mask = PF_ChannelMask_ARGB;
        request.bitdepth = static_cast<short>(8 * output.pixelSize() / 4);
        PF_PreRenderOutput result{};
        mHost.setLayerRect({0, 0, output.width(), output.height()});
        const PF_Err err = mHost.preRender(request, result);
        FUZZ_CHECK(mHost.glContext().isCurrent());
        return err;
    }

    void render(World& input, World& output) {
        const size_t inputSize = static_cast<size_t>(input.rowbytes()) * input.height();
        const std::vector<uint8_t> before(input.row(0), input.row(0) + inputSize);
        const PF_Err err = mHost.smartRender(input, output);
        FUZZ_CHECK(mHost.glContext().isCurrent());
        FUZZ_CHECK(mHost.paramsOut() == 0);
        FUZZ_CHECK(before.empty() || std::memcmp(before.data(), input.row(0), before.size()) == 0);
        FUZZ_CHECK(err != PF_Err_NONE || output.paddingIntact());
    }

    // One frame as the host sends it: pre-render (unless only rendering), then render.
    void frame(bool preRenderFirst) {
        // Mostly the depth the effect declares; sometimes one it did not ask for.
        const PF_PixelFormat format =
            mInput.integer(0, 7) == 0 ? PF_PixelFormat_ARGB64 : PF_PixelFormat_ARGB32;
        std::unique_ptr<World> input = MakeWorld(mInput, format);
        // Mostly of the input's size, with padding of its own.
        std::unique_ptr<World> output =
            mInput.integer(0, 7) == 0
                ? MakeWorld(mInput, format)
                : std::make_unique<World>(input->width(), input->height(), format,
                                          static_cast<A_long>(mInput.integer(0, 2) * 4));
        if (mParamsUp && (!preRenderFirst || preRender(*output) == PF_Err_NONE)) {
            render(*input, *output);
        }
    }

    // A whole frame on a thread of its own, which lets go of the host's context when done.
    void frameOnNewThread() {
        std::unique_ptr<World> input = MakeWorld(mInput, PF_PixelFormat_ARGB32);
        World output(input->width(), input->height(), PF_PixelFormat_ARGB32);
        std::thread thread([&] {
            if (mParamsUp && preRender(output) == PF_Err_NONE) {
                render(*input, output);
            }
            HostGLContext::releaseCurrent();
        });
        thread.join();
    }

    Callback anyCallback() {
        return static_cast<Callback>(mInput.integer(0, static_cast<int>(Callback::Count) - 1));
    }

    // clang-format off
    void step(Op op) {
        switch (op) {
        case Op::GlobalSetup: if (!mGlobalUp) send(PF_Cmd_GLOBAL_SETUP); break;
        case Op::ParamsSetup: if (mGlobalUp && !mParamsUp) send(PF_Cmd_PARAMS_SETUP); break;
        case Op::GlobalSetdown: if (mGlobalUp) send(PF_Cmd_GLOBAL_SETDOWN); break;
        case Op::Frame: frame(true); break;
        case Op::PreRenderOnly: if (mParamsUp) preRender(*MakeWorld(mInput, PF_PixelFormat_ARGB32)); break;
        case Op::RenderOnly: frame(false); break;
        case Op::FrameOnNewThread: frameOnNewThread(); break;
        case Op::BlurValue: mHost.setParamValue(kBlurScale, BlurValue(mInput)); break;
        case Op::Downsample: {
            const auto den = static_cast<A_u_long>(mInput.integer(1, 16));
            mHost.inData().downsample_x = mHost.inData().downsample_y = {1, den};
            break;
        }
        // The callback is read before the fault: argument order is unspecified, and the corpus
        // must mean the same session in every compiler's build.
        case Op::FailCallback: {
            const Callback callback = anyCallback();
            mHost.fail(callback, kErrors[mInput.integer(0, std::size(kErrors) - 1)]);
            break;
        }
        case Op::ThrowFromCallback: {
            const Callback callback = anyCallback();
            mHost.raise(callback, mInput.flag() ? std::make_exception_ptr(std::bad_alloc()) : std::make_exception_ptr(std::runtime_error("host fault")));
            break;
        }
        case Op::SuiteFault: {
            const auto& [name, version] = kSuites[mInput.integer(0, std::size(kSuites) - 1)];
            mHost.suites().setFault(name, version, mInput.flag() ? SuiteFault::Missing : SuiteFault::SuccessWithoutSuite);
            break;
        }
        case Op::ClearFaults: mHost.clearFaults(); break;
        case Op::NullWorlds: mHost.giveNullWorlds(mInput.flag()); break;
        case Op::About: if (mGlobalUp) send(PF_Cmd_ABOUT); break;
        case Op::IgnoredCommand: if (mGlobalUp) send(kIgnored[mInput.integer(0, std::size(kIgnored) - 1)]); break;
        case Op::Count: break;
        }
    }
    // clang-format on

    FuzzInput& mInput;
    EffectHost mHost;
    bool mGlobalUp = false;
    bool mParamsUp = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // libFuzzer keeps the coverage counters of every module it has seen, so the plug-in must stay
    // mapped while hosts load and unload it input after input.
    static void* const pinned = dlopen(BRINDEL_PLUGIN_PATH, RTLD_NOW | RTLD_NODELETE);
    FUZZ_CHECK(pinned != nullptr);
    FuzzInput input(data, size);
    Session(input).run();
    return 0;
}
