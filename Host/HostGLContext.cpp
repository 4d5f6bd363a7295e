#include "HostGLContext.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <glbinding/AbstractFunction.h>
#include <glbinding/Binding.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace Brindel::Host {

namespace {

bool HasExtension(const char* list, const char* name) {
    if (list == nullptr) {
        return false;
    }
    const std::size_t length = std::strlen(name);
    for (const char* at = std::strstr(list, name); at != nullptr; at = std::strstr(at + 1, name)) {
        if ((at == list || at[-1] == ' ') && (at[length] == '\0' || at[length] == ' ')) {
            return true;
        }
    }
    return false;
}

bool Usable(EGLDisplay display) {
    EGLint major = 0;
    EGLint minor = 0;
    return display != EGL_NO_DISPLAY && eglInitialize(display, &major, &minor) &&
           HasExtension(eglQueryString(display, EGL_EXTENSIONS), "EGL_KHR_surfaceless_context");
}

// The same choice, in the same order, as the plug-in's: EGL hands out one display per platform
// and device, so both land on the same one. Initialised once and never terminated, as the
// plug-in's contexts live on it too.
EGLDisplay OpenDisplay() {
    const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    const auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay == nullptr) {
        return EGL_NO_DISPLAY;
    }
    if (HasExtension(clientExtensions, "EGL_EXT_platform_device")) {
        const auto queryDevices =
            reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
        EGLint count = 0;
        if (queryDevices != nullptr && queryDevices(0, nullptr, &count) && count > 0) {
            std::vector<EGLDeviceEXT> devices(static_cast<std::size_t>(count));
            queryDevices(count, devices.data(), &count);
            for (EGLint i = 0; i < count; ++i) {
                const EGLDisplay display =
                    getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr);
                if (Usable(display)) {
                    return display;
                }
            }
        }
    }
    if (HasExtension(clientExtensions, "EGL_MESA_platform_surfaceless")) {
        const EGLDisplay display =
            getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        if (Usable(display)) {
            return display;
        }
    }
    return EGL_NO_DISPLAY;
}

EGLDisplay SharedDisplay() {
    static const EGLDisplay display = OpenDisplay();
    return display;
}

glbinding::ContextHandle Handle(void* context) {
    return static_cast<glbinding::ContextHandle>(reinterpret_cast<std::intptr_t>(context));
}

// Releasing the context in the binding's highest slot (glbinding 2.1) drops the slot below
// along with it; growing the states again repairs that, leaving a spare slot.
class BindingSlots : public glbinding::AbstractFunction {
public:
    using AbstractFunction::provideState;
    static int highest() { return s_maxpos; }
};

void ReleaseFromBinding(void* context) {
    const int highest = BindingSlots::highest();
    glbinding::Binding::releaseContext(Handle(context));
    if (BindingSlots::highest() < highest) {
        BindingSlots::provideState(BindingSlots::highest() + 1);
    }
}

} // namespace

HostGLContext::HostGLContext() {
    mDisplay = SharedDisplay();
    if (mDisplay == EGL_NO_DISPLAY || !eglBindAPI(EGL_OPENGL_API)) {
        throw HostGLError("no EGL display with desktop OpenGL and surfaceless contexts");
    }
    const EGLint wanted[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_SURFACE_TYPE, 0, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (!eglChooseConfig(mDisplay, wanted, &config, 1, &count) || count < 1) {
        throw HostGLError("no EGL config for desktop OpenGL");
    }
    // clang-format off
    const EGLint attributes[] = {
        EGL_CONTEXT_MAJOR_VERSION, 3,
        EGL_CONTEXT_MINOR_VERSION, 2,
        EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
        EGL_NONE,
    };
    // clang-format on
    mContext = eglCreateContext(mDisplay, config, EGL_NO_CONTEXT, attributes);
    if (mContext == EGL_NO_CONTEXT) {
        throw HostGLError("no OpenGL 3.2 core context for the host");
    }
    if (!eglMakeCurrent(mDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, mContext)) {
        eglDestroyContext(mDisplay, mContext);
        throw HostGLError("the host's GL context cannot be made current");
    }
    glbinding::Binding::initialize(Handle(mContext), true, false);
    glbinding::Binding::useContext(Handle(mContext));
    mLimits = GaussianBlur::GLContextLimits::query();
}

HostGLContext::~HostGLContext() {
    const bool current = isCurrent();
    ReleaseFromBinding(mContext);
    if (current) {
        releaseCurrent();
    }
    eglDestroyContext(mDisplay, mContext);
}

void HostGLContext::makeCurrent() {
    // Without its context current, the command would run on whatever is, and the frame with it.
    if (!eglBindAPI(EGL_OPENGL_API) ||
        !eglMakeCurrent(mDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, mContext)) {
        throw HostGLError("the host's GL context cannot be made current");
    }
    glbinding::Binding::useContext(Handle(mContext));
}

void HostGLContext::useBinding() {
    if (isCurrent()) {
        glbinding::Binding::useContext(Handle(mContext));
    }
}

bool HostGLContext::isCurrent() const {
    eglBindAPI(EGL_OPENGL_API);
    return eglGetCurrentContext() == mContext;
}

void HostGLContext::releaseCurrent() {
    eglBindAPI(EGL_OPENGL_API);
    const EGLDisplay display = eglGetCurrentDisplay();
    if (display != EGL_NO_DISPLAY) {
        eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    }
}

} // namespace Brindel::Host
