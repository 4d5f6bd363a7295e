#include "PluginModule.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

using Brindel::Host::PluginModule;

// The reasons for a failed load are checked through aehost, in its table of exit cases.
TEST(PluginModule, UnloadingLetsTheNextLoadStartFresh) {
    EXPECT_NE(PluginModule(BRINDEL_PLUGIN_PATH).entry(), nullptr);
    // The module's statics go with it: nothing keeps it resident.
    void* resident = dlopen(BRINDEL_PLUGIN_PATH, RTLD_NOW | RTLD_NOLOAD);
    EXPECT_EQ(resident, nullptr);
    if (resident) {
        dlclose(resident);
    }
}
