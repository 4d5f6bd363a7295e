#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Brindel::Testing {

// A folder of its own for one test, removed at the end.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return mPath; }
    std::filesystem::path operator/(const std::string& name) const { return mPath / name; }

private:
    std::filesystem::path mPath;
};

std::string ReadBytes(const std::filesystem::path& path);
void WriteBytes(const std::filesystem::path& path, const std::string& bytes);

// Runs a shell command line; the result is its exit status, or -1 when it
// did not exit normally.
int RunCommand(const std::string& command);
// The peak resident memory of a shell command run as one process (`exec`), which must succeed.
double PeakMiBOf(const std::string& command);

// Quotes a path for a shell command line.
std::string Quoted(const std::filesystem::path& path);

// frei0r's RGBA byte order and the effect's ARGB, for whole frames.
std::string RgbaToArgb(const std::string& rgba);
std::string ArgbToRgba(const std::string& argb);

// Runs aehost on raw ARGB frames of the given size at a Blur Scale in pixels.
// Returns its output frames; fails the test when it does not succeed.
std::string AehostRaw(const ScratchFolder& folder, int width, int height, double blurPixels,
                      const std::string& argbFrames);

// Whether two ARGB buffers agree within `levels` in alpha and in colour
// premultiplied by alpha; `what` describes the first difference otherwise.
bool WithinLevels(const std::string& a, const std::string& b, int levels, std::string& what);

} // namespace Brindel::Testing
