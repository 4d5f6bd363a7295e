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
    const std::pair<ScriptOutcome, std::string> cases[] = {
        {{"  12 layers\n", "SyntaxError", true, true, A_Err_NONE}, "  12 layers\n"},
        {{std::string("first\0second", 12), "SyntaxError", true, false, A_Err_NONE}, "first"},
        {{"value", "SyntaxError", false, true, A_Err_NONE}, ""},
        {{"value", "SyntaxError", false, false, A_Err_GENERIC}, ""},
        {{"value", "SyntaxError", true, true, A_Err_GENERIC}, "value"},
    };
    for (const auto& [outcome, expected] : cases) {
        scripting.setOutcome(outcome);
        registry.clearLog();
        EXPECT_EQ(run(), expected) << outcome.giveResult << outcome.giveError << outcome.code;
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
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},    {" \t\r\n\v\f ", ""}, {"\n\t a  b\tc \r\n", "a  b\tc"},
        {"x ", "x"}, {" x", "x"},          {"\xC2\xA0x\xC2\xA0", "\xC2\xA0x\xC2\xA0"},
    };
    for (auto [text, trimmed] : cases) {
        EXPECT_EQ(TrimStringWhiteSpaces(text), trimmed) << text;
    }
}
