// The effect as a guest in the host's process: it runs on the host's threads
// beside the host's own GL, and must leave the host's EGL state, contexts,
// binding registrations and locks as it found them, and render right however
// often the host sets it up.
#include <gtest/gtest.h>

#include <EGL/egl.h>
#include <dlfcn.h>
#include <glbinding/Binding.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <future>
#include <limits>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "EffectHost.h"
#include "GLCallRecorder.h"

using Brindel::Host::Callback;
using Brindel::Host::EffectHost;
using Brindel::Host::HostGLContext;
using Brindel::Host::World;
using Brindel::Testing::GLCallRecorder;

namespace {

constexpr PF_Pixel8 kColour{255, 200, 100, 50};

// A frame of one opaque colour: blurred or not, it stays that colour.
PF_Err RenderUniform(EffectHost& host, double blur, PF_Pixel8& corner, PF_Pixel8& centre) {
    constexpr int kSize = 12;
    World input(kSize, kSize, PF_PixelFormat_ARGB32, 8);
    World output(kSize, kSize, PF_PixelFormat_ARGB32, 8);
    for (A_long y = 0; y < kSize; ++y) {
        for (A_long x = 0; x < kSize; ++x) {
            input.pixels<PF_Pixel8>(y)[x] = kColour;
        }
    }
    host.setParamValue(1, blur);
    const PF_Err err = host.smartRender(input, output);
    corner = output.pixels<PF_Pixel8>(0)[0];
    centre = output.pixels<PF_Pixel8>(kSize / 2)[kSize / 2];
    return err;
}

bool SameColour(const PF_Pixel8& got) {
    return got.alpha == kColour.alpha && std::abs(got.red - kColour.red) <= 1 &&
           std::abs(got.green - kColour.green) <= 1 && std::abs(got.blue - kColour.blue) <= 1;
}

std::string Text(const PF_Pixel8& p) {
    return std::to_string(p.alpha) + "," + std::to_string(p.red) + "," + std::to_string(p.green) +
           "," + std::to_string(p.blue);
}

void ExpectFrameIntact(EffectHost& host, double blur) {
    PF_Pixel8 corner{};
    PF_Pixel8 centre{};
    EXPECT_EQ(RenderUniform(host, blur, corner, centre), PF_Err_NONE) << "blur " << blur;
    EXPECT_TRUE(SameColour(corner)) << "blur " << blur << ": corner " << Text(corner);
    EXPECT_TRUE(SameColour(centre)) << "blur " << blur << ": centre " << Text(centre);
}

// Runs `body` on a thread of its own, whose EGL state starts clean.
template <typename Body> void OnFreshThread(Body body) {
    std::thread thread(body);
    thread.join();
}

// A host context made with EGL alone, never named to the GL binding: a host
// that does not use the binding itself.
class RawHostContext {
public:
    explicit RawHostContext(EGLDisplay display) : mDisplay(display) {
        eglBindAPI(EGL_OPENGL_API);
        const EGLint wanted[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0,
                                 EGL_NONE};
        EGLConfig config = nullptr;
        EGLint count = 0;
        eglChooseConfig(mDisplay, wanted, &config, 1, &count);
        const EGLint attributes[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 2,
                                     EGL_NONE};
        mContext = eglCreateContext(mDisplay, config, EGL_NO_CONTEXT, attributes);
    }
    ~RawHostContext() { eglDestroyContext(mDisplay, mContext); }

    EGLContext context() const { return mContext; }
    bool makeCurrent() {
        return eglMakeCurrent(mDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, mContext) == EGL_TRUE;
    }

private:
    EGLDisplay mDisplay;
    EGLContext mContext = EGL_NO_CONTEXT;
};

// Every context the GL binding is pointed at, from the start of the program.
std::mutex gBoundMutex;
std::set<glbinding::ContextHandle> gBound;

void FollowTheBinding() {
    static const bool once = [] {
        glbinding::Binding::addContextSwitchCallback([](glbinding::ContextHandle context) {
            std::lock_guard<std::mutex> lock(gBoundMutex);
            gBound.insert(context);
        });
        return true;
    }();
    (void)once;
}

bool EverBound(EGLContext context) {
    std::lock_guard<std::mutex> lock(gBoundMutex);
    return gBound.count(reinterpret_cast<glbinding::ContextHandle>(context)) != 0;
}

} // namespace

