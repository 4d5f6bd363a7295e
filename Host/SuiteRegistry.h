#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "SPBasic.h"

namespace Brindel::Host {

// How the registry answers a request for one suite.
enum class SuiteFault {
    None,                // serve the suite
    Missing,             // answer "not found" and no suite
    SuccessWithoutSuite, // answer success but give no suite
};

// The host's suite broker: serves suites by name and version through an
// SPBasicSuite, counts acquisitions and releases, and can be told to fail.
// The broker's functions carry no context, so one registry at a time is the
// active one; it is safe to call from several threads.
class SuiteRegistry {
public:
    SuiteRegistry();
    ~SuiteRegistry();
    SuiteRegistry(const SuiteRegistry&) = delete;
    SuiteRegistry& operator=(const SuiteRegistry&) = delete;

    SPBasicSuite* basicSuite() { return &mBasicSuite; }

    void add(const std::string& name, int version, const void* suite);
    void setFault(const std::string& name, int version, SuiteFault fault);
    void clearFaults();

    // Acquisitions not yet released, over all suites.
    int outstanding() const;
    int acquireCount(const std::string& name, int version) const;
    int releaseCount(const std::string& name, int version) const;
    // "+name/version" for each successful acquisition and "-name/version" for
    // each release, in order.
    std::vector<std::string> log() const;
    void clearLog();

private:
    using Key = std::pair<std::string, int>;
    struct Entry {
        const void* suite = nullptr;
        SuiteFault fault = SuiteFault::None;
        int acquired = 0;
        int released = 0;
    };

    static SPErr acquireSuite(const char* name, int32_t version, const void** suite);
    static SPErr releaseSuite(const char* name, int32_t version);

    SPBasicSuite mBasicSuite;
    mutable std::mutex mMutex;
    std::map<Key, Entry> mEntries;
    std::vector<std::string> mLog;
};

} // namespace Brindel::Host
