// The frei0r entry points: a filter, "gaussian_blur", that runs the Gaussian
// Blur effect plug-in inside frei0r hosts such as ffmpeg and MLT.
#include <dlfcn.h>

#include <pthread.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "BridgeInstance.h"
#include "EffectBridge.h"

extern "C" {
#include <frei0r.h>
}

#define FREI0R_EXPORT __attribute__((visibility("default")))

using Brindel::Frei0r::BridgeInstance;
using Brindel::Frei0r::EffectBridge;

namespace {

// The bridge's only setting: another effect module than the one beside it.
constexpr const char* kPluginVariable = "GAUSSIAN_BLUR_PLUGIN";
constexpr const char* kPluginFile = "GaussianBlur.so";

// Where the effect module may be: the one named by the environment, or the
// one beside this module's real file, then beside the path it was opened by
// (frei0r folders often hold links to modules installed elsewhere).
std::vector<std::string> PluginPaths() {
    const char* chosen = std::getenv(kPluginVariable);
    if (chosen != nullptr && *chosen != '\0') {
        return {chosen};
    }
    Dl_info self{};
    if (dladdr(reinterpret_cast<void*>(&f0r_update), &self) == 0 || self.dli_fname == nullptr) {
        return {kPluginFile};
    }
    const auto beside = [](const std::string& path) {
        const size_t slash = path.rfind('/');
        return slash == std::string::npos ? std::string(kPluginFile)
                                          : path.substr(0, slash + 1) + kPluginFile;
    };
    std::vector<std::string> paths;
    if (char* real = realpath(self.dli_fname, nullptr)) {
        paths.push_back(beside(real));
        std::free(real);
    }
    const std::string opened = beside(self.dli_fname);
    if (paths.empty() || paths.front() != opened) {
        paths.push_back(opened);
    }
    return paths;
}

// Hosts may init the module more than once (ffmpeg does for each filter of a
// graph that names it), so the bridge lives from the first f0r_init to the
// last f0r_deinit. The state is never destroyed: a host that skips
// f0r_deinit must not have set-down and GL teardown run from a static
// destructor at exit, while the libraries they need are being torn down.
//
// Each frame holds the bridge it renders with, so a f0r_deinit from another
// thread waits for the frames in flight before it sets the effect down, and
// a frame after it waits for that set-down before a new bridge sets up.
struct Module {
    std::mutex mutex;
    std::condition_variable changed;
    int inits = 0;
    int ending = 0; // bridges being set down
    std::shared_ptr<EffectBridge> bridge;
    // Set once a frame has gone to a bridge: GL work has begun in the process.
    bool glBegun = false;
    // In a child forked after GL work began, where it cannot go on.
    bool forkedChild = false;
    bool forkReported = false;
};

Module& TheModule();

// A child of fork() has this thread alone: the render thread and the GL
// driver's threads stay in the parent, and nothing of their state may be
// used or ended here. The module's lock is held across fork, so the child
// finds it free and consistent.
void BeforeFork() {
    TheModule().mutex.lock();
}

void AfterForkInParent() {
    TheModule().mutex.unlock();
}

void AfterForkInChild() {
    Module& module = TheModule();
    if (module.glBegun) {
        module.forkedChild = true;
        // Left alone for good: its destructor would wait for the missing thread.
        new std::shared_ptr<EffectBridge>(std::move(module.bridge));
    }
    module.ending = 0; // the threads setting bridges down stayed in the parent
    module.mutex.unlock();
}

Module& TheModule() {
    static Module* module = [] {
        auto* made = new Module;
        pthread_atfork(&BeforeFork, &AfterForkInParent, &AfterForkInChild);
        return made;
    }();
    return *module;
}

// The bridge for one frame, made here if the host updates without f0r_init;
// null in a child forked after GL work began.
std::shared_ptr<EffectBridge> TakeBridge() {
    Module& module = TheModule();
    std::unique_lock<std::mutex> lock(module.mutex);
    if (module.forkedChild) {
        if (!module.forkReported) {
            module.forkReported = true;
            std::fprintf(stderr, "gaussian_blur: GPU work cannot continue across fork(); frames "
                                 "pass through unchanged\n");
            std::fflush(stderr);
        }
        return nullptr;
    }
    module.changed.wait(lock, [&] { return module.ending == 0; });
    if (!module.bridge) {
        module.bridge = std::make_shared<EffectBridge>(PluginPaths());
    }
    module.glBegun = true;
    return module.bridge;
}

void GiveBack(std::shared_ptr<EffectBridge>& bridge) {
    Module& module = TheModule();
    std::lock_guard<std::mutex> lock(module.mutex);
    bridge.reset();
    module.changed.notify_all();
}

void PassThrough(const uint32_t* inframe, uint32_t* outframe, const BridgeInstance& instance) {
    if (inframe != outframe) {
        std::memcpy(outframe, inframe, instance.pixelCount() * 4);
    }
}

} // namespace

