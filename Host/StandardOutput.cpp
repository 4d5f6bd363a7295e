#include "StandardOutput.h"

#include <fcntl.h>
#include <unistd.h>

namespace Brindel::Host {

StandardOutput::StandardOutput(bool passToStandardError) {
    std::fflush(stdout);
    // Above the standard three, and not inherited by anything started later.
    const int real = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (real >= 0) {
        mStream = fdopen(real, "w");
        if (!mStream) {
            close(real);
        }
    }
    // Descriptor 1 always points somewhere after this, even when it was
    // closed: a file opened later must not take its place.
    const int target = passToStandardError ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY);
    if (target >= 0) {
        dup2(target, STDOUT_FILENO);
        if (target != STDOUT_FILENO) {
            close(target);
        }
    }
}

StandardOutput::~StandardOutput() {
    std::fflush(stdout);
    if (mStream) {
        std::fflush(mStream);
        dup2(fileno(mStream), STDOUT_FILENO);
        std::fclose(mStream);
    }
}

} // namespace Brindel::Host
