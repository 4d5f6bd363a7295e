#include "GpuFaultSweep.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace Brindel::Testing {

GpuFaultSweep::GpuFaultSweep(std::string injector)
    : mInjector(std::move(injector)),
      mLog(std::filesystem::temp_directory_path() /
           ("gpu-faults-" + std::to_string(::getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".log")) {
    std::filesystem::remove(mLog);
}

GpuFaultSweep::~GpuFaultSweep() {
    std::error_code ignored;
    std::filesystem::remove(mLog, ignored);
}

std::vector<std::string> GpuFaultSweep::environment(const std::string& fault) const {
    // A sanitizer's runtime is then not the first library, which it accepts when told. A run
    // whose set-down could not make its context current cannot free what it made there, so
    // the leak check at exit is for the other tests, not for these.
    const char* asan = std::getenv("ASAN_OPTIONS");
    std::vector<std::string> words = {"LD_PRELOAD=" + mInjector, "GPU_FAULT_LOG=" + mLog.string(),
                                      std::string("ASAN_OPTIONS=") + (asan ? asan : "") +
                                          ":verify_asan_link_order=0:detect_leaks=0"};
    if (!fault.empty()) {
        words.push_back("GPU_FAULT=" + fault);
    }
    return words;
}

std::map<std::string, long> GpuFaultSweep::readLog(std::string& failed) const {
    // "failed glTexImage2D (storage 3)" when a call was failed, and "CLASS COUNT" at exit.
    std::map<std::string, long> counts;
    failed.clear();
    std::ifstream in(mLog);
    for (std::string word, rest; in >> word && std::getline(in >> std::ws, rest);) {
        if (word == "failed") {
            failed = rest;
        } else {
            counts[word] = std::stol(rest);
        }
    }
    std::filesystem::remove(mLog);
    return counts;
}

void GpuFaultSweep::sweep(const std::string& label,
                          const std::function<std::string(const std::string&)>& run,
                          const std::set<std::string>& right) {
    const std::string plain = run("");
    std::string failed;
    const std::map<std::string, long> counts = readLog(failed);
    ASSERT_TRUE(right.count(plain)) << label << ", no fault: " << plain;
    std::string wrong, tally;
    for (const std::string kind : {"create-context", "make-current", "storage"}) {
        const long calls = counts.count(kind) ? counts.at(kind) : 0;
        EXPECT_GT(calls, 0) << label << ": no " << kind << " call to fail";
        std::map<std::string, int> endings;
        for (long n = 1; n <= calls; ++n) {
            const std::string fault = kind + ":" + std::to_string(n);
            std::string ending = run(fault);
            readLog(failed);
            ending = failed.empty() ? "not injected" : ending;
            ++endings[ending];
            if (!right.count(ending)) {
                wrong += "  " + fault + " (" + failed + "): " + ending + "\n";
            }
        }
        tally += "  " + kind + ":";
        for (const auto& [ending, count] : endings) {
            tally += " " + std::to_string(count) + " " + ending + ";";
        }
        tally += "\n";
    }
    // The tally on standard output too, where `ctest -V` shows it for a sweep that passed.
    std::printf("%s:\n%s", label.c_str(), tally.c_str());
    EXPECT_TRUE(wrong.empty()) << label << ", runs that ended wrong:\n" << wrong << tally;
}

} // namespace Brindel::Testing
