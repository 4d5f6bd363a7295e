#include "AEOpenGLContext.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <glbinding/AbstractFunction.h>
#include <glbinding/Binding.h>
#include <glbinding/ContextInfo.h>
#include <glbinding/Meta.h>
#include <glbinding/Version.h>
#include <glbinding/gl/gl.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <mutex>
#include <set>
#include <stdexcept>
#include <vector>

namespace Brindel::GaussianBlur {

namespace {

struct PlatformDisplay {
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLConfig config = nullptr;
    bool tracked = false; // initialised with a reference of our own
};

// The client API is a setting of the thread, and the host's: EGL asks it for the current
// context, context creation and the release of the current context. This binds desktop OpenGL
// for a scope and puts back what the thread had, whichever way the scope is left.
class DesktopApi {
public:
    DesktopApi() : mPrevious(eglQueryAPI()) {
        mBound = mPrevious == EGL_OPENGL_API || eglBindAPI(EGL_OPENGL_API) == EGL_TRUE;
    }
    ~DesktopApi() {
        if (mPrevious != EGL_OPENGL_API && mPrevious != EGL_NONE) {
            eglBindAPI(mPrevious);
        }
    }
    DesktopApi(const DesktopApi&) = delete;
    DesktopApi& operator=(const DesktopApi&) = delete;

    bool bound() const { return mBound; }

private:
    EGLenum mPrevious;
    bool mBound = false;
};

bool HasExtension(const char* list, const char* name) {
    if (list == nullptr) {
        return false;
    }
    const std::size_t length = std::strlen(name);
    for (const char* at = std::strstr(list, name); at != nullptr; at = std::strstr(at + 1, name)) {
        const bool startsWord = at == list || at[-1] == ' ';
        const bool endsWord = at[length] == '\0' || at[length] == ' ';
        if (startsWord && endsWord) {
            return true;
        }
    }
    return false;
}

// eglChooseConfig puts the deepest colour first; like a closest-match policy we take the config
// nearest to 8/8/8 with no alpha, depth or stencil.
EGLConfig ChooseConfig(EGLDisplay display) {
    // clang-format off
    const EGLint wanted[] = {
        EGL_RED_SIZE, 8,
        EGL_GREEN_SIZE, 8,
        EGL_BLUE_SIZE, 8,
        EGL_ALPHA_SIZE, 0,
        EGL_DEPTH_SIZE, 0,
        EGL_STENCIL_SIZE, 0,
        EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT,
        EGL_SURFACE_TYPE, 0, // no surface is ever made: any type will do
        EGL_NONE,
    };
    // clang-format on
    EGLint count = 0;
    if (!eglChooseConfig(display, wanted, nullptr, 0, &count) || count <= 0) {
        return nullptr;
    }
    std::vector<EGLConfig> configs(static_cast<std::size_t>(count));
    if (!eglChooseConfig(display, wanted, configs.data(), count, &count)) {
        return nullptr;
    }
    EGLConfig best = nullptr;
    int bestDistance = std::numeric_limits<int>::max();
    for (EGLint i = 0; i < count; ++i) {
        int distance = 0;
        for (const EGLint attribute : {EGL_RED_SIZE, EGL_GREEN_SIZE, EGL_BLUE_SIZE}) {
            EGLint size = 0;
            eglGetConfigAttrib(display, configs[i], attribute, &size);
            distance += std::abs(size - 8);
        }
        for (const EGLint attribute : {EGL_ALPHA_SIZE, EGL_DEPTH_SIZE, EGL_STENCIL_SIZE}) {
            EGLint size = 0;
            eglGetConfigAttrib(display, configs[i], attribute, &size);
            distance += size;
        }
        if (distance < bestDistance) {
            best = configs[i];
            bestDistance = distance;
        }
    }
    return best;
}

bool TryDisplay(EGLDisplay display, PlatformDisplay& out) {
    if (display == EGL_NO_DISPLAY) {
        return false;
    }
    EGLint major = 0;
    EGLint minor = 0;
    if (!eglInitialize(display, &major, &minor)) {
        return false;
    }
    // Contexts are made current with no surface at all.
    const DesktopApi api;
    if (!HasExtension(eglQueryString(display, EGL_EXTENSIONS), "EGL_KHR_surfaceless_context") ||
        !api.bound()) {
        return false;
    }
    EGLConfig config = ChooseConfig(display);
    if (config == nullptr) {
        return false;
    }
    out.display = display;
    out.config = config;
    return true;
}

PlatformDisplay OpenDisplay() {
    PlatformDisplay result;
    const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    const auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay == nullptr) {
        return result;
    }
    // Where EGL counts initialisations, a display of our own reference stays up when the host
    // terminates its own.
    result.tracked = HasExtension(clientExtensions, "EGL_KHR_display_reference");
    const EGLint tracking[] = {EGL_TRACK_REFERENCES_KHR, EGL_TRUE, EGL_NONE};
    const EGLint* attributes = result.tracked ? tracking : nullptr;
    if (HasExtension(clientExtensions, "EGL_EXT_platform_device")) {
        const auto queryDevices =
            reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
        EGLint count = 0;
        if (queryDevices != nullptr && queryDevices(0, nullptr, &count) && count > 0) {
            std::vector<EGLDeviceEXT> devices(static_cast<std::size_t>(count));
            queryDevices(count, devices.data(), &count);
            for (EGLint i = 0; i < count; ++i) {
                if (TryDisplay(getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], attributes),
                               result)) {
                    return result;
                }
            }
        }
    }
    if (HasExtension(clientExtensions, "EGL_MESA_platform_surfaceless")) {
        TryDisplay(
            getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, attributes),
            result);
    }
    return result;
}

