#include "FrameRenderer.h"

#include <chrono>
#include <sstream>

#include "AehostOptions.h"
#include "StandardErrorMute.h"

namespace Brindel::Host {

namespace {

constexpr PF_ParamIndex kBlurScale = 1;

} // namespace

namespace {

std::string FramePrefix(long frame) {
    return frame > 0 ? "frame " + std::to_string(frame) + ": " : "";
}

} // namespace

PluginError::PluginError(PF_Cmd cmd, PF_Err code, long frame)
    : std::runtime_error(FramePrefix(frame) + "the plug-in " + EffectHost::ErrorReason(code) +
                         ": " + CommandName(cmd) + " returned PF_Err " + std::to_string(code)),
      mCommand(cmd), mCode(code), mFrame(frame) {}

FrameGLError::FrameGLError(long frame, const std::string& what)
    : std::runtime_error(FramePrefix(frame) + what) {}

const char* PluginError::CommandName(PF_Cmd cmd) {
    switch (cmd) {
    case PF_Cmd_ABOUT:
        return "PF_Cmd_ABOUT";
    case PF_Cmd_GLOBAL_SETUP:
        return "PF_Cmd_GLOBAL_SETUP";
    case PF_Cmd_GLOBAL_SETDOWN:
        return "PF_Cmd_GLOBAL_SETDOWN";
    case PF_Cmd_PARAMS_SETUP:
        return "PF_Cmd_PARAMS_SETUP";
    case PF_Cmd_SMART_PRE_RENDER:
        return "PF_Cmd_SMART_PRE_RENDER";
    case PF_Cmd_SMART_RENDER:
        return "PF_Cmd_SMART_RENDER";
    default:
        return "command";
    }
}

FrameTooLarge::FrameTooLarge(A_long width, A_long height, int maxWidth, int maxHeight)
    : std::runtime_error("a frame of " + std::to_string(width) + "x" + std::to_string(height) +
                         " is larger than the GL context can hold: at most " +
                         std::to_string(maxWidth) + "x" + std::to_string(maxHeight)) {}

FrameRenderer::Worker::Worker() : mThread([this] { loop(); }) {}

FrameRenderer::Worker::~Worker() {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mQuit = true;
    }
    mWake.notify_all();
    mThread.join();
}

void FrameRenderer::Worker::run(const std::function<void()>& job) {
    std::unique_lock<std::mutex> lock(mMutex);
    mJob = job;
    mBusy = true;
    mError = nullptr;
    mWake.notify_all();
    mWake.wait(lock, [this] { return !mBusy; });
    if (mError) {
        std::rethrow_exception(mError);
    }
}

void FrameRenderer::Worker::loop() {
    std::unique_lock<std::mutex> lock(mMutex);
    for (;;) {
        mWake.wait(lock, [this] { return mBusy || mQuit; });
        if (mQuit) {
            return;
        }
        try {
            mJob();
        } catch (...) {
            mError = std::current_exception();
        }
        mBusy = false;
        mWake.notify_all();
    }
}

FrameRenderer::FrameRenderer(EffectHost& host, double blur, int downsample, int threads, bool quiet)
    : mHost(host), mQuiet(quiet) {
    const StandardErrorMute mute(mQuiet);
    // The effect's contexts come from the same display as the host's, so they share its limits.
    mLimits = mHost.glContext().limits();
    PF_InData& in = mHost.inData();
    in.downsample_x = {1, static_cast<A_u_long>(downsample)};
    in.downsample_y = {1, static_cast<A_u_long>(downsample)};

    check(PF_Cmd_GLOBAL_SETUP, mHost.send(PF_Cmd_GLOBAL_SETUP));
    check(PF_Cmd_PARAMS_SETUP, mHost.send(PF_Cmd_PARAMS_SETUP));

    const std::vector<PF_ParamDef> params = mHost.addedParams();
    if (params.size() >= kBlurScale && params[kBlurScale - 1].param_type == PF_Param_FLOAT_SLIDER) {
        const PF_FloatSliderDef& slider = params[kBlurScale - 1].u.fs_d;
        if (blur < slider.valid_min || blur > slider.valid_max) {
            mHost.send(PF_Cmd_GLOBAL_SETDOWN);
            std::ostringstream message;
            message << "--blur " << blur << " is outside " << params[kBlurScale - 1].name
                    << "'s range " << slider.valid_min << " to " << slider.valid_max;
            throw UsageError(message.str());
        }
    }
    mHost.setParamValue(kBlurScale, blur);

    for (int i = 0; i < threads; ++i) {
        mWorkers.push_back(std::make_unique<Worker>());
    }
}

FrameRenderer::~FrameRenderer() {
    const StandardErrorMute mute(mQuiet);
    mWorkers.clear();
    if (!mFinished) {
        try {
            mHost.send(PF_Cmd_GLOBAL_SETDOWN);
        } catch (const HostGLError&) {
            // A run that is already failing; the set-down is skipped, as its context is.
        }
    }
}

void FrameRenderer::check(PF_Cmd cmd, PF_Err err, long frame) const {
    if (err != PF_Err_NONE) {
        throw PluginError(cmd, err, frame);
    }
}

double FrameRenderer::render(World& input, World& output) {
    // GL would leave the frame's storage out and hand back black: refuse it up front.
    if (!mLimits.fits(input.width(), input.height())) {
        throw FrameTooLarge(input.width(), input.height(), mLimits.maxFrameWidth(),
                            mLimits.maxFrameHeight());
    }
    Worker& worker = *mWorkers[mNext];
    mNext = (mNext + 1) % mWorkers.size();
    const long frame = ++mFrames;

    double milliseconds = 0.0;
    const StandardErrorMute mute(mQuiet);
    worker.run([&] {
        const auto start = std::chrono::steady_clock::now();
        PF_PreRenderInput request{};
        request.output_request.rect = {0, 0, output.width(), output.height()};
        request.output_request.channel_mask = PF_ChannelMask_ARGB;
        request.bitdepth = 8;
        PF_PreRenderOutput result{};
        mHost.setLayerRect({0, 0, input.width(), input.height()});
        try {
            check(PF_Cmd_SMART_PRE_RENDER, mHost.preRender(request, result), frame);
            check(PF_Cmd_SMART_RENDER, mHost.smartRender(input, output), frame);
        } catch (const HostGLError& e) {
            // The host's context, made on this thread at its first frame or made current for
            // a command.
            throw FrameGLError(frame, e.what());
        }
        milliseconds =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count();
    });
    return milliseconds;
}

void FrameRenderer::finish() {
    const StandardErrorMute mute(mQuiet);
    mWorkers.clear();
    mFinished = true;
    check(PF_Cmd_GLOBAL_SETDOWN, mHost.send(PF_Cmd_GLOBAL_SETDOWN));
}

} // namespace Brindel::Host
