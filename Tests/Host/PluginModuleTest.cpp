#include "PluginModule.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using Brindel::Host::PluginModule;

namespace {

std::string LoadError(const std::string& path) {
    try {
        PluginModule module(path);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "";
}

} // namespace

TEST(PluginModule, LoadFailuresNameThePathAndTheReason) {
    const std::string missing = "/nonexistent/GaussianBlur.so";
    const std::string message = LoadError(missing);
    EXPECT_NE(message.find(missing), std::string::npos) << message;
    EXPECT_NE(message.find("No such file"), std::string::npos) << message;

    // A library that loads but is no effect.
    const std::string notEffect = LoadError("libm.so.6");
    EXPECT_NE(notEffect.find("libm.so.6 has no EntryPointFunc"), std::string::npos) << notEffect;
}

TEST(PluginModule, UnloadingLetsTheNextLoadStartFresh) {
    {
        PluginModule module(BRINDEL_PLUGIN_PATH);
        EXPECT_NE(module.entry(), nullptr);
    }
    // The module's statics go with it: nothing keeps it resident.
    void* resident = dlopen(BRINDEL_PLUGIN_PATH, RTLD_NOW | RTLD_NOLOAD);
    EXPECT_EQ(resident, nullptr);
    if (resident) {
        dlclose(resident);
    }
}
