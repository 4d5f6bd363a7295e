#pragma once

#include <filesystem>
#include <string>

namespace Brindel::Testing {

// Whole frames from frei0r's RGBA byte order to the effect's ARGB.
std::string RgbaToArgb(std::string rgba);

// aehost's output for raw ARGB frames of the given size at a Blur Scale in pixels, run in
// `folder`; a failed run fails the test.
std::string AehostRaw(const std::filesystem::path& folder, int width, int height, double blurPixels,
                      const std::string& argbFrames);

// Whether two ARGB buffers agree within `levels` in alpha and in colour premultiplied by alpha;
// `what` names the first pixel that does not otherwise.
bool WithinLevels(const std::string& a, const std::string& b, int levels, std::string& what);

} // namespace Brindel::Testing
