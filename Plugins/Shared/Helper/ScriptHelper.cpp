#include "ScriptHelper.h"

#include <algorithm>
#include <cctype>

#include "AE_GeneralPlug.h"
#include "SuiteScoper.h"

namespace Brindel::GaussianBlur::ScriptHelper {

namespace {

// The two handles a script answers with. Both are freed, result first, on
// every way out of the scope, while the memory suite is still held.
class ScriptHandles {
public:
    explicit ScriptHandles(const AEGP_MemorySuite1& memory) : mMemory(memory) {}
    ~ScriptHandles() {
        free(result);
        free(error);
    }
    ScriptHandles(const ScriptHandles&) = delete;
    ScriptHandles& operator=(const ScriptHandles&) = delete;

    // The text of `handle`, locked; null for a null handle or a failed lock.
    // The lock is not undone: freeing a locked handle is allowed.
    const char* lock(AEGP_MemHandle handle) const {
        void* text = nullptr;
        if (handle && mMemory.AEGP_LockMemHandle(handle, &text) != A_Err_NONE) {
            text = nullptr;
        }
        return static_cast<const char*>(text);
    }

    AEGP_MemHandle result = nullptr;
    AEGP_MemHandle error = nullptr;

private:
    void free(AEGP_MemHandle handle) const {
        if (handle) {
            mMemory.AEGP_FreeMemHandle(handle);
        }
    }

    const AEGP_MemorySuite1& mMemory;
};

bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

} // namespace

std::string RunSriptAndGetStringResult(SPBasicSuite* basic, const char* script) {
    SuiteScoper<AEGP_UtilitySuite5> utility(basic, kAEGPUtilitySuite, kAEGPUtilitySuiteVersion5);
    SuiteScoper<AEGP_MemorySuite1> memory(basic, kAEGPMemorySuite, kAEGPMemorySuiteVersion1);

    std::string result;
    ScriptHandles handles(*memory.get());
    // A failing script shows in its handles, not in the code, which is not
    // looked at.
    utility->AEGP_ExecuteScript(0, script, false, &handles.result, &handles.error);
    const char* text = handles.lock(handles.result);
    // The error handle is locked alike, though its text is not used.
    handles.lock(handles.error);
    if (text) {
        result = text;
    }
    return result;
}

std::string TrimStringWhiteSpaces(const std::string& text) {
    const auto first = std::find_if_not(text.begin(), text.end(), IsSpace);
    const auto last =
        std::find_if_not(text.rbegin(), std::string::const_reverse_iterator(first), IsSpace).base();
    return std::string(first, last);
}

} // namespace Brindel::GaussianBlur::ScriptHelper
