#pragma once

#include <sys/types.h>

#include <string>

#include "AE_Effect.h"

namespace Brindel::Bench {

// What one frame cost the process that rendered it, over all its threads.
struct FrameCost {
    double wallMs = 0.0;   // pre-render and render, by the clock
    double systemMs = 0.0; // kernel time
    double userMs = 0.0;
    long minorFaults = 0;
};

// One effect module rendering frames of one size and Blur Scale, one frame per request, in a child
// process of its own. The host library serves one effect per process, and two modules in one
// process would share the allocator and the GL driver: one's freed buffers and raised mmap
// threshold would change the other's page faults. A process each keeps every figure the
// module's own, as it would be in a host.
class FrameWorker {
public:
    // Forks the child, which loads the module, sets the effect up and renders `warmup` frames that
    // are not measured (the first builds the programs). Returns at once; ready() waits for the
    // child. Throws std::logic_error if this process runs more than one thread, since only the
    // calling thread would live on in the child: fork before any GL context exists.
    FrameWorker(const std::string& pluginPath, A_long width, A_long height, double blur,
                int warmup);
    // Tells the child to set the effect down and waits for it to end.
    ~FrameWorker();
    FrameWorker(const FrameWorker&) = delete;
    FrameWorker& operator=(const FrameWorker&) = delete;

    // Waits until the child is set up and warm. Throws std::runtime_error with the child's reason
    // when it failed, or when it ended.
    void ready();
    // Renders one frame in the child and returns its cost; throws as ready() does.
    FrameCost render();

private:
    struct Reply;
    [[noreturn]] static void serve(int socket, const std::string& pluginPath, A_long width,
                                   A_long height, double blur, int warmup);
    Reply receive();
    // Waits for the child to end, and says how it ended.
    std::string ended();

    std::string mPluginPath;
    pid_t mPid = -1;
    int mSocket = -1;
    int mStatus = 0;
    bool mReady = false;
};

} // namespace Brindel::Bench
