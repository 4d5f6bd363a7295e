#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "EffectHost.h"
#include "GLContextLimits.h"
#include "World.h"

namespace Brindel::Host {

// The plug-in answered a command with an error. The message says what the code means, the
// command and the code, and the frame (counted from 1) when it came in one: "frame 2: the
// plug-in ran out of memory (GPU or host): PF_Cmd_SMART_RENDER returned PF_Err 4".
class PluginError : public std::runtime_error {
public:
    PluginError(PF_Cmd cmd, PF_Err code, long frame = 0);
    PF_Cmd command() const { return mCommand; }
    PF_Err code() const { return mCode; }
    long frame() const { return mFrame; }

    static const char* CommandName(PF_Cmd cmd);

private:
    PF_Cmd mCommand;
    PF_Err mCode;
    long mFrame;
};

// The GPU refused the host's own GL work in a frame; the message names the frame.
class FrameGLError : public std::runtime_error {
public:
    FrameGLError(long frame, const std::string& what);
};

// A frame larger than the GL context can hold: refused before the effect sees it.
class FrameTooLarge : public std::runtime_error {
public:
    FrameTooLarge(A_long width, A_long height, int maxWidth, int maxHeight);
};

// Drives an effect through a session as the host does: global and parameter
// setup once, then pre-render and render for each frame, sent from a number
// of host threads in turn, and global set-down at the end.
class FrameRenderer {
public:
    // Sets the effect up and its "Blur Scale" to `blur` frame pixels at the
    // downsample 1/`downsample`. Throws PluginError, or UsageError for a blur
    // outside the parameter's range. With `quiet`, what the plug-in prints to
    // standard error while it runs a command is dropped.
    FrameRenderer(EffectHost& host, double blur, int downsample, int threads, bool quiet = false);
    // Sets the effect down if finish() was not called; errors are dropped.
    ~FrameRenderer();
    FrameRenderer(const FrameRenderer&) = delete;
    FrameRenderer& operator=(const FrameRenderer&) = delete;

    // Renders `input` into `output` (of the same size) on the next thread in
    // turn; returns the frame's time in milliseconds. Throws PluginError or
    // FrameGLError naming the frame, or FrameTooLarge before sending anything.
    // A failed frame's output is not a frame: the caller drops it.
    double render(World& input, World& output);

    // Global set-down. Throws PluginError.
    void finish();

private:
    // One host thread that runs the jobs handed to it, one at a time.
    class Worker {
    public:
        Worker();
        ~Worker();
        void run(const std::function<void()>& job);

    private:
        void loop();

        std::mutex mMutex;
        std::condition_variable mWake;
        std::function<void()> mJob;
        bool mBusy = false;
        bool mQuit = false;
        std::exception_ptr mError;
        std::thread mThread;
    };

    void check(PF_Cmd cmd, PF_Err err, long frame = 0) const;

    EffectHost& mHost;
    bool mQuiet = false;
    GaussianBlur::GLContextLimits mLimits;
    std::vector<std::unique_ptr<Worker>> mWorkers;
    size_t mNext = 0;
    long mFrames = 0;
    bool mFinished = false;
};

} // namespace Brindel::Host
