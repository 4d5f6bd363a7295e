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
    std::fseek(mFile, 0, SEEK_END);
    std::string captured(static_cast<std::size_t>(std::ftell(mFile)), '\0');
    std::rewind(mFile);
    captured.resize(std::fread(captured.data(), 1, captured.size(), mFile));
    return captured;
}

void StderrCapture::stop() {
    if (mSavedDescriptor >= 0) {
        std::cerr.flush();
        std::fflush(stderr);
        dup2(mSavedDescriptor, STDERR_FILENO);
        close(mSavedDescriptor);
        mSavedDescriptor = -1;
    }
}

} // namespace Brindel::Testing
