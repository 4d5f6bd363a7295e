// The README's ffmpeg pipes, run as a user pastes them, on small clips that
// Debian's ffmpeg makes.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The README's shell blocks that pipe ffmpeg through aehost, in order.
std::vector<std::string> ReadmePipes() {
    std::istringstream readme(ReadFile(README_PATH));
    std::vector<std::string> blocks;
    std::string line, block;
    bool inside = false;
    while (std::getline(readme, line)) {
        if (!inside && line == "```sh") {
            inside = true;
            block.clear();
        } else if (inside && line == "```") {
            inside = false;
            if (block.find("| aehost --raw") != std::string::npos) {
                blocks.push_back(block);
            }
        } else if (inside) {
            block += line + "\n";
        }
    }
    return blocks;
}

class AehostMedia : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() /
              ("aehost-media-" + std::to_string(::getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }

    // Runs `script` with bash in the test's folder, aehost on the path;
    // gives the exit status and puts what it printed into `output`.
    int shell(const std::string& script, std::string* output = nullptr) {
        std::ofstream(dir / "script.sh") << "set -eo pipefail\n" << script;
        const std::string folder = fs::path(AEHOST_PATH).parent_path().string();
        const std::string command = "cd '" + dir.string() + "' && PATH='" + folder +
                                    "':\"$PATH\" timeout 300 bash script.sh > out.txt 2>&1";
        const int status = std::system(command.c_str());
        const std::string printed = ReadFile(dir / "out.txt");
        if (output) {
            *output = printed;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // ffprobe's fields of one stream, "video" or "audio".
    std::map<std::string, std::string> probe(const std::string& file, const std::string& kind) {
        std::string text;
        const std::string select = kind == "video" ? "v:0" : "a:0";
        EXPECT_EQ(shell("ffprobe -v error -select_streams " + select +
                            " -count_frames -show_entries stream "
                            "-of default=noprint_wrappers=1 " +
                            file,
                        &text),
                  0)
            << text;
        std::map<std::string, std::string> fields;
        std::istringstream lines(text);
        std::string line;
        while (std::getline(lines, line)) {
            const size_t equals = line.find('=');
            if (equals != std::string::npos) {
                fields[line.substr(0, equals)] = line.substr(equals + 1);
            }
        }
        return fields;
    }

    // The first frame's middle pixel as ffmpeg decodes it: alpha, red,
    // green, blue.
    std::vector<int> middlePixel(const std::string& file) {
        EXPECT_EQ(shell("ffmpeg -v error -i " + file +
                        " -frames:v 1 -f rawvideo -pix_fmt argb -y frame.argb"),
                  0);
        const std::string frame = ReadFile(dir / "frame.argb");
        const size_t at = (size_t{45} * 160 + 80) * 4;
        if (frame.size() < at + 4) {
            return {};
        }
        std::vector<int> pixel;
        for (size_t i = 0; i < 4; ++i) {
            pixel.push_back(static_cast<unsigned char>(frame[at + i]));
        }
        return pixel;
    }

    fs::path dir;
};

constexpr const char* kColour = "0x2040D0";

void ExpectNear(const std::vector<int>& a, const std::vector<int>& b, int tolerance) {
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        EXPECT_NEAR(a[i], b[i], tolerance) << "channel " << i;
    }
}

} // namespace

TEST(AehostReadme, HoldsTheTwoFfmpegPipes) {
    const std::vector<std::string> pipes = ReadmePipes();
    ASSERT_EQ(pipes.size(), 2u);
    EXPECT_NE(pipes[0].find("in.mp4"), std::string::npos);
    EXPECT_NE(pipes[1].find("in.mov"), std::string::npos);
}

TEST_F(AehostMedia, ClipPipeKeepsRateAudioAndBt709AndWritesYuv420pH264) {
    // A flat colour at an unusual rate, with sound, tagged and encoded BT.709:
    // a blur leaves it flat, so its colour must come back.
    std::string printed;
    ASSERT_EQ(shell(std::string("ffmpeg -v error -f lavfi -i color=c=") + kColour +
                        ":s=160x90:r=15,format=rgb24 -f lavfi -i sine=f=440:r=48000 "
                        "-t 0.6 -vf scale=out_color_matrix=bt709:out_range=tv "
                        "-c:v libx264 -pix_fmt yuv420p -colorspace bt709 "
                        "-color_primaries bt709 -color_trc bt709 -color_range tv "
                        "-c:a aac in.mp4",
                    &printed),
              0)
        << printed;
    const std::vector<std::string> pipes = ReadmePipes();
    ASSERT_EQ(pipes.size(), 2u);
    ASSERT_EQ(shell(pipes[0], &printed), 0) << printed;

    const auto in = probe("in.mp4", "video");
    const auto out = probe("out.mp4", "video");
    EXPECT_EQ(out.at("codec_name"), "h264");
    EXPECT_EQ(out.at("pix_fmt"), "yuv420p");
    EXPECT_EQ(out.at("r_frame_rate"), "15/1");
    EXPECT_EQ(out.at("nb_read_frames"), in.at("nb_read_frames"));
    EXPECT_EQ(out.at("color_space"), "bt709");
    EXPECT_EQ(out.at("color_primaries"), "bt709");
    EXPECT_EQ(out.at("color_transfer"), "bt709");
    EXPECT_EQ(probe("out.mp4", "audio").at("codec_name"), "aac");
    ExpectNear(middlePixel("out.mp4"), middlePixel("in.mp4"), 3);
}

TEST_F(AehostMedia, AlphaPipeKeepsTheMatteInProRes4444) {
    std::string printed;
    ASSERT_EQ(shell(std::string("ffmpeg -v error -f lavfi -i color=c=") + kColour +
                        "@0.5:s=160x90:r=15,format=argb -t 0.6 "
                        "-c:v prores_ks -profile:v 4444 -pix_fmt yuva444p10le in.mov",
                    &printed),
              0)
        << printed;
    const std::vector<std::string> pipes = ReadmePipes();
    ASSERT_EQ(pipes.size(), 2u);
    ASSERT_EQ(shell(pipes[1], &printed), 0) << printed;

    const auto out = probe("out.mov", "video");
    EXPECT_EQ(out.at("codec_name"), "prores");
    EXPECT_NE(out.at("pix_fmt").find("yuva"), std::string::npos) << out.at("pix_fmt");
    EXPECT_EQ(out.at("r_frame_rate"), "15/1");
    EXPECT_EQ(out.at("nb_read_frames"), probe("in.mov", "video").at("nb_read_frames"));
    EXPECT_EQ(out.at("color_space"), "bt709");
    // The matte and the flat colour come back as they went in.
    ExpectNear(middlePixel("out.mov"), middlePixel("in.mov"), 3);
}
