#include "ImageSequence.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>

using Brindel::Host::ImageSequence;

namespace fs = std::filesystem;

TEST(ImageSequence, NamesFramesAsPrintfWould) {
    EXPECT_EQ(ImageSequence("in/frame.%04d.png").name(7), "in/frame.0007.png");
    EXPECT_EQ(ImageSequence("in/frame.%04d.png").name(12345), "in/frame.12345.png");
    EXPECT_EQ(ImageSequence("f%d.exr").name(42), "f42.exr");
    EXPECT_TRUE(ImageSequence::IsPattern("a.%03d.tif"));
    EXPECT_FALSE(ImageSequence::IsPattern("a.tif"));
    for (const char* bad : {"a.png", "a.%s.png", "a.%04d.%d.png", "a.%4d.png"}) {
        EXPECT_THROW(ImageSequence{bad}, std::invalid_argument) << bad;
    }
}

TEST(ImageSequence, FindsTheFramesThatExistInTheirOwnSpelling) {
    const fs::path dir = fs::temp_directory_path() / ("sequence-" + std::to_string(getpid()));
    fs::create_directories(dir);
    for (const char* name : {"f.0003.png", "f.0010.png", "f.0001.png", "f.7.png", "f.0002.jpg",
                             "g.0004.png", "f.00x5.png"}) {
        std::ofstream(dir / name) << "x";
    }
    const ImageSequence sequence(dir.string() + "/f.%04d.png");
    EXPECT_EQ(sequence.frames(std::nullopt, std::nullopt), (std::vector<long>{1, 3, 10}));
    // A range is taken as given: its files are checked elsewhere.
    EXPECT_EQ(sequence.frames(4, 6), (std::vector<long>{4, 5, 6}));
    fs::remove_all(dir);
}
