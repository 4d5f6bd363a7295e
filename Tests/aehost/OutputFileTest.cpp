#include "OutputFile.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

using Brindel::Host::OutputFile;
using Brindel::Host::OutputFileError;
using Brindel::Host::OutputTarget;

namespace fs = std::filesystem;

namespace {

std::string Read(const fs::path& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace

TEST(OutputFile, ReplacesTheDestinationOnlyOnCommit) {
    const fs::path dir = fs::temp_directory_path() / ("output-file-" + std::to_string(getpid()));
    fs::create_directories(dir);
    const fs::path destination = dir / "out.png";
    const OutputTarget target{OutputTarget::Kind::Replace, destination.string()};
    std::ofstream(destination) << "earlier";
    {
        OutputFile dropped(target, "out.png");
        EXPECT_EQ(fs::path(dropped.path()).parent_path(), dir);
        EXPECT_EQ(fs::path(dropped.path()).extension(), ".png");
        std::ofstream(dropped.path()) << "half";
        EXPECT_EQ(Read(destination), "earlier");
    }
    EXPECT_EQ(Read(destination), "earlier");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);

    {
        OutputFile kept(target, "out.png");
        std::ofstream(kept.path()) << "new";
        kept.commit();
    }
    EXPECT_EQ(Read(destination), "new");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
    // Not the private mode of a temporary file.
    struct stat info;
    ASSERT_EQ(stat(destination.c_str(), &info), 0);
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(info.st_mode & 0777, 0666 & ~mask);

    EXPECT_THROW(OutputFile({OutputTarget::Kind::Replace, (dir / "missing" / "out.png").string()},
                            "missing/out.png"),
                 OutputFileError);
    fs::remove_all(dir);
}
