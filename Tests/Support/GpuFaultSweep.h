#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace Brindel::Testing {

/// Fails each GPU call of a run in turn, one per run, through the fault injector preloaded into
/// the program: every context switch, context creation and storage call that the run makes
/// without a fault. Runs that end otherwise than allowed fail the test, which lists them with a
/// tally of how all ended.
class GpuFaultSweep {
public:
    explicit GpuFaultSweep(std::string injector);
    ~GpuFaultSweep();
    GpuFaultSweep(const GpuFaultSweep&) = delete;
    GpuFaultSweep& operator=(const GpuFaultSweep&) = delete;

    /// The environment that preloads the injector, failing `fault` ("storage:3"; empty: none).
    std::vector<std::string> environment(const std::string& fault) const;

    /// `run` runs the program with environment(fault) and names how it ended. It runs once
    /// without a fault, then once per call it made; endings in `right` are right.
    void sweep(const std::string& label, const std::function<std::string(const std::string&)>& run,
               const std::set<std::string>& right);

private:
    // The calls of each class a run made, and the call that was failed ("" when none was);
    // the log is then removed for the next run.
    std::map<std::string, long> readLog(std::string& failed) const;

    std::string mInjector;
    std::filesystem::path mLog;
};

} // namespace Brindel::Testing
