#pragma once

#include <filesystem>
#include <string>

namespace Brindel::Testing {

/// A folder of the test's own under the temporary folder, named after the test and the process,
/// removed at the end; what a test writes or runs lives there.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return mPath; }
    std::filesystem::path operator/(const std::string& name) const { return mPath / name; }

    /// The bytes of a file; empty when there is none.
    static std::string Read(const std::filesystem::path& file);
    static void Write(const std::filesystem::path& file, const std::string& bytes);

private:
    std::filesystem::path mPath;
};

} // namespace Brindel::Testing
