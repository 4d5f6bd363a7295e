// The README's ffmpeg pipes, run as a user pastes them, on small clips that
// Debian's ffmpeg makes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ScratchFolder.h"

using Brindel::Testing::ChildProcess;
using Brindel::Testing::ScratchFolder;

namespace {

// The README's shell blocks that pipe ffmpeg through aehost, in order.
std::vector<std::string> ReadmePipes() {
    const std::string readme = ScratchFolder::Read(README_PATH);
    const std::regex block("```sh\n([^`]*\\| aehost --raw[^`]*)```");
    std::vector<std::string> blocks;
    for (std::sregex_iterator i(readme.begin(), readme.end(), block), end; i != end; ++i) {
        blocks.push_back((*i)[1]);
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

    // ffprobe's fields of every stream, "name=value|..." a line each; with `video`, the video
    // stream's frame count alone.
    std::string probe(const std::string& file, bool video = false) {
        return shell("ffprobe -v error -count_frames -of compact=p=0 " + file +
                     (video ? " -select_streams v:0 -show_entries stream=nb_read_frames"
                            : " -show_entries stream"));
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
        std::vector<std::string> fields; // that the output's streams hold, beside the rate
    } cases[] = {
        {colour + ":s=160x90:r=15,format=rgb24 -f lavfi -i sine=f=440:r=48000 -t 0.6 "
                  "-vf scale=out_color_matrix=bt709:out_range=tv -c:v libx264 -pix_fmt yuv420p "
                  "-colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv "
                  "-c:a aac",
         "in.mp4",
         "out.mp4",
         {"codec_name=h264|", "pix_fmt=yuv420p|", "color_space=bt709|", "color_primaries=bt709|",
          "color_transfer=bt709|", "codec_name=aac|"}},
        {colour + "@0.5:s=160x90:r=15,format=argb -t 0.6 -c:v prores_ks -profile:v 4444 "
                  "-pix_fmt yuva444p10le",
         "in.mov",
         "out.mov",
         {"codec_name=prores|", "pix_fmt=yuva", "color_space=bt709|"}},
    };
    for (size_t i = 0; i < 2; ++i) {
        SCOPED_TRACE(cases[i].out);
        ASSERT_NE(pipes[i].find(cases[i].in), std::string::npos) << pipes[i];
        shell("ffmpeg -v error " + cases[i].make + " " + cases[i].in);
        shell(pipes[i]);
        const std::string out = probe(cases[i].out);
        for (const std::string& field : cases[i].fields) {
            EXPECT_NE(out.find(field), std::string::npos) << field << " not in\n" << out;
        }
        EXPECT_NE(out.find("r_frame_rate=15/1|"), std::string::npos) << out;
        EXPECT_EQ(probe(cases[i].out, true), probe(cases[i].in, true));
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
