#pragma once

#include <filesystem>
#include <string>

namespace Brindel::Testing {

// frei0r's RGBA byte order and the effect's ARGB, for whole frames.
std::string RgbaToArgb(std::string rgba);
std::string ArgbToRgba(std::string argb);

// aehost's output for raw ARGB frames of the given size at a Blur Scale in pixels, run in
// `folder`; a failed run fails the test.
std::string AehostRaw(const std::filesystem::path& folder, int width, int height, double blurPixels,
                      const std::string& argbFrames);

// Whether two ARGB buffers agree within `levels` in alpha and in colour
// premultiplied by alpha; `what` describes the first difference otherwise.
bool WithinLevels(const std::string& a, const std::string& b, int levels, std::string& what);

} // namespace Brindel::Testing
