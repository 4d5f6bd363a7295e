#include "SaveRestoreGLContext.h"

#include "AEOpenGLContext.h"

#include <EGL/egl.h>

namespace Brindel::GaussianBlur {

SaveRestoreGLContext::SaveRestoreGLContext() {
    // The current context is kept per client API: what the host has current is what is current
    // for the API it has bound, and that API is part of what is given back.
    mApi = eglQueryAPI();
    mContext = eglGetCurrentContext();
    if (AEOpenGLContext::ownsPlatformContext(mContext)) {
        // One of the effect's own contexts left current is never the host's.
        mContext = EGL_NO_CONTEXT;
    }
    if (mContext != EGL_NO_CONTEXT) {
        mDisplay = eglGetCurrentDisplay();
        mDrawSurface = eglGetCurrentSurface(EGL_DRAW);
        mReadSurface = eglGetCurrentSurface(EGL_READ);
    }
}

bool SaveRestoreGLContext::restore() {
    if (mRestored) {
        return mRestoredWhole;
    }
    // The effect's contexts are desktop OpenGL.
    eglBindAPI(EGL_OPENGL_API);
    const EGLContext current = eglGetCurrentContext();
    const bool same = current == mContext && (mContext == EGL_NO_CONTEXT ||
                                              (eglGetCurrentSurface(EGL_DRAW) == mDrawSurface &&
                                               eglGetCurrentSurface(EGL_READ) == mReadSurface));
    if (!same) {
        AEOpenGLContext::flushBeforeSwitch();
        if (mContext != EGL_NO_CONTEXT) {
            eglBindAPI(static_cast<EGLenum>(mApi));
            mRestoredWhole =
                eglMakeCurrent(mDisplay, mDrawSurface, mReadSurface, mContext) == EGL_TRUE;
        } else if (current != EGL_NO_CONTEXT) {
            // The host had nothing current: nothing of the effect's stays current either.
            mRestoredWhole = eglMakeCurrent(AEOpenGLContext::platformDisplay(), EGL_NO_SURFACE,
                                            EGL_NO_SURFACE, EGL_NO_CONTEXT) == EGL_TRUE;
        }
    }
    mRestoredWhole = eglBindAPI(static_cast<EGLenum>(mApi)) == EGL_TRUE && mRestoredWhole;
    mRestored = true;
    return mRestoredWhole;
}

} // namespace Brindel::GaussianBlur
