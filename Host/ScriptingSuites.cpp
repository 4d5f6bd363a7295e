#include "ScriptingSuites.h"

#include <atomic>
#include <cstring>
#include <stdexcept>

#include "UnexpectedCalls.h"

namespace Brindel::Host {

namespace {

std::atomic<ScriptingSuites*> sActive{nullptr};

// Bytes of a handle made without AEGP_MemFlag_CLEAR, so that a caller that
// relies on zeroed memory it did not ask for shows up.
constexpr char kUnclearedByte = static_cast<char>(0xCD);

} // namespace

// A handle points at the block's data pointer, as the host's handles do.
struct ScriptingSuites::Block {
    void* data = nullptr;
    std::vector<char> bytes;
    int locks = 0;

    AEGP_MemHandle handle() { return reinterpret_cast<AEGP_MemHandle>(&data); }
};

ScriptingSuites::ScriptingSuites()
    : mUtilitySuite{}, mMemorySuite{
                           &ScriptingSuites::newMemHandle,      &ScriptingSuites::freeMemHandle,
                           &ScriptingSuites::lockMemHandle,     &ScriptingSuites::unlockMemHandle,
                           &ScriptingSuites::getMemHandleSize,  &ScriptingSuites::resizeMemHandle,
                           &ScriptingSuites::setMemReportingOn, &ScriptingSuites::getMemStats} {
    mUtilitySuite.AEGP_IsScriptingAvailable = &ScriptingSuites::isScriptingAvailable;
    mUtilitySuite.AEGP_ExecuteScript = &ScriptingSuites::executeScript;
    UnexpectedCalls::Fill(&mUtilitySuite, 0, sizeof(mUtilitySuite) / sizeof(void*),
                          "AEGP_UtilitySuite5");
    ScriptingSuites* none = nullptr;
    if (!sActive.compare_exchange_strong(none, this)) {
        throw std::logic_error("only one set of scripting suites can be active at a time");
    }
}

ScriptingSuites::~ScriptingSuites() {
    sActive = nullptr;
}

void ScriptingSuites::addTo(SuiteRegistry& registry) {
    registry.add(kAEGPUtilitySuite, kAEGPUtilitySuiteVersion5, &mUtilitySuite);
    registry.add(kAEGPMemorySuite, kAEGPMemorySuiteVersion1, &mMemorySuite);
}

void ScriptingSuites::setOutcome(const ScriptOutcome& outcome) {
    std::lock_guard<std::mutex> lock(mMutex);
    mOutcome = outcome;
}

std::vector<ScriptCall> ScriptingSuites::scripts() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mScripts;
}

std::size_t ScriptingSuites::liveHandles() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mHandles.size();
}

int ScriptingSuites::unknownHandleUses() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mUnknownHandleUses;
}

// Both helpers expect mMutex held.
ScriptingSuites::Block* ScriptingSuites::find(AEGP_MemHandle handle) {
    const auto it = mHandles.find(handle);
    if (it == mHandles.end()) {
        ++mUnknownHandleUses;
        return nullptr;
    }
    return it->second.get();
}

AEGP_MemHandle ScriptingSuites::newHandle(std::size_t size, const char* fill) {
    auto block = std::make_unique<Block>();
    block->bytes.assign(size, kUnclearedByte);
    if (fill) {
        std::memcpy(block->bytes.data(), fill, size);
    }
    block->data = block->bytes.data();
    const AEGP_MemHandle handle = block->handle();
    mHandles.emplace(handle, std::move(block));
    return handle;
}

A_Err ScriptingSuites::isScriptingAvailable(A_Boolean* available) {
    if (!available) {
        return A_Err_PARAMETER;
    }
    *available = sActive != nullptr;
    return A_Err_NONE;
}

