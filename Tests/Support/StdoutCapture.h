#pragma once

#include <cstdio>
#include <string>

namespace Brindel::Testing {

/// Captures what the process writes to its standard output, through printf and std::cout
/// alike, from construction until `text`. Not for use from several threads at once.
class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();

    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    /// Ends the capture and returns what was written.
    std::string text();

private:
    void stop();

    std::FILE* mFile = nullptr;
    int mSavedDescriptor = -1;
};

} // namespace Brindel::Testing