// Initialised at first use and never terminated by us: the host may work on the same display, and
// terminating it would take the host's contexts down with ours. The host may terminate it all the
// same; it is then opened again at the next use.
struct DisplayState {
    std::mutex mutex;
    PlatformDisplay display;
    bool open = false;
};

// An object, not a pointer to one on the heap: the module may be unloaded, and what a pointer of
// its held would be left behind, a leak in the host's process.
DisplayState& TheDisplayState() {
    static DisplayState state;
    return state;
}

PlatformDisplay SharedDisplay() {
    DisplayState& state = TheDisplayState();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (!state.open) {
        state.display = OpenDisplay();
        state.open = true;
    }
    return state.display;
}

// The current context is kept per client API; ours is desktop OpenGL.
EGLContext CurrentContext() {
    const DesktopApi api;
    return api.bound() ? eglGetCurrentContext() : EGL_NO_CONTEXT;
}

// The binding cannot ask EGL for the current context, so every context is named to it.
glbinding::ContextHandle Handle(EGLContext context) {
    return static_cast<glbinding::ContextHandle>(reinterpret_cast<std::intptr_t>(context));
}

// The binding keeps a state per context in every function, in a slot per context. Releasing the
// context in the highest slot (glbinding 2.1) drops the slot below along with it, and the next
// call through the context there fails. Growing the states again after such a release repairs
// that; the slot it adds stays spare.
class BindingSlots : public glbinding::AbstractFunction {
public:
    using AbstractFunction::provideState;
    static int highest() { return s_maxpos; }
};

void ReleaseFromBinding(EGLContext context) {
    const int highest = BindingSlots::highest();
    glbinding::Binding::releaseContext(Handle(context));
    if (BindingSlots::highest() < highest) {
        BindingSlots::provideState(BindingSlots::highest() + 1);
    }
}

// The contexts this kit made and has not destroyed. Only they are ever named to the binding
// or flushed through it: a context of the host's is the host's business.
std::mutex& OwnMutex() {
    static std::mutex mutex;
    return mutex;
}

std::set<EGLContext>& OwnContexts() {
    static std::set<EGLContext> contexts;
    return contexts;
}

} // namespace

AEOpenGLContext::AEOpenGLContext(const AEOpenGLContext* shared) {
    PlatformContext lowLevel = nullptr;
    mContext = createNSContext(shared != nullptr ? shared->mContext : nullptr, lowLevel);
    if (!eglMakeCurrent(SharedDisplay().display, EGL_NO_SURFACE, EGL_NO_SURFACE, mContext)) {
        eglDestroyContext(SharedDisplay().display, mContext);
        throw kNoContext;
    }
    {
        std::lock_guard<std::mutex> lock(OwnMutex());
        OwnContexts().insert(mContext);
    }
    InitializeOpenGLBindings();
    mExtensions = glbinding::ContextInfo::extensions(nullptr);
}

AEOpenGLContext::~AEOpenGLContext() {
    if (mContext == nullptr) {
        return;
    }
    const EGLDisplay display = SharedDisplay().display;
    const EGLContext current = CurrentContext();
    ReleaseFromBinding(mContext);
    {
        std::lock_guard<std::mutex> lock(OwnMutex());
        OwnContexts().erase(mContext);
    }
    if (current == mContext) {
        // Left current, the context would outlive its destruction with no binding to call it.
        const DesktopApi api;
        eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    } else if (ownsPlatformContext(current)) {
        // The binding may have reset this thread's slot along with the released one. A context
        // of the host's is never named to the binding: the host points it at its own.
        glbinding::Binding::useContext(Handle(current));
    }
    eglDestroyContext(display, mContext);
}

