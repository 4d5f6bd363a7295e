#pragma once

#include <glbinding/gl/extension.h>

#include <set>

namespace Brindel::GaussianBlur {

/// One OpenGL context of the effect: 3.2 core profile, with neither alpha, depth nor stencil in
/// its default buffer (all drawing goes to frame-buffer objects). A context built with a partner
/// shares textures, buffers, renderbuffers and programs with it. The platform layer is EGL on a
/// display of its own choosing, with no surface.
class AEOpenGLContext {
public:
    /// The platform's handle of a context, opaque outside the platform layer.
    using PlatformContext = void*;

    /// Thrown, as a plain integer, when the platform gives no display, config or context: the
    /// rest of the effect relies on a context once construction has returned.
    static constexpr int kNoContext = 512;

    /// Makes the context, sharing with `shared` unless it is null, and leaves it current on the
    /// calling thread with the GL binding loaded for it. What was current before is not put back.
    explicit AEOpenGLContext(const AEOpenGLContext* shared);
    /// Releases the context from the GL binding and destroys it; if it is current on the calling
    /// thread, nothing is current afterwards.
    virtual ~AEOpenGLContext();

    AEOpenGLContext(const AEOpenGLContext&) = delete;
    AEOpenGLContext& operator=(const AEOpenGLContext&) = delete;

    /// Drops the context without any platform call, for a context that died with its display: it
    /// is released from the binding and no longer counts as the kit's. Destruction then does
    /// nothing more.
    void forget();

    /// Whether the display the kit's contexts live on has been terminated (by the host, which may
    /// share it) since it was opened. Every context and GL object made on it is gone then; the
    /// next context opens the display again. Answers true once per termination.
    static bool platformDisplayLost();

    /// Makes the context current on the calling thread and points the binding at it. Throws
    /// kNoContext when EGL refuses the switch.
    void makeContextCurrent();

    PlatformContext platformContext() const { return mContext; }

    /// Loads the GL binding for the context now current and prints its version block.
    static void InitializeOpenGLBindings();
    /// Creates a context sharing with `share` (may be null); `out` receives the same handle.
    static PlatformContext createNSContext(PlatformContext share, PlatformContext& out);
    /// Makes `context` current, flushing the outgoing context first (see flushBeforeSwitch).
    /// Does nothing when `context` is current already; throws kNoContext when EGL refuses.
    static void makeCurrentFlush(PlatformContext context);
    /// Flushes the work of the context current on this thread, unless its draw frame-buffer is
    /// incomplete. Does nothing when no context is current.
    static void flushBeforeSwitch();
    /// The context current on the calling thread, or null.
    static PlatformContext currentPlatformContext();
    /// Whether `context` is one that this kit made and has not destroyed yet.
    static bool ownsPlatformContext(PlatformContext context);

    /// The platform's display handle that the kit's contexts live on.
    using DisplayHandle = void*;
    static DisplayHandle platformDisplay();

private:
    PlatformContext mContext = nullptr;
    std::set<gl::GLextension> mExtensions;
};

} // namespace Brindel::GaussianBlur
