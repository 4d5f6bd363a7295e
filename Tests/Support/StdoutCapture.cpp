#include "StdoutCapture.h"

#include <iostream>
#include <stdexcept>

#include <unistd.h>

namespace Brindel::Testing {

StdoutCapture::StdoutCapture() {
    std::cout.flush();
    std::fflush(stdout);
    mFile = std::tmpfile();
    mSavedDescriptor = dup(STDOUT_FILENO);
    if (mFile == nullptr || mSavedDescriptor < 0 || dup2(fileno(mFile), STDOUT_FILENO) < 0) {
        throw std::runtime_error("standard output cannot be captured");
    }
}

StdoutCapture::~StdoutCapture() {
    stop();
    if (mFile != nullptr) {
        std::fclose(mFile);
    }
}

std::string StdoutCapture::text() {
    stop();
    std::string captured;
    std::rewind(mFile);
    char buffer[4096];
    for (std::size_t read; (read = std::fread(buffer, 1, sizeof buffer, mFile)) > 0;) {
        captured.append(buffer, read);
    }
    return captured;
}

void StdoutCapture::stop() {
    if (mSavedDescriptor < 0) {
        return;
    }
    std::cout.flush();
    std::fflush(stdout);
    dup2(mSavedDescriptor, STDOUT_FILENO);
    close(mSavedDescriptor);
    mSavedDescriptor = -1;
}

} // namespace Brindel::Testing