TEST(GaussianBlurGuest, ClientApiTheHostBoundIsLeftAsFoundUpToTheUnload) {
    auto host = std::make_unique<EffectHost>(BRINDEL_PLUGIN_PATH);
    host->useHostContext(false);
    std::promise<void> commandsSent;
    std::promise<void> hostGone;
    std::thread thread([&] {
        // The last reference is this thread's, so that the module's unload runs here.
        void* module = dlopen(BRINDEL_PLUGIN_PATH, RTLD_NOW | RTLD_NOLOAD);
        if (module == nullptr || !eglBindAPI(EGL_OPENGL_ES_API)) {
            ADD_FAILURE() << "no module, or no OpenGL ES to bind";
            commandsSent.set_value();
            return;
        }
        const auto expectEs = [](const char* after) {
            EXPECT_EQ(eglQueryAPI(), static_cast<EGLenum>(EGL_OPENGL_ES_API)) << "after " << after;
        };
        EXPECT_EQ(host->send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
        expectEs("set-up");
        EXPECT_EQ(host->send(PF_Cmd_PARAMS_SETUP), PF_Err_NONE);
        expectEs("parameter set-up");
        PF_PreRenderInput request{};
        request.output_request.rect = {0, 0, 12, 12};
        PF_PreRenderOutput result{};
        EXPECT_EQ(host->preRender(request, result), PF_Err_NONE);
        ExpectFrameIntact(*host, 2.0);
        expectEs("a frame");
        EXPECT_EQ(host->send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
        expectEs("set-down");
        commandsSent.set_value();
        hostGone.get_future().wait();
        EXPECT_EQ(dlclose(module), 0);
        EXPECT_EQ(dlopen(BRINDEL_PLUGIN_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr) << "not unloaded";
        expectEs("the unload");
    });
    commandsSent.get_future().wait();
    host.reset();
    hostGone.set_value();
    thread.join();
}

TEST(GaussianBlurGuest, ThreadWithoutContextIsLeftWithoutOneAndWithoutEglError) {
    EffectHost host(BRINDEL_PLUGIN_PATH);
    host.useHostContext(false);
    OnFreshThread([&] {
        EXPECT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
        EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "after set-up";
        EXPECT_EQ(eglGetError(), EGL_SUCCESS) << "after set-up";
        ASSERT_EQ(host.send(PF_Cmd_PARAMS_SETUP), PF_Err_NONE);
        ExpectFrameIntact(host, 3.0);
        EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "after a frame";
        EXPECT_EQ(host.send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
        EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "after set-down";
        EXPECT_EQ(eglGetError(), EGL_SUCCESS) << "after set-down";
    });
}

TEST(GaussianBlurGuest, FramesRenderRightAfterSetdownAndSetupAgain) {
    EffectHost host(BRINDEL_PLUGIN_PATH);
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    ASSERT_EQ(host.send(PF_Cmd_PARAMS_SETUP), PF_Err_NONE);
    ExpectFrameIntact(host, 3.0);
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);

    // The host applies the effect again without unloading it.
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    ExpectFrameIntact(host, 3.0);
    ExpectFrameIntact(host, 0.0);
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
    EXPECT_TRUE(host.glContext().isCurrent());
}

TEST(GaussianBlurGuest, RepeatedSetupKeepsFramesRight) {
    EffectHost host(BRINDEL_PLUGIN_PATH);
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    ASSERT_EQ(host.send(PF_Cmd_PARAMS_SETUP), PF_Err_NONE);
    ExpectFrameIntact(host, 3.0);

    // A second set-up with no set-down between; then frames from this thread
    // and from one that has not rendered before.
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    ExpectFrameIntact(host, 3.0);
    OnFreshThread([&] {
        ExpectFrameIntact(host, 3.0);
        ExpectFrameIntact(host, 6.0);
        HostGLContext::releaseCurrent();
    });
    ExpectFrameIntact(host, 0.0);
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
}

TEST(GaussianBlurGuest, HostContextIsNeverNamedToTheGLBinding) {
    FollowTheBinding();
    EffectHost host(BRINDEL_PLUGIN_PATH);
    host.useHostContext(false);
    // The same display as the effect's, found the way the host finds it.
    const EGLDisplay display = host.glContext().display();
    OnFreshThread([&] {
        RawHostContext raw(display);
        ASSERT_NE(raw.context(), EGL_NO_CONTEXT);
        ASSERT_TRUE(raw.makeCurrent());
        EXPECT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
        ASSERT_EQ(host.send(PF_Cmd_PARAMS_SETUP), PF_Err_NONE);
        ExpectFrameIntact(host, 4.0);
        ExpectFrameIntact(host, 4.0);
        EXPECT_EQ(host.send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
        EXPECT_EQ(eglGetCurrentContext(), raw.context()) << "the host's context is current again";
        EXPECT_EQ(eglGetError(), EGL_SUCCESS);
        EXPECT_FALSE(EverBound(raw.context()))
            << "the host's context was registered with the binding, which keeps a state slot "
               "for it in every GL function";
        eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    });
}

// A host may hold a lock of its own while it calls the effect, and take the
// same lock in its callbacks. The effect must not hold its render lock across
// a callback, or another thread's frame inside the effect deadlocks with it.
TEST(GaussianBlurGuest, HostCallbacksAreNeverMadeUnderTheRenderLock) {
    EffectHost host(BRINDEL_PLUGIN_PATH);
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    ASSERT_EQ(host.send(PF_Cmd_PARAMS_SETUP), PF_Err_NONE);

    for (const Callback callback : {Callback::GetPixelData8, Callback::NewHandle}) {
        std::atomic<bool> fired{false};
        std::future<PF_Err> other;
        bool otherFinished = false;
        // Inside the callback of one frame, a frame on another thread must
        // run to its end.
        host.onCall(callback, [&] {
            if (fired.exchange(true)) {
                return;
            }
            other = std::async(std::launch::async, [&] {
                PF_Pixel8 corner{};
                PF_Pixel8 centre{};
                const PF_Err err = RenderUniform(host, 2.0, corner, centre);
                HostGLContext::releaseCurrent();
                return err;
            });
            otherFinished = other.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
        });
        ExpectFrameIntact(host, 2.0);
        host.clearFaults();
        ASSERT_TRUE(fired);
        EXPECT_TRUE(otherFinished) << "a frame waited on the render lock during a host callback";
        EXPECT_EQ(other.get(), PF_Err_NONE);
    }
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
}

TEST(GaussianBlurGuest, BlurThatIsNotANumberBuildsItsProgramOnce) {
    EffectHost host(BRINDEL_PLUGIN_PATH);
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    ASSERT_EQ(host.send(PF_Cmd_PARAMS_SETUP), PF_Err_NONE);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    ExpectFrameIntact(host, nan);
    {
        GLCallRecorder recorder;
        ExpectFrameIntact(host, nan);
        ExpectFrameIntact(host, nan);
        EXPECT_EQ(recorder.count("glCreateProgram"), 0u);
        EXPECT_EQ(recorder.count("glCompileShader"), 0u);
    }
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
}
