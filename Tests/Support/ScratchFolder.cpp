#include "ScratchFolder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace Brindel::Testing {

ScratchFolder::ScratchFolder() {
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    mPath = fs::temp_directory_path() /
            ("brindel-" + std::to_string(::getpid()) + "-" + (test ? test->name() : "scratch"));
    fs::remove_all(mPath);
    fs::create_directories(mPath);
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
}

std::string ScratchFolder::Read(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void ScratchFolder::Write(const fs::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

} // namespace Brindel::Testing
