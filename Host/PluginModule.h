#pragma once

#include <string>

#include "AE_Effect.h"

namespace Brindel::Host {

// A loaded effect module and its entry point. Unloaded on destruction, so
// that the next load starts from the module's static initialisers.
class PluginModule {
public:
    // Throws std::runtime_error naming the path and the loader's reason.
    explicit PluginModule(const std::string& path);
    ~PluginModule();
    PluginModule(const PluginModule&) = delete;
    PluginModule& operator=(const PluginModule&) = delete;

    PF_FilterProc entry() const { return mEntry; }
    const std::string& path() const { return mPath; }

    static constexpr const char* kEntryPointName = "EntryPointFunc";

private:
    std::string mPath;
    void* mHandle = nullptr;
    PF_FilterProc mEntry = nullptr;
};

} // namespace Brindel::Host
