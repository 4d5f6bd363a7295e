// The effect as a guest in the host's process: it runs on the host's threads
// beside the host's own GL, and must leave the host's EGL state, contexts,
// binding registrations and locks as it found them, and render right however
// often the host sets it up.
#include <gtest/gtest.h>

#include <EGL/egl.h>
#include <dlfcn.h>
#include <glbinding/Binding.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "EffectHost.h"

using Brindel::Host::Callback;
using Brindel::Host::EffectHost;
using Brindel::Host::HostGLContext;
using Brindel::Host::World;

namespace {

// A frame of one opaque colour, padded rows included: blurred or not, it stays that colour.
void ExpectUniformFrame(EffectHost& host, double blur) {
    constexpr PF_Pixel8 kColour{255, 200, 100, 50};
    constexpr int kSize = 12;
    World input(kSize, kSize, PF_PixelFormat_ARGB32, 8),
        output(kSize, kSize, PF_PixelFormat_ARGB32, 8);
    for (A_long y = 0; y < kSize; ++y) {
        std::fill_n(input.pixels<PF_Pixel8>(y), kSize, kColour);
    }
    host.setParamValue(1, blur);
    EXPECT_EQ(host.smartRender(input, output), PF_Err_NONE) << "blur " << blur;
    for (int i = 0; i < kSize * kSize; ++i) {
        const PF_Pixel8& p = output.pixels<PF_Pixel8>(i / kSize)[i % kSize];
        EXPECT_TRUE(p.alpha == kColour.alpha && std::abs(p.red - kColour.red) <= 1 &&
                    std::abs(p.green - kColour.green) <= 1 && std::abs(p.blue - kColour.blue) <= 1)
            << "blur " << blur << ", pixel " << i % kSize << ", " << i / kSize << ": "
            << int{p.alpha} << "," << int{p.red} << "," << int{p.green} << "," << int{p.blue};
    }
}

// Every context the GL binding is pointed at, from the start of the program.
std::mutex gBoundMutex;
std::set<glbinding::ContextHandle> gBound;

bool EverBound(EGLContext context) {
    static const bool following = [] {
        glbinding::Binding::addContextSwitchCallback([](glbinding::ContextHandle bound) {
            std::lock_guard<std::mutex> lock(gBoundMutex);
            gBound.insert(bound);
        });
        return true;
    }();
    std::lock_guard<std::mutex> lock(gBoundMutex);
    return following && gBound.count(reinterpret_cast<glbinding::ContextHandle>(context)) != 0;
}

} // namespace

