#include "PluginModule.h"

#include <dlfcn.h>

#include <stdexcept>

namespace Brindel::Host {

PluginModule::PluginModule(const std::string& path) : mPath(path) {
    mHandle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!mHandle) {
        const char* reason = dlerror();
        throw std::runtime_error("cannot load plug-in " + path + ": " +
                                 (reason ? reason : "unknown reason"));
    }
    mEntry = reinterpret_cast<PF_FilterProc>(dlsym(mHandle, kEntryPointName));
    if (!mEntry) {
        dlclose(mHandle);
        throw std::runtime_error("plug-in " + path + " has no " + kEntryPointName);
    }
}

PluginModule::~PluginModule() {
    dlclose(mHandle);
}

} // namespace Brindel::Host
