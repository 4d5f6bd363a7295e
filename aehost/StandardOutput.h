#pragma once

#include <cstdio>

namespace Brindel::Host {

// aehost's standard output, which carries frames (with `-` as OUT) or its own result line and
// nothing else: the plug-in prints to standard error. A standard descriptor that the process was
// started with closed is pointed at nothing, so that a file opened later cannot take its number
// and receive another writer's lines.
class StandardOutput {
public:
    StandardOutput();
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    // The standard output; null when the process was started with it closed.
    FILE* stream() const { return mStream; }
    int descriptor() const { return mStream ? fileno(mStream) : -1; }

private:
    FILE* mStream = nullptr;
};

} // namespace Brindel::Host
