#include "Interrupt.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

namespace Brindel::Host {

namespace {

std::atomic<int> gSignal{0};
int gWake[2] = {-1, -1};
struct sigaction gPrevious[2];
constexpr int kSignals[2] = {SIGINT, SIGTERM};

void Handle(int signal) {
    gSignal = signal;
    // Any thread may take the signal; the pipe wakes the one that reads.
    const char byte = 1;
    [[maybe_unused]] const ssize_t n = write(gWake[1], &byte, 1);
}

} // namespace

Interrupt::Interrupt() {
    if (pipe2(gWake, O_CLOEXEC | O_NONBLOCK) != 0) {
        gWake[0] = gWake[1] = -1;
    }
    struct sigaction action {};
    action.sa_handler = Handle;
    sigemptyset(&action.sa_mask);
    // Other calls carry on; reads wait on the pipe too.
    action.sa_flags = SA_RESTART;
    for (int i = 0; i < 2; ++i) {
        sigaction(kSignals[i], &action, &gPrevious[i]);
    }
}

Interrupt::~Interrupt() {
    for (int i = 0; i < 2; ++i) {
        sigaction(kSignals[i], &gPrevious[i], nullptr);
    }
    for (int& fd : gWake) {
        if (fd >= 0) {
            close(fd);
        }
        fd = -1;
    }
    gSignal = 0;
}

int Interrupt::Signal() {
    return gSignal;
}

int Interrupt::WakeDescriptor() {
    return gWake[0];
}

} // namespace Brindel::Host
