#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "AE_GeneralPlug.h"
#include "SuiteRegistry.h"

namespace Brindel::Host {

// What the script stand-in answers to the next scripts.
struct ScriptOutcome {
    std::string result;      // text of the result handle
    std::string error;       // text of the error handle
    bool giveResult = true;  // false leaves the result handle null
    bool giveError = true;   // false leaves the error handle null
    A_Err code = A_Err_NONE; // what AEGP_ExecuteScript returns
};

// One call of AEGP_ExecuteScript, as the plug-in made it.
struct ScriptCall {
    AEGP_PluginID plugin;
    std::string script;
    bool platformEncoding;
};

// The host's scripting suites: AEGP_UtilitySuite5, whose scripts are answered
// by a stand-in, and AEGP_MemorySuite1, which keeps account of every handle
// it hands out so that a test can see each one freed. The suites' functions
// carry no context, so one instance at a time is the active one; it is safe
// to call from several threads.
class ScriptingSuites {
public:
    ScriptingSuites();
    // Frees the handles still live.
    ~ScriptingSuites();
    ScriptingSuites(const ScriptingSuites&) = delete;
    ScriptingSuites& operator=(const ScriptingSuites&) = delete;

    // Serves both suites from `registry` under the names and versions the
    // plug-in asks for. This object must outlive the registry's use of them.
    void addTo(SuiteRegistry& registry);

    const AEGP_UtilitySuite5& utilitySuite() const { return mUtilitySuite; }
    const AEGP_MemorySuite1& memorySuite() const { return mMemorySuite; }

    void setOutcome(const ScriptOutcome& outcome);
    std::vector<ScriptCall> scripts() const;

    // Handles given out and not yet freed.
    std::size_t liveHandles() const;
    // Calls of the memory suite with a handle that is not live: never given
    // out, or freed already.
    int unknownHandleUses() const;

private:
    struct Block;

    Block* find(AEGP_MemHandle handle);
    AEGP_MemHandle newHandle(std::size_t size, const char* fill);

    static A_Err isScriptingAvailable(A_Boolean* available);
    static A_Err executeScript(AEGP_PluginID plugin, const A_char* script,
                               const A_Boolean platformEncoding, AEGP_MemHandle* result,
                               AEGP_MemHandle* error);
    static A_Err newMemHandle(AEGP_PluginID plugin, const A_char* what, AEGP_MemSize size,
                              AEGP_MemFlag flags, AEGP_MemHandle* handle);
    static A_Err freeMemHandle(AEGP_MemHandle handle);
    static A_Err lockMemHandle(AEGP_MemHandle handle, void** pointer);
    static A_Err unlockMemHandle(AEGP_MemHandle handle);
    static A_Err getMemHandleSize(AEGP_MemHandle handle, AEGP_MemSize* size);
    static A_Err resizeMemHandle(const A_char* what, AEGP_MemSize size, AEGP_MemHandle handle);
    static A_Err setMemReportingOn(A_Boolean on);
    static A_Err getMemStats(AEGP_PluginID plugin, A_long* count, A_long* size);

    AEGP_UtilitySuite5 mUtilitySuite;
    AEGP_MemorySuite1 mMemorySuite;

    mutable std::mutex mMutex;
    ScriptOutcome mOutcome;
    std::vector<ScriptCall> mScripts;
    std::map<AEGP_MemHandle, std::unique_ptr<Block>> mHandles;
    int mUnknownHandleUses = 0;
};

} // namespace Brindel::Host
