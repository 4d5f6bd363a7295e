#include "AehostOptions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Brindel::Host::AehostOptions;
using Brindel::Host::UsageError;

namespace {

AehostOptions Parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "aehost");
    std::vector<const char*> argv;
    argv.reserve(arguments.size());
    for (const std::string& a : arguments) {
        argv.push_back(a.c_str());
    }
    return AehostOptions::Parse(static_cast<int>(argv.size()), argv.data());
}

std::string Refusal(const std::vector<std::string>& arguments) {
    try {
        Parse(arguments);
    } catch (const UsageError& e) {
        return e.what();
    }
    return "accepted";
}

} // namespace

TEST(AehostOptions, TakesValuesInEveryUsualSpelling) {
    // The last of a repeated option counts.
    for (const auto& [arguments, blur] : std::vector<std::pair<std::vector<std::string>, double>>{
             {{"--blur=3.5"}, 3.5},
             {{"-b", "4"}, 4},
             {{"-b5"}, 5},
             {{"--blur", "1", "--blur", "2"}, 2}}) {
        EXPECT_EQ(Parse(arguments).blur, blur) << arguments[0];
    }
    for (const auto& [arguments, threads] : std::vector<std::pair<std::vector<std::string>, int>>{
             {{"-j", "3"}, 3}, {{"-t4"}, 4}, {{"--threads=2"}, 2}}) {
        EXPECT_EQ(Parse(arguments).threads, threads) << arguments[0];
    }
    const AehostOptions raw = Parse({"--raw=64x32", "--downsample=2", "-", "out.argb"});
    EXPECT_EQ(raw.mode, AehostOptions::Mode::Raw);
    EXPECT_EQ(std::vector<int>({raw.rawWidth, raw.rawHeight, raw.downsample}),
              std::vector<int>({64, 32, 2}));
    EXPECT_EQ(raw.input, "-");
    const AehostOptions sequence = Parse({"--frames", "3-7", "in.%04d.png", "out.%04d.png"});
    EXPECT_EQ(sequence.mode, AehostOptions::Mode::Image);
    EXPECT_EQ(std::make_pair(*sequence.firstFrame, *sequence.lastFrame), std::make_pair(3L, 7L));
    EXPECT_EQ(*Parse({"--frames=9", "a%d.png", "b%d.png"}).lastFrame, 9);
    EXPECT_TRUE(Parse({"--version"}).version && Parse({"--verbose"}).verbose &&
                Parse({"-v"}).verbose);
}

TEST(AehostOptions, RefusesWithOneLineThatNamesTheArgument) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--frobnicate"}, "unknown option '--frobnicate'"},
        {{"--blur"}, "--blur needs a value"},
        {{"--blur=soft"}, "--blur needs a number, not 'soft'"},
        {{"-b", "61"}, "--blur 61 is outside Blur Scale's range 0 to 60"},
        {{"--blur=-1"}, "--blur -1 is outside Blur Scale's range 0 to 60"},
        {{"-j", "0"}, "--threads needs a whole number from 1 to 64, not '0'"},
        {{"--raw", "4x4"}, "--raw needs IN and OUT"},
        {{"--raw", "4by4", "-", "-"}, "--raw needs a size WxH"},
        {{"a.png"}, "expected INPUT and OUTPUT, got 1 file argument"},
        {{"-", "out.png"}, "use --raw WxH"},
        {{"--frames", "1-3", "a.png", "b.png"}, "--frames needs a numbered sequence"},
        {{"--frames", "5-3", "a%d.png", "b%d.png"}, "A no greater than B"},
        {{"a.%04d.png", "b.png"}, "a pattern such as %04d in both"},
        {{"--skip-existing", "a.png", "b.png"}, "--skip-existing needs a numbered sequence"},
        {{"--unblurred", "x.png", "a.png", "b.png"}, "--unblurred goes with the test card"},
    };
    for (const auto& [arguments, says] : cases) {
        const std::string message = Refusal(arguments);
        EXPECT_NE(message.find(says), std::string::npos) << arguments[0] << ": " << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
    }
}
