#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BridgeInstance.h"
#include "EffectHost.h"
#include "RenderThread.h"

namespace Brindel::Frei0r {

// The effect host inside the frei0r module, shared by all its instances. At
// the first frame it loads the effect plug-in and sends global setup and
// parameter setup; each frame is a smart pre-render and a smart render; its
// end sends global set-down. Every command goes through one RenderThread.
//
// frei0r has no error channel: a frame the effect cannot render leaves as it
// came. A plug-in that cannot be loaded is reported once in the process on
// standard error; a command the effect refuses, or a GL context of the host's
// that the GPU refuses, gets a line for each frame it fails, and the next frame
// tries again, setup included.
class EffectBridge {
public:
    // `pluginPaths`: where the effect module may be, in order; the first that
    // loads is used, at the first frame.
    explicit EffectBridge(std::vector<std::string> pluginPaths);
    // Global set-down, when setup was sent, and the plug-in unloaded.
    ~EffectBridge();
    EffectBridge(const EffectBridge&) = delete;
    EffectBridge& operator=(const EffectBridge&) = delete;

    // Renders an RGBA8888 frame of the instance's size from `input` into
    // `output`; they may be the same frame. May be called from any thread,
    // for different instances at once.
    void render(BridgeInstance& instance, const uint32_t* input, uint32_t* output);

    // Whether a frame has reached the render thread, and with it GL work.
    bool started() const { return mThread.started(); }

private:
    enum class State {
        Unloaded, // nothing tried yet
        Ready,    // set up; frames go to the effect
        Failed,   // the plug-in cannot be loaded: frames pass through
    };

    // On the render thread: loads and sets up the effect at the first call.
    bool ready();
    // On the render thread: one frame, the effect's error code as the result.
    PF_Err renderFrame(Host::World& input, Host::World& output, double blurPixels);
    // Says what failed, the first time in the process only.
    void report(const std::string& what);
    // Says what failed this frame.
    void reportFrame(const std::string& what);

    std::vector<std::string> mPluginPaths;
    // Touched only on the render thread.
    std::unique_ptr<Host::EffectHost> mHost;
    State mState = State::Unloaded;
    bool mGlobalSetUp = false;

    // Last, so that it ends first: no job runs once the rest is gone.
    RenderThread mThread;
};

} // namespace Brindel::Frei0r
