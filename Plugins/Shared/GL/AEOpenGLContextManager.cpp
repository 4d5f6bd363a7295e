#include "AEOpenGLContextManager.h"

namespace Brindel::GaussianBlur {

namespace {

// This thread's key into the registry; -1 until the thread first asks for its context.
thread_local std::int32_t mThread = -1;

} // namespace

std::atomic<std::int32_t> AEOpenGLContextManager::mContextCount{0};
std::map<std::int32_t, AEOpenGLContext*> AEOpenGLContextManager::mRenderContexts;
std::recursive_mutex AEOpenGLContextManager::mMutex;
AEOpenGLContext* AEOpenGLContextManager::mSharedDataContext = nullptr;

void AEOpenGLContextManager::setupContextManager() {
    // A repeated set-up keeps the data context: the render contexts and every
    // object made so far live in its share group.
    if (mSharedDataContext) {
        mSharedDataContext->makeContextCurrent();
        return;
    }
    mSharedDataContext = new AEOpenGLContext(nullptr);
}

AEOpenGLContext* AEOpenGLContextManager::getSharedDataContext() {
    return mSharedDataContext;
}

AEOpenGLContext* AEOpenGLContextManager::getCurrentRenderContext() {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    if (mThread == -1) {
        mThread = mContextCount.fetch_add(1);
    }
    // A thread that rendered before a release keeps its index but finds no entry: it gets a new
    // context, so that a later setup in the same process renders again.
    AEOpenGLContext*& entry = mRenderContexts[mThread];
    if (entry == nullptr) {
        entry = new AEOpenGLContext(mSharedDataContext);
    }
    return entry;
}

AEOpenGLContext*
AEOpenGLContextManager::findRenderContext(AEOpenGLContext::PlatformContext context) {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    for (const auto& entry : mRenderContexts) {
        if (entry.second != nullptr && entry.second->platformContext() == context) {
            return entry.second;
        }
    }
    return nullptr;
}

void AEOpenGLContextManager::releaseContextManager() {
    for (auto& entry : mRenderContexts) {
        delete entry.second;
    }
    mRenderContexts.clear();
    delete mSharedDataContext;
    mSharedDataContext = nullptr;
}

void AEOpenGLContextManager::forgetContexts() {
    std::lock_guard<std::recursive_mutex> lock(mMutex);
    for (auto& entry : mRenderContexts) {
        entry.second->forget();
    }
    if (mSharedDataContext) {
        mSharedDataContext->forget();
    }
    releaseContextManager();
}

} // namespace Brindel::GaussianBlur