// What the host's thread had (the client API bound, a context of the host's own or none) is what
// it has after every command and after the module's unload, with no EGL error left. The host's
// context is never named to the GL binding, which would keep a state slot for it in every GL
// function.
TEST(GaussianBlurGuest, HostThreadsEglStateIsLeftAsFoundThroughASessionAndTheUnload) {
    EverBound(EGL_NO_CONTEXT); // follow the binding from here on
    struct Case {
        const char* what;
        EGLenum api;
        bool hostContext;
    };
    // The host's own context first: later ones may reuse the handles of the effect's contexts.
    for (const Case& c : {Case{"a context made with EGL alone", EGL_OPENGL_API, true},
                          Case{"OpenGL ES bound", EGL_OPENGL_ES_API, false},
                          Case{"nothing current", EGL_OPENGL_API, false}}) {
        SCOPED_TRACE(c.what);
        auto host = std::make_unique<EffectHost>(BRINDEL_PLUGIN_PATH);
        host->useHostContext(false);
        // The same display as the effect's, found the way the host finds it.
        const EGLDisplay display = host->glContext().display();
        std::promise<void> commandsSent, hostGone;
        std::thread thread([&] {
            // The last reference is this thread's, so that the module's unload runs here.
            void* module = dlopen(BRINDEL_PLUGIN_PATH, RTLD_NOW | RTLD_NOLOAD);
            EGLContext context = EGL_NO_CONTEXT;
            if (c.hostContext) {
                const EGLint wanted[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0,
                                         EGL_NONE};
                const EGLint version[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION,
                                          2, EGL_NONE};
                EGLConfig config = nullptr;
                EGLint count = 0;
                eglBindAPI(EGL_OPENGL_API);
                eglChooseConfig(display, wanted, &config, 1, &count);
                context = eglCreateContext(display, config, EGL_NO_CONTEXT, version);
                eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context);
            }
            if (module == nullptr || !eglBindAPI(c.api) || eglGetCurrentContext() != context) {
                ADD_FAILURE() << "no module, or no host state to leave";
                commandsSent.set_value();
                return;
            }
            const auto expectAsFound = [&](const char* after) {
                EXPECT_EQ(eglQueryAPI(), c.api) << "after " << after;
                EXPECT_EQ(eglGetCurrentContext(), context) << "after " << after;
                EXPECT_EQ(eglGetError(), EGL_SUCCESS) << "after " << after;
            };
            EXPECT_EQ(host->send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
            expectAsFound("set-up");
            EXPECT_EQ(host->send(PF_Cmd_PARAMS_SETUP), PF_Err_NONE);
            expectAsFound("parameter set-up");
            PF_PreRenderInput request{};
            request.output_request.rect = {0, 0, 12, 12};
            PF_PreRenderOutput result{};
            EXPECT_EQ(host->preRender(request, result), PF_Err_NONE);
            ExpectUniformFrame(*host, 3.0);
            ExpectUniformFrame(*host, 3.0);
            expectAsFound("frames");
            EXPECT_EQ(host->send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
            expectAsFound("set-down");
            commandsSent.set_value();
            hostGone.get_future().wait();
            EXPECT_EQ(dlclose(module), 0);
            EXPECT_EQ(dlopen(BRINDEL_PLUGIN_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr)
                << "not unloaded";
            expectAsFound("the unload");
            EXPECT_FALSE(c.hostContext && EverBound(context))
                << "the host's context was registered with the binding";
            if (c.hostContext) {
                eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
                eglDestroyContext(display, context);
            }
        });
        commandsSent.get_future().wait();
        host.reset();
        hostGone.set_value();
        thread.join();
    }
}

// The host applies the effect again, with or without a set-down between, and renders from threads
// that have rendered before and from one that has not. It may hold a lock of its own while it
// calls the effect, and take the same lock in its callbacks: the effect must not hold its render
// lock across a callback, or another thread's frame inside the effect deadlocks with it.
TEST(GaussianBlurGuest, FramesRenderRightAfterSetupAgainOnAnyThreadAndDuringHostCallbacks) {
    EffectHost host(BRINDEL_PLUGIN_PATH);
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    ASSERT_EQ(host.send(PF_Cmd_PARAMS_SETUP), PF_Err_NONE);
    ExpectUniformFrame(host, 3.0);
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    ExpectUniformFrame(host, 3.0);
    ExpectUniformFrame(host, 0.0);
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    ExpectUniformFrame(host, 3.0);
    std::thread([&] {
        ExpectUniformFrame(host, 3.0);
        ExpectUniformFrame(host, 6.0);
        HostGLContext::releaseCurrent();
    }).join();
    ExpectUniformFrame(host, 0.0);
    for (const Callback callback : {Callback::GetPixelData8, Callback::NewHandle}) {
        std::atomic<bool> fired{false};
        std::future<void> other;
        bool otherFinished = false;
        // Inside the callback of one frame, a frame on another thread must run to its end.
        host.onCall(callback, [&] {
            if (fired.exchange(true)) {
                return;
            }
            other = std::async(std::launch::async, [&] {
                ExpectUniformFrame(host, 2.0);
                HostGLContext::releaseCurrent();
            });
            otherFinished = other.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
        });
        ExpectUniformFrame(host, 2.0);
        host.clearFaults();
        ASSERT_TRUE(fired);
        EXPECT_TRUE(otherFinished) << "a frame waited on the render lock during a host callback";
        other.get();
    }
    ASSERT_EQ(host.send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
    EXPECT_TRUE(host.glContext().isCurrent());
}
