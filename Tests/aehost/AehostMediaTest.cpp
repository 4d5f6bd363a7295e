// The README's ffmpeg pipes, run as a user pastes them, on small clips that
// Debian's ffmpeg makes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ScratchFolder.h"

using Brindel::Testing::ChildProcess;
using Brindel::Testing::ScratchFolder;

namespace {

// The README's shell blocks that pipe ffmpeg through aehost, in order.
std::vector<std::string> ReadmePipes() {
    std::istringstream readme(ScratchFolder::Read(README_PATH));
    std::vector<std::string> blocks;
    std::string block;
    bool inside = false;
    for (std::string line; std::getline(readme, line);) {
        if (inside && line == "```" && block.find("| aehost --raw") != std::string::npos) {
            blocks.push_back(block);
        }
        inside = inside ? line != "```" : line == "```sh";
        block = inside && line != "```sh" ? block + line + "\n" : "";
    }
    return blocks;
}

class AehostMedia : public ::testing::Test {
protected:
    // `script` run by bash in the test's folder with aehost on the path; it must succeed.
    std::string shell(const std::string& script) {
        const char* path = std::getenv("PATH");
        const ChildProcess::Result r =
            ChildProcess::Run({"bash", "-c", "set -eo pipefail\n" + script}, dir.path(), "",
                              {"PATH=" + std::filesystem::path(AEHOST_PATH).parent_path().string() +
                               ":" + (path ? path : "/usr/bin:/bin")});
        EXPECT_EQ(r.status, 0) << script << r.err;
        return r.out;
    }

    // ffprobe's fields of the first video stream, and of the first audio stream as "audio".
    std::map<std::string, std::string> probe(const std::string& file) {
        std::map<std::string, std::string> fields;
        for (const char* stream : {"v:0", "a:0"}) {
            std::istringstream lines(shell(std::string("ffprobe -v error -select_streams ") +
                                           stream + " -count_frames -show_entries stream " +
                                           "-of default=noprint_wrappers=1 " + file));
            for (std::string line; std::getline(lines, line);) {
                const size_t equals = line.find('=');
                if (equals != std::string::npos) {
                    fields[(stream[0] == 'a' ? "audio " : "") + line.substr(0, equals)] =
                        line.substr(equals + 1);
                }
            }
        }
        return fields;
    }

    // The first frame's middle pixel as ffmpeg decodes it: alpha, red, green, blue.
    std::string middlePixel(const std::string& file) {
        const std::string frame =
            shell("ffmpeg -v error -i " + file + " -frames:v 1 -f rawvideo -pix_fmt argb -");
        return frame.size() < 160 * 90 * 4 ? "" : frame.substr((size_t{45} * 160 + 80) * 4, 4);
    }

    ScratchFolder dir;
};

// Flat colour at an unusual rate: a blur leaves it flat, so its colour must come back, with the
// rate, the frame count, the colour tags, the sound and the matte.
TEST_F(AehostMedia, ReadmePipesKeepRateColourTagsSoundAndMatte) {
    const std::vector<std::string> pipes = ReadmePipes();
    ASSERT_EQ(pipes.size(), 2u);
    const std::string colour = "-f lavfi -i color=c=0x2040D0";
    const struct {
        std::string make, in, out;
        // Fields of the output beside rate and count; a value ending in '*' is a beginning.
        std::map<std::string, std::string> fields;
    } cases[] = {
        {colour + ":s=160x90:r=15,format=rgb24 -f lavfi -i sine=f=440:r=48000 -t 0.6 "
                  "-vf scale=out_color_matrix=bt709:out_range=tv -c:v libx264 -pix_fmt yuv420p "
                  "-colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv "
                  "-c:a aac",
         "in.mp4",
         "out.mp4",
         {{"codec_name", "h264"},
          {"pix_fmt", "yuv420p"},
          {"color_space", "bt709"},
          {"color_primaries", "bt709"},
          {"color_transfer", "bt709"},
          {"audio codec_name", "aac"}}},
        {colour + "@0.5:s=160x90:r=15,format=argb -t 0.6 -c:v prores_ks -profile:v 4444 "
                  "-pix_fmt yuva444p10le",
         "in.mov",
         "out.mov",
         {{"codec_name", "prores"}, {"pix_fmt", "yuva*"}, {"color_space", "bt709"}}},
    };
    for (size_t i = 0; i < 2; ++i) {
        SCOPED_TRACE(cases[i].out);
        ASSERT_NE(pipes[i].find(cases[i].in), std::string::npos) << pipes[i];
        shell("ffmpeg -v error " + cases[i].make + " " + cases[i].in);
        shell(pipes[i]);
        std::map<std::string, std::string> in = probe(cases[i].in), out = probe(cases[i].out);
        for (const auto& [field, value] : cases[i].fields) {
            EXPECT_TRUE(value.back() == '*'
                            ? out[field].rfind(value.substr(0, value.size() - 1), 0) == 0
                            : out[field] == value)
                << field << ": " << out[field];
        }
        EXPECT_EQ(out["r_frame_rate"], "15/1");
        EXPECT_EQ(out["nb_read_frames"], in["nb_read_frames"]);
        const std::string before = middlePixel(cases[i].in), after = middlePixel(cases[i].out);
        ASSERT_EQ(after.size(), 4u);
        for (size_t c = 0; c < 4; ++c) {
            EXPECT_NEAR(static_cast<unsigned char>(after[c]), static_cast<unsigned char>(before[c]),
                        3)
                << "channel " << c;
        }
    }
}

} // namespace
