#pragma once

// What the GPU fault injector wrote about a run, and how to preload it into one, for the sweeps
// that fail each context switch, context creation and storage call of a run in turn.
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace Brindel::Testing {

// The classes of call the injector fails, as GPU_FAULT names them.
inline const char* const kGpuFaultClasses[] = {"make-current", "create-context", "storage"};

struct GpuFaultLog {
    // Calls of each class the run made.
    std::map<std::string, long> counts;
    // "glTexImage2D (storage 3)": the call that was failed, or empty when none was.
    std::string failed;

    static GpuFaultLog Read(const std::string& path) {
        GpuFaultLog log;
        std::ifstream in(path);
        for (std::string line; std::getline(in, line);) {
            if (line.rfind("failed ", 0) == 0) {
                log.failed = line.substr(7);
                continue;
            }
            std::istringstream words(line);
            std::string name;
            long count = 0;
            if (words >> name >> count) {
                log.counts[name] = count;
            }
        }
        return log;
    }
};

// The words that run a program under `env` with the injector preloaded, failing the call
// `fault` ("storage:3"; empty: none, only counting) and logging to `log`. A sanitizer's runtime
// is then not the first library, which it accepts when told.
inline std::string GpuFaultEnvironment(const std::string& injector, const std::string& fault,
                                       const std::string& log) {
    return "env LD_PRELOAD='" + injector + "' GPU_FAULT_LOG='" + log + "'" +
           (fault.empty() ? "" : " GPU_FAULT=" + fault) +
           " ASAN_OPTIONS=\"${ASAN_OPTIONS}:verify_asan_link_order=0\" ";
}

} // namespace Brindel::Testing
