#include "EffectBridge.h"

#include <atomic>
#include <cstdio>
#include <exception>
#include <utility>

#include "PixelOrder.h"

namespace Brindel::Frei0r {

namespace {

constexpr PF_ParamIndex kBlurScaleParam = 1;

// Once for the process, not per bridge: hosts such as MLT set the module up
// more than once, and the user needs to read it one time.
std::atomic<bool> sReported{false};

const char* CommandName(PF_Cmd cmd) {
    switch (cmd) {
    case PF_Cmd_GLOBAL_SETUP:
        return "global setup";
    case PF_Cmd_PARAMS_SETUP:
        return "parameter setup";
    case PF_Cmd_SMART_PRE_RENDER:
        return "smart pre-render";
    case PF_Cmd_SMART_RENDER:
        return "smart render";
    case PF_Cmd_GLOBAL_SETDOWN:
        return "global set-down";
    default:
        return "a command";
    }
}

std::string Refusal(PF_Cmd cmd, PF_Err err) {
    return std::string("the effect ") + Host::EffectHost::ErrorReason(err) + ": " +
           CommandName(cmd) + " returned PF_Err " + std::to_string(err);
}

} // namespace

EffectBridge::EffectBridge(std::vector<std::string> pluginPaths)
    : mPluginPaths(std::move(pluginPaths)) {}

EffectBridge::~EffectBridge() {
    if (!mThread.started()) {
        return; // no frame came: nothing was loaded
    }
    try {
        mThread.run([this] {
            if (mGlobalSetUp && mHost) {
                mHost->send(PF_Cmd_GLOBAL_SETDOWN);
            }
            // The host's GL contexts belong to this thread.
            mHost.reset();
        });
    } catch (...) {
        // Nothing can be reported to a host that is unloading us.
    }
}

void EffectBridge::report(const std::string& what) {
    if (!sReported.exchange(true)) {
        std::fprintf(stderr, "gaussian_blur: %s; frames pass through unchanged\n", what.c_str());
        std::fflush(stderr);
    }
}

void EffectBridge::reportFrame(const std::string& what) {
    std::fprintf(stderr, "gaussian_blur: %s; the frame passes through unchanged\n", what.c_str());
    std::fflush(stderr);
}

bool EffectBridge::ready() {
    if (mState != State::Unloaded) {
        return mState == State::Ready;
    }
    if (!mHost) {
        std::string failures;
        for (const std::string& path : mPluginPaths) {
            try {
                mHost = std::make_unique<Host::EffectHost>(path);
                break;
            } catch (const std::exception& e) {
                failures += (failures.empty() ? "" : " and ") + std::string(e.what());
            }
        }
        if (!mHost) {
            mState = State::Failed;
            report(failures);
            return false;
        }
        // The render thread is the module's own and no application context lives
        // on it, so the effect is called with nothing current: no context of the
        // host's own that a display terminated by the application could take down.
        mHost->useHostContext(false);
    }
    // A refused setup step is sent again with the next frame: the GPU may have the memory or
    // the context by then.
    if (!mGlobalSetUp) {
        if (const PF_Err err = mHost->send(PF_Cmd_GLOBAL_SETUP)) {
            reportFrame(Refusal(PF_Cmd_GLOBAL_SETUP, err));
            return false;
        }
        mGlobalSetUp = true;
    }
    if (const PF_Err err = mHost->send(PF_Cmd_PARAMS_SETUP)) {
        reportFrame(Refusal(PF_Cmd_PARAMS_SETUP, err));
        return false;
    }
    mState = State::Ready;
    return true;
}

PF_Err EffectBridge::renderFrame(Host::World& input, Host::World& output, double blurPixels) {
    // The same request as aehost sends, so that both give the same pixels.
    mHost->setParamValue(kBlurScaleParam, blurPixels);
    mHost->setLayerRect({0, 0, input.width(), input.height()});
    PF_PreRenderInput request{};
    request.output_request.rect = {0, 0, output.width(), output.height()};
    request.output_request.channel_mask = PF_ChannelMask_ARGB;
    request.bitdepth = 8;
    PF_PreRenderOutput result{};
    if (const PF_Err err = mHost->preRender(request, result)) {
        reportFrame(Refusal(PF_Cmd_SMART_PRE_RENDER, err));
        return err;
    }
    if (const PF_Err err = mHost->smartRender(input, output)) {
        reportFrame(Refusal(PF_Cmd_SMART_RENDER, err));
        return err;
    }
    return PF_Err_NONE;
}

void EffectBridge::render(BridgeInstance& instance, const uint32_t* input, uint32_t* output) {
    const size_t pixels = instance.pixelCount();
    const auto* rgbaIn = reinterpret_cast<const uint8_t*>(input);
    auto* rgbaOut = reinterpret_cast<uint8_t*>(output);
    Host::World& argbIn = instance.input();

    // The input is the application's and read-only, so its reordering needs a
    // world of its own. The output world is the output frame itself: frei0r's
    // rows are exactly width * 4 bytes apart, so the effect writes straight
    // into it and the channels are reordered in place.
    RgbaToArgb(rgbaIn, argbIn.row(0), pixels);
    Host::World argbOut(instance.width(), instance.height(), PF_PixelFormat_ARGB32,
                        instance.width() * 4, output);
    const double blur = instance.blurPixels();

    bool rendered = false;
    try {
        mThread.run([&] { rendered = ready() && renderFrame(argbIn, argbOut, blur) == 0; });
    } catch (const std::exception& e) {
        // The host's own GL context refused, or the render thread could not run the frame.
        reportFrame(e.what());
    } catch (...) {
        reportFrame("the effect host failed");
    }
    // A failed frame may have been written in part, and the output may be the
    // input's own memory: the reordered copy restores it either way.
    ArgbToRgba(rendered ? rgbaOut : argbIn.row(0), rgbaOut, pixels);
}

} // namespace Brindel::Frei0r
