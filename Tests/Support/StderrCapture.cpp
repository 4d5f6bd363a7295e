#include "StderrCapture.h"

#include <iostream>
#include <stdexcept>

#include <unistd.h>

namespace Brindel::Testing {

StderrCapture::StderrCapture() {
    std::cerr.flush();
    std::fflush(stderr);
    mFile = std::tmpfile();
    mSavedDescriptor = dup(STDERR_FILENO);
    if (mFile == nullptr || mSavedDescriptor < 0 || dup2(fileno(mFile), STDERR_FILENO) < 0) {
        throw std::runtime_error("standard error cannot be captured");
    }
}

StderrCapture::~StderrCapture() {
    stop();
    if (mFile != nullptr) {
        std::fclose(mFile);
    }
}

std::string StderrCapture::text() {
    stop();
    std::string captured;
    std::rewind(mFile);
    char buffer[4096];
    for (std::size_t read; (read = std::fread(buffer, 1, sizeof buffer, mFile)) > 0;) {
        captured.append(buffer, read);
    }
    return captured;
}

void StderrCapture::stop() {
    if (mSavedDescriptor < 0) {
        return;
    }
    std::cerr.flush();
    std::fflush(stderr);
    dup2(mSavedDescriptor, STDERR_FILENO);
    close(mSavedDescriptor);
    mSavedDescriptor = -1;
}

} // namespace Brindel::Testing
