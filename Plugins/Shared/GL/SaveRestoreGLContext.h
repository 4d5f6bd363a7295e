#pragma once

namespace Brindel::GaussianBlur {

/// Records the GL context current on the calling thread (display, context, draw and read
/// surfaces) and puts it back, once, on request. Every command that touches GL makes one first:
/// the host expects its own context current again when a command returns.
///
/// The destructor does not restore: `restore` is called explicitly, or from a scope guard.
class SaveRestoreGLContext {
public:
    SaveRestoreGLContext();

    SaveRestoreGLContext(const SaveRestoreGLContext&) = delete;
    SaveRestoreGLContext& operator=(const SaveRestoreGLContext&) = delete;

    /// Makes the recorded context current again, flushing the outgoing one first unless its draw
    /// frame-buffer is incomplete. Only the first call acts. With no context recorded, the current
    /// one is left as it is.
    void restore();
    bool restored() const { return mRestored; }

private:
    void* mDisplay = nullptr;
    void* mContext = nullptr;
    void* mDrawSurface = nullptr;
    void* mReadSurface = nullptr;
    bool mRestored = false;
};

} // namespace Brindel::GaussianBlur
