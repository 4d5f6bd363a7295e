#include "ProgressLine.h"

#include <algorithm>

namespace Brindel::Host {

namespace {

// Back to the start of the line, and clear it.
constexpr const char* kClearLine = "\r\033[K";

} // namespace

ProgressLine::ProgressLine(FILE* stream, bool showBar, std::optional<long> total)
    : mStream(stream), mShow(showBar), mLines(!showBar), mTotal(total) {}

ProgressLine::~ProgressLine() {
    finish();
}

void ProgressLine::step() {
    ++mDone;
    if (mShow) {
        draw();
    }
}

void ProgressLine::step(long frame, const std::string& what) {
    step();
    if (mLines) {
        std::string line = "frame " + std::to_string(frame) + " " + what;
        if (mTotal) {
            line += " (" + std::to_string(mDone) + " of " + std::to_string(*mTotal) + ")";
        }
        print(line);
    }
}

void ProgressLine::print(const std::string& text) {
    if (mDrawn) {
        std::fputs(kClearLine, mStream);
    }
    std::fprintf(mStream, "%s\n", text.c_str());
    if (mDrawn) {
        draw();
    }
    std::fflush(mStream);
}

void ProgressLine::finish() {
    if (mDrawn) {
        std::fputc('\n', mStream);
        std::fflush(mStream);
        mDrawn = false;
    }
    mShow = false;
}

void ProgressLine::draw() {
    std::fputs(kClearLine, mStream);
    if (mTotal && *mTotal > 0) {
        constexpr long kWidth = 30;
        const long filled = kWidth * std::min(mDone, *mTotal) / *mTotal;
        std::fprintf(mStream, "[%s%s] %ld/%ld", std::string(filled, '#').c_str(),
                     std::string(kWidth - filled, ' ').c_str(), mDone, *mTotal);
    } else {
        std::fprintf(mStream, "%ld frames", mDone);
    }
    std::fflush(mStream);
    mDrawn = true;
}

} // namespace Brindel::Host
