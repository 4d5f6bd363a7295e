#include "SuiteRegistry.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace Brindel::Host {

namespace {

SuiteRegistry* sActive = nullptr;

// The broker's own error codes, as four-character codes.
constexpr SPErr kSuiteNotFound = 0x214E4641; // '!NFA'
constexpr SPErr kBadParameter = 0x50524D3F;  // 'PRM?'

SPBoolean isEqual(const char* a, const char* b) {
    return std::strcmp(a, b) == 0;
}

SPErr allocateBlock(size_t size, void** block) {
    *block = std::malloc(size);
    return *block ? kSPNoError : kBadParameter;
}

SPErr freeBlock(void* block) {
    std::free(block);
    return kSPNoError;
}

SPErr reallocateBlock(void* block, size_t size, void** newBlock) {
    *newBlock = std::realloc(block, size);
    return *newBlock ? kSPNoError : kBadParameter;
}

SPErr undefined() {
    return kBadParameter;
}

std::string logKey(const char* name, int version) {
    return std::string(name) + "/" + std::to_string(version);
}

} // namespace

SuiteRegistry::SuiteRegistry()
    : mBasicSuite{&SuiteRegistry::acquireSuite,
                  &SuiteRegistry::releaseSuite,
                  &isEqual,
                  &allocateBlock,
                  &freeBlock,
                  &reallocateBlock,
                  &undefined} {
    if (sActive) {
        throw std::logic_error("only one suite registry can be active at a time");
    }
    sActive = this;
}

SuiteRegistry::~SuiteRegistry() {
    sActive = nullptr;
}

void SuiteRegistry::add(const std::string& name, int version, const void* suite) {
    std::lock_guard<std::mutex> lock(mMutex);
    mEntries[{name, version}].suite = suite;
}

void SuiteRegistry::setFault(const std::string& name, int version, SuiteFault fault) {
    std::lock_guard<std::mutex> lock(mMutex);
    mEntries[{name, version}].fault = fault;
}

void SuiteRegistry::clearFaults() {
    std::lock_guard<std::mutex> lock(mMutex);
    for (auto& entry : mEntries) {
        entry.second.fault = SuiteFault::None;
    }
}

int SuiteRegistry::outstanding() const {
    std::lock_guard<std::mutex> lock(mMutex);
    int count = 0;
    for (const auto& entry : mEntries) {
        count += entry.second.acquired - entry.second.released;
    }
    return count;
}

int SuiteRegistry::acquireCount(const std::string& name, int version) const {
    std::lock_guard<std::mutex> lock(mMutex);
    const auto it = mEntries.find({name, version});
    return it == mEntries.end() ? 0 : it->second.acquired;
}

int SuiteRegistry::releaseCount(const std::string& name, int version) const {
    std::lock_guard<std::mutex> lock(mMutex);
    const auto it = mEntries.find({name, version});
    return it == mEntries.end() ? 0 : it->second.released;
}

std::vector<std::string> SuiteRegistry::log() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mLog;
}

void SuiteRegistry::clearLog() {
    std::lock_guard<std::mutex> lock(mMutex);
    mLog.clear();
}

SPErr SuiteRegistry::acquireSuite(const char* name, int32_t version, const void** suite) {
    SuiteRegistry* self = sActive;
    if (!self || !name || !suite) {
        return kBadParameter;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    const auto it = self->mEntries.find({name, version});
    if (it == self->mEntries.end() || !it->second.suite ||
        it->second.fault == SuiteFault::Missing) {
        *suite = nullptr;
        return kSuiteNotFound;
    }
    if (it->second.fault == SuiteFault::SuccessWithoutSuite) {
        *suite = nullptr;
        return kSPNoError;
    }
    ++it->second.acquired;
    self->mLog.push_back("+" + logKey(name, version));
    *suite = it->second.suite;
    return kSPNoError;
}

SPErr SuiteRegistry::releaseSuite(const char* name, int32_t version) {
    SuiteRegistry* self = sActive;
    if (!self || !name) {
        return kBadParameter;
    }
    std::lock_guard<std::mutex> lock(self->mMutex);
    const auto it = self->mEntries.find({name, version});
    if (it == self->mEntries.end()) {
        return kSuiteNotFound;
    }
    ++it->second.released;
    self->mLog.push_back("-" + logKey(name, version));
    return kSPNoError;
}

} // namespace Brindel::Host
