#include "RenderThread.h"

namespace Brindel::Frei0r {

RenderThread::~RenderThread() {
    if (!mThread.joinable()) {
        return;
    }
    {
        std::lock_guard<std::mutex> callers(mCallers);
        std::lock_guard<std::mutex> lock(mMutex);
        mQuit = true;
    }
    mWake.notify_all();
    mThread.join();
}

void RenderThread::run(const std::function<void()>& job) {
    std::lock_guard<std::mutex> callers(mCallers);
    if (!mThread.joinable()) {
        mThread = std::thread([this] { loop(); });
    }
    std::unique_lock<std::mutex> lock(mMutex);
    mJob = &job;
    mError = nullptr;
    mWake.notify_all();
    mWake.wait(lock, [this] { return mJob == nullptr; });
    if (mError) {
        std::rethrow_exception(mError);
    }
}

void RenderThread::loop() {
    std::unique_lock<std::mutex> lock(mMutex);
    for (;;) {
        mWake.wait(lock, [this] { return mJob != nullptr || mQuit; });
        if (mJob == nullptr) {
            return;
        }
        const std::function<void()>& job = *mJob;
        std::exception_ptr error;
        lock.unlock();
        try {
            job();
        } catch (...) {
            error = std::current_exception();
        }
        lock.lock();
        mError = error;
        mJob = nullptr;
        mWake.notify_all();
    }
}

} // namespace Brindel::Frei0r
