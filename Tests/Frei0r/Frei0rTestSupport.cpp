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
    const auto level = [](const std::string& pixels, size_t at) {
        return static_cast<double>(static_cast<uint8_t>(pixels[at]));
    };
    for (size_t i = 0; i < a.size(); i += 4) {
        bool close = std::abs(level(a, i) - level(b, i)) <= levels;
        for (size_t c = 1; c < 4 && close; ++c) {
            close = std::abs(level(a, i + c) * level(a, i) - level(b, i + c) * level(b, i)) / 255 <=
                    levels + 1e-9;
        }
        if (!close) {
            what = "pixel " + std::to_string(i / 4) + " of " + std::to_string(a.size() / 4);
            return false;
        }
    }
    return true;
}

} // namespace Brindel::Testing
