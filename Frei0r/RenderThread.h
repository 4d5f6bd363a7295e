#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

namespace Brindel::Frei0r {

// The one thread on which the effect is driven. Callers on any thread hand it
// a job and wait for it; jobs run one at a time, so two frames never overlap
// inside the effect. Keeping the GL work on a thread of our own leaves the
// application's current GL context alone and gives the effect one render
// context, however many threads the application renders from. The thread
// starts with the first job, so that a host may fork after loading the module
// and before its first frame.
class RenderThread {
public:
    RenderThread() = default;
    // Waits for the job in progress, then ends the thread.
    ~RenderThread();
    RenderThread(const RenderThread&) = delete;
    RenderThread& operator=(const RenderThread&) = delete;

    // Runs `job` on the thread and returns when it is done; an exception it
    // throws is thrown again here.
    void run(const std::function<void()>& job);
    // Whether a job has ever been handed over. Only for the owner, when no
    // caller can be running a job.
    bool started() const { return mThread.joinable(); }

private:
    void loop();

    std::mutex mCallers; // held by a caller from hand-over until its job is done
    std::mutex mMutex;
    std::condition_variable mWake;
    const std::function<void()>* mJob = nullptr;
    bool mQuit = false;
    std::exception_ptr mError;
    std::thread mThread;
};

} // namespace Brindel::Frei0r
