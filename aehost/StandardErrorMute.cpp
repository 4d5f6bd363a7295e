#include "StandardErrorMute.h"

#include <cstdio>
#include <iostream>

#include <fcntl.h>
#include <unistd.h>

namespace Brindel::Host {

StandardErrorMute::StandardErrorMute(bool mute) {
    if (!mute) {
        return;
    }
    std::fflush(stderr);
    // Above the standard three, and not inherited by anything started meanwhile.
    mSaved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (mSaved < 0 || nothing < 0 || dup2(nothing, STDERR_FILENO) < 0) {
        // Left as it was: the lines show, and nothing is lost.
        if (mSaved >= 0) {
            close(mSaved);
        }
        mSaved = -1;
    }
    if (nothing >= 0) {
        close(nothing);
    }
}

StandardErrorMute::~StandardErrorMute() {
    if (mSaved < 0) {
        return;
    }
    std::cerr.flush();
    std::fflush(stderr);
    dup2(mSaved, STDERR_FILENO);
    close(mSaved);
}

} // namespace Brindel::Host
