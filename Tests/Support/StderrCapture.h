#pragma once

#include <cstdio>
#include <string>

namespace Brindel::Testing {

/// Captures what the process writes to its standard error, through printf and std::cerr alike,
/// from construction until `text`, which returns it. Not for use from several threads at once.
class StderrCapture {
public:
    StderrCapture();
    ~StderrCapture();
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;

    std::string text();

private:
    void stop();

    std::FILE* mFile = nullptr;
    int mSavedDescriptor = -1;
};

} // namespace Brindel::Testing
