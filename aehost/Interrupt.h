#pragma once

namespace Brindel::Host {

// Turns SIGINT and SIGTERM into a request to stop after the frame in
// progress, so that an output never ends inside a frame. One at a time;
// the previous handlers come back when it goes.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    // The signal received, or 0.
    static int Signal();
    // The exit status the shell gives a process stopped by that signal.
    static int ExitStatus() { return 128 + Signal(); }
    // Readable once a signal came: a blocking read waits on it as well.
    static int WakeDescriptor();
};

} // namespace Brindel::Host
