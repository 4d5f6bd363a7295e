// Preloaded into aehost: after the first rename (a finished frame taking its name), touches the
// file FARM_PAUSE_MARKER and sleeps until a signal, so that a test cancels a task half-way at a
// known frame rather than racing it.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

__attribute__((visibility("default"))) int rename(const char* from, const char* to) {
    static int (*next)(const char*, const char*);
    static int renamed;
    if (!next) {
        next = (int (*)(const char*, const char*))dlsym(RTLD_NEXT, "rename");
    }
    const int result = next(from, to);
    const char* marker = getenv("FARM_PAUSE_MARKER");
    if (result == 0 && marker && !renamed++) {
        close(open(marker, O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        // A handled signal ends the sleep early; the time is only a bound.
        sleep(60);
    }
    return result;
}
