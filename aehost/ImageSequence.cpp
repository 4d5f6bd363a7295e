#include "ImageSequence.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>

namespace Brindel::Host {

ImageSequence::ImageSequence(const std::string& pattern) {
    const size_t percent = pattern.find('%');
    if (percent == std::string::npos) {
        throw std::invalid_argument(pattern + " has no frame number such as %04d");
    }
    size_t i = percent + 1;
    if (i < pattern.size() && pattern[i] == '0') {
        size_t end = i + 1;
        while (end < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[end]))) {
            ++end;
        }
        mDigits = std::atoi(pattern.substr(i + 1, end - i - 1).c_str());
        i = end;
    }
    if (i >= pattern.size() || pattern[i] != 'd' || mDigits > 18 ||
        pattern.find('%', i) != std::string::npos) {
        throw std::invalid_argument(pattern +
                                    " needs one frame number written %d or %0Nd, such as %04d");
    }
    mPrefix = pattern.substr(0, percent);
    mSuffix = pattern.substr(i + 1);
}

bool ImageSequence::IsPattern(const std::string& path) {
    return path.find('%') != std::string::npos;
}

std::string ImageSequence::name(long frame) const {
    std::string number = std::to_string(frame < 0 ? -frame : frame);
    if (static_cast<int>(number.size()) < mDigits) {
        number.insert(0, static_cast<size_t>(mDigits) - number.size(), '0');
    }
    return mPrefix + (frame < 0 ? "-" : "") + number + mSuffix;
}

std::vector<long> ImageSequence::frames(std::optional<long> first, std::optional<long> last) const {
    std::vector<long> found;
    if (first && last) {
        for (long frame = *first; frame <= *last; ++frame) {
            found.push_back(frame);
        }
        return found;
    }
    namespace fs = std::filesystem;
    const size_t slash = mPrefix.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : mPrefix.substr(0, slash + 1);
    const std::string head = slash == std::string::npos ? mPrefix : mPrefix.substr(slash + 1);
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        const std::string file = entry.path().filename().string();
        if (file.size() <= head.size() + mSuffix.size() ||
            file.compare(0, head.size(), head) != 0 ||
            file.compare(file.size() - mSuffix.size(), mSuffix.size(), mSuffix) != 0) {
            continue;
        }
        const std::string digits =
            file.substr(head.size(), file.size() - head.size() - mSuffix.size());
        if (digits.size() > 18 || !std::all_of(digits.begin(), digits.end(), [](char c) {
                return std::isdigit(static_cast<unsigned char>(c));
            })) {
            continue;
        }
        // Only the spelling the pattern gives: frame.7.png is not frame.%04d.png.
        const long frame = std::atol(digits.c_str());
        if (name(frame) == mPrefix.substr(0, slash == std::string::npos ? 0 : slash + 1) + file) {
            found.push_back(frame);
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace Brindel::Host
