#include "Frei0rTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>

#include "ChildProcess.h"

namespace Brindel::Testing {

std::string RgbaToArgb(std::string rgba) {
    for (size_t i = 0; i + 3 < rgba.size(); i += 4) {
        std::rotate(rgba.begin() + i, rgba.begin() + i + 3, rgba.begin() + i + 4);
    }
    return rgba;
}

std::string ArgbToRgba(std::string argb) {
    for (size_t i = 0; i + 3 < argb.size(); i += 4) {
        std::rotate(argb.begin() + i, argb.begin() + i + 1, argb.begin() + i + 4);
    }
    return argb;
}

std::string AehostRaw(const std::filesystem::path& folder, int width, int height, double blurPixels,
                      const std::string& argbFrames) {
    std::ostringstream blur;
    blur.precision(17);
    blur << blurPixels;
    const ChildProcess::Result r = ChildProcess::Run(
        {AEHOST_PATH, "--raw", std::to_string(width) + "x" + std::to_string(height), "--blur",
         blur.str(), "-", "-"},
        folder, argbFrames);
    EXPECT_EQ(r.status, 0) << r.err;
    return r.out;
}

bool WithinLevels(const std::string& a, const std::string& b, int levels, std::string& what) {
    if (a.size() != b.size()) {
        what = "sizes " + std::to_string(a.size()) + " and " + std::to_string(b.size());
        return false;
    }
    for (size_t i = 0; i + 3 < a.size(); i += 4) {
        const double alphaA = static_cast<uint8_t>(a[i]), alphaB = static_cast<uint8_t>(b[i]);
        bool close = std::abs(alphaA - alphaB) <= levels;
        for (size_t c = 1; c < 4 && close; ++c) {
            close = std::abs(static_cast<uint8_t>(a[i + c]) * alphaA / 255.0 -
                             static_cast<uint8_t>(b[i + c]) * alphaB / 255.0) <= levels + 1e-9;
        }
        if (!close) {
            std::ostringstream text;
            text << "pixel " << i / 4 << ": ARGB";
            for (const std::string* pixel : {&a, &b}) {
                for (size_t c = 0; c < 4; ++c) {
                    text << ' ' << int(static_cast<uint8_t>((*pixel)[i + c]));
                }
                text << (pixel == &a ? " against" : "");
            }
            what = text.str();
            return false;
        }
    }
    return true;
}

} // namespace Brindel::Testing
