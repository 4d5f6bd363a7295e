#include "StandardOutput.h"

#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace Brindel::Host {

StandardOutput::StandardOutput() {
    if (fcntl(STDOUT_FILENO, F_GETFD) >= 0) {
        mStream = stdout;
    }
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            const int nothing = open("/dev/null", O_RDWR);
            if (nothing >= 0 && nothing != descriptor) {
                dup2(nothing, descriptor);
                close(nothing);
            }
        }
    }
}

} // namespace Brindel::Host
