#include "SaveRestoreGLContext.h"

#include "AEOpenGLContext.h"

#include <EGL/egl.h>
#include <glbinding/Binding.h>

#include <cstdint>

namespace Brindel::GaussianBlur {

SaveRestoreGLContext::SaveRestoreGLContext() {
    // The current context is kept per client API, and the host's is desktop OpenGL.
    eglBindAPI(EGL_OPENGL_API);
    mDisplay = eglGetCurrentDisplay();
    mContext = eglGetCurrentContext();
    mDrawSurface = eglGetCurrentSurface(EGL_DRAW);
    mReadSurface = eglGetCurrentSurface(EGL_READ);
}

void SaveRestoreGLContext::restore() {
    if (mRestored) {
        return;
    }
    if (mContext != EGL_NO_CONTEXT) {
        eglBindAPI(EGL_OPENGL_API);
        const bool current = eglGetCurrentContext() == mContext &&
                             eglGetCurrentSurface(EGL_DRAW) == mDrawSurface &&
                             eglGetCurrentSurface(EGL_READ) == mReadSurface;
        if (!current) {
            AEOpenGLContext::flushBeforeSwitch();
            eglMakeCurrent(mDisplay, mDrawSurface, mReadSurface, mContext);
            // GL calls made after the command go through the same binding: point it back too.
            glbinding::Binding::useContext(
                static_cast<glbinding::ContextHandle>(reinterpret_cast<std::intptr_t>(mContext)));
        }
    }
    mRestored = true;
}

} // namespace Brindel::GaussianBlur