void AEOpenGLContext::forget() {
    if (mContext == nullptr) {
        return;
    }
    ReleaseFromBinding(mContext);
    {
        std::lock_guard<std::mutex> lock(OwnMutex());
        OwnContexts().erase(mContext);
    }
    mContext = nullptr;
}

bool AEOpenGLContext::platformDisplayLost() {
    DisplayState& state = TheDisplayState();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (!state.open || state.display.tracked || state.display.display == EGL_NO_DISPLAY) {
        return false;
    }
    // Any query of a display that is no longer initialised fails with EGL_NOT_INITIALIZED.
    if (eglQueryString(state.display.display, EGL_VENDOR) != nullptr) {
        return false;
    }
    state.open = false;
    return true;
}

void AEOpenGLContext::makeContextCurrent() {
    if (mContext == nullptr) {
        return;
    }
    makeCurrentFlush(mContext);
    glbinding::Binding::useContext(Handle(mContext));
}

void AEOpenGLContext::InitializeOpenGLBindings() {
    const glbinding::ContextHandle context = Handle(CurrentContext());
    glbinding::Binding::initialize(context, true, false);
    // initialize() returns early for a handle it has met before (a reused address), without
    // switching to it.
    glbinding::Binding::useContext(context);

    std::cerr << std::endl;
    std::cerr << "OpenGL Version:  " << glbinding::ContextInfo::version() << std::endl;
    std::cerr << "OpenGL Vendor:   " << glbinding::ContextInfo::vendor() << std::endl;
    std::cerr << "OpenGL Renderer: " << glbinding::ContextInfo::renderer() << std::endl;
    std::cerr << "OpenGL Revision: " << glbinding::Meta::glRevision() << " (gl.xml)" << std::endl;
    std::cerr << std::endl;
}

AEOpenGLContext::PlatformContext AEOpenGLContext::createNSContext(PlatformContext share,
                                                                  PlatformContext& out) {
    const PlatformDisplay platform = SharedDisplay();
    if (platform.display == EGL_NO_DISPLAY || platform.config == nullptr) {
        throw kNoContext;
    }
    // The client API is a per-thread setting, and render threads start with OpenGL ES.
    const DesktopApi api;
    if (!api.bound()) {
        throw kNoContext;
    }
    // clang-format off
    const EGLint attributes[] = {
        EGL_CONTEXT_MAJOR_VERSION, 3,
        EGL_CONTEXT_MINOR_VERSION, 2,
        EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
        EGL_NONE,
    };
    // clang-format on
    const EGLContext context = eglCreateContext(
        platform.display, platform.config, share != nullptr ? share : EGL_NO_CONTEXT, attributes);
    if (context == EGL_NO_CONTEXT) {
        throw kNoContext;
    }
    out = context;
    return context;
}

void AEOpenGLContext::makeCurrentFlush(PlatformContext context) {
    if (CurrentContext() == context) {
        return;
    }
    flushBeforeSwitch();
    // A frame drawn after a failed switch would go to whatever context is current, the host's
    // among them.
    if (!eglMakeCurrent(SharedDisplay().display, EGL_NO_SURFACE, EGL_NO_SURFACE, context)) {
        throw kNoContext;
    }
}

void AEOpenGLContext::flushBeforeSwitch() {
    const EGLContext current = CurrentContext();
    // A context that is not ours is never named to the binding. EGL flushes the outgoing context
    // itself when another of the same client API is made current, so nothing is lost.
    if (!ownsPlatformContext(current)) {
        return;
    }
    // The binding may have been pointed at another of our contexts last on this thread.
    glbinding::Binding::useContext(Handle(current));
    gl::GLint drawFramebuffer = 0;
    gl::glGetIntegerv(gl::GL_DRAW_FRAMEBUFFER_BINDING, &drawFramebuffer);
    if (drawFramebuffer == 0 ||
        gl::glCheckFramebufferStatus(gl::GL_FRAMEBUFFER) == gl::GL_FRAMEBUFFER_COMPLETE) {
        gl::glFlush();
    }
}

AEOpenGLContext::PlatformContext AEOpenGLContext::currentPlatformContext() {
    return CurrentContext();
}

bool AEOpenGLContext::ownsPlatformContext(PlatformContext context) {
    if (context == nullptr) {
        return false;
    }
    std::lock_guard<std::mutex> lock(OwnMutex());
    return OwnContexts().count(context) != 0;
}

AEOpenGLContext::DisplayHandle AEOpenGLContext::platformDisplay() {
    return SharedDisplay().display;
}

} // namespace Brindel::GaussianBlur
