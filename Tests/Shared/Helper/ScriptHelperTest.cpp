#include "ScriptHelper.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScriptingSuites.h"
#include "SuiteRegistry.h"

using namespace Brindel::GaussianBlur::ScriptHelper;
using Brindel::Host::ScriptingSuites;
using Brindel::Host::ScriptOutcome;
using Brindel::Host::SuiteFault;
using Brindel::Host::SuiteRegistry;

namespace {

const std::string kUtility = "AEGP Utility Suite";
const std::string kMemory = "AEGP Memory Suite";

// A host that serves the scripting suites and nothing else.
class RunScript : public ::testing::Test {
protected:
    RunScript() { scripting.addTo(registry); }

    std::string run(const char* script) {
        return RunSriptAndGetStringResult(registry.basicSuite(), script);
    }

    // Every handle went back and every suite was released.
    void expectNothingLeft() {
        EXPECT_EQ(scripting.liveHandles(), 0u);
        EXPECT_EQ(scripting.unknownHandleUses(), 0);
        EXPECT_EQ(registry.outstanding(), 0);
    }

    SuiteRegistry registry;
    ScriptingSuites scripting;
};

} // namespace

TEST_F(RunScript, ResultTextComesBackAndBothHandlesAreFreed) {
    ScriptOutcome outcome;
    outcome.result = "  12 layers\n";
    outcome.error = "a warning";
    scripting.setOutcome(outcome);

    EXPECT_EQ(run("app.project.activeItem.numLayers"), "  12 layers\n");
    expectNothingLeft();
    const auto calls = scripting.scripts();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].plugin, 0);
    EXPECT_EQ(calls[0].script, "app.project.activeItem.numLayers");
    EXPECT_FALSE(calls[0].platformEncoding);
    EXPECT_EQ(registry.log(),
              (std::vector<std::string>{"+" + kUtility + "/11", "+" + kMemory + "/1",
                                        "-" + kMemory + "/1", "-" + kUtility + "/11"}));

    // The text ends at its terminating zero, not at the handle's size.
    outcome.result = std::string("first\0second", 12);
    scripting.setOutcome(outcome);
    EXPECT_EQ(run("x"), "first");
    expectNothingLeft();
}

TEST_F(RunScript, MissingOrFailedHandlesGiveAnEmptyResultAndTheOthersAreFreed) {
    // The host's code is not looked at: a result handle alone decides.
    struct Case {
        bool giveResult, giveError;
        A_Err code;
        const char* expected;
    };
    for (const Case& c :
         {Case{false, true, A_Err_NONE, ""}, Case{true, false, A_Err_NONE, "value"},
          Case{false, false, A_Err_GENERIC, ""}, Case{true, true, A_Err_GENERIC, "value"}}) {
        ScriptOutcome outcome;
        outcome.result = "value";
        outcome.error = "SyntaxError";
        outcome.giveResult = c.giveResult;
        outcome.giveError = c.giveError;
        outcome.code = c.code;
        scripting.setOutcome(outcome);
        EXPECT_EQ(run("1"), c.expected) << c.giveResult << c.giveError << c.code;
        expectNothingLeft();
    }
}

TEST_F(RunScript, MissingSuiteThrows13AndReleasesWhatWasAcquiredInReverse) {
    registry.setFault(kMemory, 1, SuiteFault::Missing);
    try {
        run("1");
        FAIL() << "no exception";
    } catch (int code) {
        EXPECT_EQ(code, 13);
    }
    EXPECT_EQ(registry.log(),
              (std::vector<std::string>{"+" + kUtility + "/11", "-" + kUtility + "/11"}));

    registry.clearFaults();
    registry.clearLog();
    registry.setFault(kUtility, 11, SuiteFault::SuccessWithoutSuite);
    EXPECT_THROW(run("1"), int);
    EXPECT_TRUE(registry.log().empty());

    EXPECT_TRUE(scripting.scripts().empty());
    expectNothingLeft();
}

TEST(ScriptHelper, TrimRemovesOnlyTheWhiteSpaceAtTheEnds) {
    // Bytes above 127 (here a UTF-8 no-break space) are not white space to the default locale.
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {" \t\r\n\v\f ", ""},
        {"plain", "plain"},
        {"\n\t a  b\tc \r\n", "a  b\tc"},
        {"x ", "x"},
        {" x", "x"},
        {"\xC2\xA0x\xC2\xA0", "\xC2\xA0x\xC2\xA0"}};
    for (const auto& [text, trimmed] : cases) {
        EXPECT_EQ(TrimStringWhiteSpaces(text), trimmed) << text;
    }
}
