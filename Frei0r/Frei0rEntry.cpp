// The frei0r entry points: a filter, "gaussian_blur", that runs the Gaussian
// Blur effect plug-in inside frei0r hosts such as ffmpeg and MLT.
#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>

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

// The effect module named by the environment, or the one beside this module.
std::string PluginPath() {
    const char* chosen = std::getenv(kPluginVariable);
    if (chosen != nullptr && *chosen != '\0') {
        return chosen;
    }
    Dl_info self{};
    if (dladdr(reinterpret_cast<void*>(&f0r_update), &self) == 0 || self.dli_fname == nullptr) {
        return kPluginFile;
    }
    const std::string path = self.dli_fname;
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? kPluginFile : path.substr(0, slash + 1) + kPluginFile;
}

// Hosts may init the module more than once (ffmpeg does for each filter of a
// graph that names it), so the bridge lives from the first f0r_init to the
// last f0r_deinit. The state is never destroyed: a host that skips
// f0r_deinit must not have set-down and GL teardown run from a static
// destructor at exit, while the libraries they need are being torn down.
struct Module {
    std::mutex mutex;
    int inits = 0;
    std::unique_ptr<EffectBridge> bridge;
};

Module& TheModule() {
    static Module* module = new Module;
    return *module;
}

// The bridge, made here if the host updates without f0r_init.
EffectBridge& Bridge() {
    Module& module = TheModule();
    std::lock_guard<std::mutex> lock(module.mutex);
    if (!module.bridge) {
        module.bridge = std::make_unique<EffectBridge>(PluginPath());
    }
    return *module.bridge;
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
        if (module.inits++ == 0 && !module.bridge) {
            module.bridge = std::make_unique<EffectBridge>(PluginPath());
        }
        return 1;
    } catch (...) {
        return 0;
    }
}

FREI0R_EXPORT void f0r_deinit() {
    Module& module = TheModule();
    std::unique_ptr<EffectBridge> ending;
    {
        std::lock_guard<std::mutex> lock(module.mutex);
        if (module.inits > 0) {
            --module.inits;
        }
        if (module.inits == 0) {
            ending = std::move(module.bridge);
        }
    }
    // Set-down outside the lock; the destructor lets no exception out.
    ending.reset();
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
    try {
        Bridge().render(frame, inframe, outframe);
    } catch (...) {
        // Only the bridge's own making can throw here: memory or threads.
        PassThrough(inframe, outframe, frame);
    }
}

// Optional for filters, but a host may insist on it (MLT does).
FREI0R_EXPORT void f0r_update2(f0r_instance_t instance, double time, const uint32_t* inframe1,
                               const uint32_t* /*inframe2*/, const uint32_t* /*inframe3*/,
                               uint32_t* outframe) {
    f0r_update(instance, time, inframe1, outframe);
}

} // extern "C"