// No exception may leave a frei0r function: the host is C.
extern "C" {

FREI0R_EXPORT int f0r_init() {
    try {
        Module& module = TheModule();
        std::lock_guard<std::mutex> lock(module.mutex);
        ++module.inits;
        return 1;
    } catch (...) {
        return 0;
    }
}

FREI0R_EXPORT void f0r_deinit() {
    Module& module = TheModule();
    std::unique_lock<std::mutex> lock(module.mutex);
    if (module.inits > 0) {
        --module.inits;
    }
    if (module.inits > 0 || !module.bridge) {
        return;
    }
    std::shared_ptr<EffectBridge> ending = std::move(module.bridge);
    ++module.ending;
    module.changed.wait(lock, [&] { return ending.use_count() == 1; });
    // Set-down outside the lock; the destructor lets no exception out.
    lock.unlock();
    ending.reset();
    lock.lock();
    --module.ending;
    module.changed.notify_all();
}

FREI0R_EXPORT void f0r_get_plugin_info(f0r_plugin_info_t* info) {
    if (info == nullptr) {
        return;
    }
    info->name = "Gaussian Blur";
    info->author = "Brindel";
    info->plugin_type = F0R_PLUGIN_TYPE_FILTER;
    info->color_model = F0R_COLOR_MODEL_RGBA8888;
    info->frei0r_version = FREI0R_MAJOR_VERSION;
    info->major_version = BRIDGE_VERSION_MAJOR;
    info->minor_version = BRIDGE_VERSION_MINOR;
    info->num_params = 1;
    info->explanation = "Gaussian blur of the frame on the GPU, by the Gaussian Blur effect "
                        "plug-in beside this module";
}

FREI0R_EXPORT void f0r_get_param_info(f0r_param_info_t* info, int param_index) {
    if (info == nullptr || param_index != 0) {
        return;
    }
    info->name = "Blur Scale";
    info->type = F0R_PARAM_DOUBLE;
    info->explanation = "Blur radius: 0 to 1 is 0 to 60 pixels of the frame";
}

FREI0R_EXPORT f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
    try {
        return new BridgeInstance(width, height);
    } catch (...) {
        return nullptr;
    }
}

FREI0R_EXPORT void f0r_destruct(f0r_instance_t instance) {
    delete static_cast<BridgeInstance*>(instance);
}

FREI0R_EXPORT void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param,
                                       int param_index) {
    if (instance != nullptr && param != nullptr && param_index == 0) {
        static_cast<BridgeInstance*>(instance)->setBlurScale(
            *static_cast<f0r_param_double*>(param));
    }
}

FREI0R_EXPORT void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param,
                                       int param_index) {
    if (instance != nullptr && param != nullptr && param_index == 0) {
        *static_cast<f0r_param_double*>(param) =
            static_cast<BridgeInstance*>(instance)->blurScale();
    }
}

FREI0R_EXPORT void f0r_update(f0r_instance_t instance, double /*time*/, const uint32_t* inframe,
                              uint32_t* outframe) {
    if (instance == nullptr || inframe == nullptr || outframe == nullptr) {
        return;
    }
    auto& frame = *static_cast<BridgeInstance*>(instance);
    std::shared_ptr<EffectBridge> bridge;
    try {
        bridge = TakeBridge();
        if (bridge) {
            bridge->render(frame, inframe, outframe);
        } else {
            PassThrough(inframe, outframe, frame);
        }
    } catch (...) {
        // Only the bridge's own making can throw here: memory or threads.
        PassThrough(inframe, outframe, frame);
    }
    if (bridge) {
        GiveBack(bridge);
    }
}

// Optional for filters, but a host may insist on it (MLT does).
FREI0R_EXPORT void f0r_update2(f0r_instance_t instance, double time, const uint32_t* inframe1,
                               const uint32_t* /*inframe2*/, const uint32_t* /*inframe3*/,
                               uint32_t* outframe) {
    f0r_update(instance, time, inframe1, outframe);
}

} // extern "C"
