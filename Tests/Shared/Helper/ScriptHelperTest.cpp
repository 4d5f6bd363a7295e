#include "ScriptHelper.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScriptingSuites.h"
#include "SuiteRegistry.h"

using namespace Brindel::GaussianBlur::ScriptHelper;
using namespace Brindel::Host;

const std::string kUtility = "AEGP Utility Suite/11", kMemory = "AEGP Memory Suite/1";

TEST(ScriptHelper, ResultTextEndsAtItsZeroAndMissingHandlesGiveEmptyWhileTheOthersAreFreed) {
    SuiteRegistry registry; // a host that serves the scripting suites and nothing else
    ScriptingSuites scripting;
    scripting.addTo(registry);
    auto run = [&] { return RunSriptAndGetStringResult(registry.basicSuite(), "app.name"); };
    // The host's code is not looked at: a result handle alone decides.
    // clang-format off
    struct Case { bool giveResult, giveError; A_Err code; std::string result, expected; };
    for (const Case& c : {Case{true, true, A_Err_NONE, "  12 layers\n", "  12 layers\n"}, Case{true, false, A_Err_NONE, std::string("first\0second", 12), "first"},
                          Case{false, true, A_Err_NONE, "value", ""}, Case{false, false, A_Err_GENERIC, "value", ""}, Case{true, true, A_Err_GENERIC, "value", "value"}}) {
        // clang-format on
        ScriptOutcome outcome;
        outcome.result = c.result, outcome.error = "SyntaxError", outcome.code = c.code;
        outcome.giveResult = c.giveResult, outcome.giveError = c.giveError;
        scripting.setOutcome(outcome);
        registry.clearLog();
        EXPECT_EQ(run(), c.expected) << c.giveResult << c.giveError << c.code;
        EXPECT_EQ(registry.log(), (std::vector<std::string>{"+" + kUtility, "+" + kMemory,
                                                            "-" + kMemory, "-" + kUtility}));
        EXPECT_TRUE(scripting.liveHandles() == 0 && scripting.unknownHandleUses() == 0 &&
                    registry.outstanding() == 0);
    }
    const auto calls = scripting.scripts();
    ASSERT_EQ(calls.size(), 5u);
    EXPECT_TRUE(calls[4].plugin == 0 && calls[4].script == "app.name" &&
                !calls[4].platformEncoding);
    registry.setFault("AEGP Memory Suite", 1, SuiteFault::Missing); // thrown by its holder
    EXPECT_THROW(run(), int);
    EXPECT_EQ(registry.outstanding(), 0);
}

TEST(ScriptHelper, TrimRemovesOnlyTheWhiteSpaceAtTheEnds) {
    // Bytes above 127 (a UTF-8 no-break space) are not white space to the default locale.
    // clang-format off
    for (auto [text, trimmed] : std::vector<std::pair<const char*, const char*>>{{"", ""}, {" \t\r\n\v\f ", ""}, {"\n\t a  b\tc \r\n", "a  b\tc"}, {"x ", "x"}, {" x", "x"}, {"\xC2\xA0x\xC2\xA0", "\xC2\xA0x\xC2\xA0"}}) {
        // clang-format on
        EXPECT_EQ(TrimStringWhiteSpaces(text), trimmed) << text;
    }
}
