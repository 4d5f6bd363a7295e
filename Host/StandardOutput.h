#pragma once

#include <cstdio>

namespace Brindel::Host {

// Keeps the process's standard output for aehost's own output (frames and
// messages) and points file descriptor 1, where a plug-in's console output
// goes, at standard error or at nothing. Restores descriptor 1 when it goes.
class StandardOutput {
public:
    explicit StandardOutput(bool passToStandardError);
    ~StandardOutput();
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    // The real standard output; null when the process was started with it
    // closed.
    FILE* stream() const { return mStream; }
    int descriptor() const { return mStream ? fileno(mStream) : -1; }

private:
    FILE* mStream = nullptr;
};

} // namespace Brindel::Host
