#pragma once

#include "AEOpenGLContext.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

namespace Brindel::GaussianBlur {

/// The registry of the effect's own contexts: one data context for the process, made at global
/// setup, and one render context per thread that renders, each sharing with the data context so
/// that all of them stand in one share group. The registry owns every context.
class AEOpenGLContextManager {
public:
    AEOpenGLContextManager() = delete;

    /// Makes the data context. It is left current: callers save and restore the host's context
    /// around this call.
    static void setupContextManager();
    static AEOpenGLContext* getSharedDataContext();
    /// The calling thread's render context, made on the thread's first call. Not made current.
    static AEOpenGLContext* getCurrentRenderContext();
    /// The render context whose platform context is `context`, or null.
    static AEOpenGLContext* findRenderContext(AEOpenGLContext::PlatformContext context);
    /// Deletes the render contexts, then the data context.
    static void releaseContextManager();
    /// Drops every context without a platform call, for contexts that died with their display.
    /// The registry is empty afterwards, as after a release.
    static void forgetContexts();

private:
    static std::atomic<std::int32_t> mContextCount;
    static std::map<std::int32_t, AEOpenGLContext*> mRenderContexts;
    static std::recursive_mutex mMutex;
    static AEOpenGLContext* mSharedDataContext;
};

} // namespace Brindel::GaussianBlur