A_Err ScriptingSuites::executeScript(AEGP_PluginID plugin, const A_char* script,
                                     const A_Boolean platformEncoding, AEGP_MemHandle* result,
                                     AEGP_MemHandle* error) {
    ScriptingSuites* self = sActive;
    if (!self || !script) {
        return A_Err_PARAMETER;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    self->mScripts.push_back({plugin, script, platformEncoding != 0});
    const ScriptOutcome& outcome = self->mOutcome;
    // Each text goes out with its terminating zero.
    if (result && outcome.giveResult) {
        *result = self->newHandle(outcome.result.size() + 1, outcome.result.c_str());
    }
    if (error && outcome.giveError) {
        *error = self->newHandle(outcome.error.size() + 1, outcome.error.c_str());
    }
    return outcome.code;
}

A_Err ScriptingSuites::newMemHandle(AEGP_PluginID, const A_char*, AEGP_MemSize size,
                                    AEGP_MemFlag flags, AEGP_MemHandle* handle) {
    ScriptingSuites* self = sActive;
    if (!self || !handle) {
        return A_Err_PARAMETER;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    *handle = self->newHandle(size, nullptr);
    if (flags & AEGP_MemFlag_CLEAR) {
        std::memset(self->mHandles.at(*handle)->bytes.data(), 0, size);
    }
    return A_Err_NONE;
}

A_Err ScriptingSuites::freeMemHandle(AEGP_MemHandle handle) {
    ScriptingSuites* self = sActive;
    if (!self) {
        return A_Err_PARAMETER;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    if (!self->find(handle)) {
        return A_Err_PARAMETER;
    }
    // Freeing a locked handle is allowed.
    self->mHandles.erase(handle);
    return A_Err_NONE;
}

A_Err ScriptingSuites::lockMemHandle(AEGP_MemHandle handle, void** pointer) {
    ScriptingSuites* self = sActive;
    if (!self || !pointer) {
        return A_Err_PARAMETER;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    Block* block = self->find(handle);
    if (!block) {
        return A_Err_PARAMETER;
    }
    // Locks nest; each needs its own unlock.
    ++block->locks;
    *pointer = block->data;
    return A_Err_NONE;
}

A_Err ScriptingSuites::unlockMemHandle(AEGP_MemHandle handle) {
    ScriptingSuites* self = sActive;
    if (!self) {
        return A_Err_PARAMETER;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    Block* block = self->find(handle);
    if (!block || block->locks == 0) {
        return A_Err_PARAMETER;
    }
    --block->locks;
    return A_Err_NONE;
}

A_Err ScriptingSuites::getMemHandleSize(AEGP_MemHandle handle, AEGP_MemSize* size) {
    ScriptingSuites* self = sActive;
    if (!self || !size) {
        return A_Err_PARAMETER;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    Block* block = self->find(handle);
    if (!block) {
        return A_Err_PARAMETER;
    }
    *size = static_cast<AEGP_MemSize>(block->bytes.size());
    return A_Err_NONE;
}

A_Err ScriptingSuites::resizeMemHandle(const A_char*, AEGP_MemSize size, AEGP_MemHandle handle) {
    ScriptingSuites* self = sActive;
    if (!self) {
        return A_Err_PARAMETER;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    Block* block = self->find(handle);
    // Resizing may move the bytes, which a locked pointer still points at.
    if (!block || block->locks > 0) {
        return A_Err_PARAMETER;
    }
    block->bytes.resize(size, kUnclearedByte);
    block->data = block->bytes.data();
    return A_Err_NONE;
}

A_Err ScriptingSuites::setMemReportingOn(A_Boolean) {
    return A_Err_NONE;
}

A_Err ScriptingSuites::getMemStats(AEGP_PluginID, A_long* count, A_long* size) {
    ScriptingSuites* self = sActive;
    if (!self || !count || !size) {
        return A_Err_PARAMETER;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    std::size_t bytes = 0;
    for (const auto& entry : self->mHandles) {
        bytes += entry.second->bytes.size();
    }
    *count = static_cast<A_long>(self->mHandles.size());
    *size = static_cast<A_long>(bytes);
    return A_Err_NONE;
}

} // namespace Brindel::Host
