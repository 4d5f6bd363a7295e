#pragma once

#include <stdexcept>

#include "GLContextLimits.h"

namespace Brindel::Host {

// The platform refused the host's own context: none could be made, or it cannot be made current.
class HostGLError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The headless host's own OpenGL context: what the host has current when it calls into the
/// plug-in, and expects current again when a command returns. Made on the same display the
/// plug-in's contexts use, current with no surface, shared with nothing.
class HostGLContext {
public:
    /// Makes the context and leaves it current on the calling thread, with the GL binding
    /// pointed at it. Throws HostGLError when the platform gives no context.
    HostGLContext();
    /// Destroys the context; if it is current on the calling thread, nothing is current after.
    ~HostGLContext();

    HostGLContext(const HostGLContext&) = delete;
    HostGLContext& operator=(const HostGLContext&) = delete;

    /// Makes the context current on the calling thread and points the GL binding at it. Throws
    /// HostGLError when the platform refuses: what was current stays current.
    void makeCurrent();
    /// Points the GL binding at the context again if it is current: the effect's commands switch
    /// contexts, and the binding follows switches only when told.
    void useBinding();
    /// Whether the context is current on the calling thread.
    bool isCurrent() const;

    /// What GL contexts of this display hold of a frame, read once when the context was made:
    /// the effect's contexts, made on the same display, read the same limits.
    const GaussianBlur::GLContextLimits& limits() const { return mLimits; }

    /// The platform handles, for comparison with what is current.
    void* display() const { return mDisplay; }
    void* context() const { return mContext; }

    /// Leaves no context current on the calling thread, e.g. before a worker thread ends.
    static void releaseCurrent();

private:
    void* mDisplay = nullptr;
    void* mContext = nullptr;
    GaussianBlur::GLContextLimits mLimits;
};

} // namespace Brindel::Host
