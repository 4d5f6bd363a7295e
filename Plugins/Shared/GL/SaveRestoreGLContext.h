#pragma once

namespace Brindel::GaussianBlur {

/// Records the GL context current on the calling thread (display, context, draw and read
/// surfaces), and the client API bound, and puts them back, once, on
/// request. A context of the effect's own is never taken for the host's: with none of the
/// host's current, restoring leaves nothing current. The host's contexts are never named to the
/// GL binding: a host that calls GL through the same binding points it at its own context again
/// after the command, as the binding asks of any code after a switch of contexts. Every command
/// that touches GL makes one first: the host expects its own context current again when a command
/// returns.
///
/// The destructor does not restore: `restore` is called explicitly, or from a scope guard.
class SaveRestoreGLContext {
public:
    SaveRestoreGLContext();

    SaveRestoreGLContext(const SaveRestoreGLContext&) = delete;
    SaveRestoreGLContext& operator=(const SaveRestoreGLContext&) = delete;

    /// Makes the recorded context current again, flushing the outgoing one first unless its draw
    /// frame-buffer is incomplete, and binds the recorded client API. Only the first call acts;
    /// every call returns whether EGL did all of it.
    bool restore();
    bool restored() const { return mRestored; }

private:
    void* mDisplay = nullptr;
    void* mContext = nullptr;
    void* mDrawSurface = nullptr;
    void* mReadSurface = nullptr;
    unsigned int mApi = 0;
    bool mRestored = false;
    bool mRestoredWhole = true;
};

} // namespace Brindel::GaussianBlur
