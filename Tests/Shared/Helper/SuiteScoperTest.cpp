#include "SuiteScoper.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "AE_EffectCBSuites.h"
#include "SuiteRegistry.h"

using namespace Brindel::GaussianBlur;
using Brindel::Host::SuiteFault;
using Brindel::Host::SuiteRegistry;

namespace {

int HostSprintf(A_char* dst, const A_char* format, ...) {
    va_list args;
    va_start(args, format);
    const int n = std::vsprintf(dst, format, args);
    va_end(args);
    return n;
}

struct Token {
    int id;
};

// A host with a broker and the sprintf callback, and three plain suites.
class SuiteAccess : public ::testing::Test {
protected:
    SuiteAccess() {
        utils.ansi.sprintf = &HostSprintf;
        inData.utils = &utils;
        inData.pica_basicP = registry.basicSuite();
        registry.add("A", 1, &a);
        registry.add("B", 2, &b);
        registry.add("C", 3, &c);
        registry.add(kDRAWBOT_DrawSuite, 1, &draw);
        registry.add(kDRAWBOT_SupplierSuite, 1, &supplier);
        registry.add(kDRAWBOT_SurfaceSuite, 2, &surface);
        registry.add(kDRAWBOT_PathSuite, 1, &path);
    }

    SuiteRegistry registry;
    PF_UtilCallbacks utils{};
    PF_InData inData{};
    PF_OutData outData{};
    Token a{1}, b{2}, c{3}, draw{4}, supplier{5}, surface{6}, path{7};
};

} // namespace

TEST_F(SuiteAccess, HoldersReleaseInReverseOrderOfAcquisition) {
    {
        SuiteScoper<Token> first(&inData, "A", 1);
        SuiteScoper<Token> second(registry.basicSuite(), "B", 2);
        EXPECT_EQ(first->id, 1);
        EXPECT_EQ(second.get(), &b);
        EXPECT_EQ(registry.outstanding(), 2);
    }
    EXPECT_EQ(registry.log(), (std::vector<std::string>{"+A/1", "+B/2", "-B/2", "-A/1"}));
}

TEST_F(SuiteAccess, MissingSuiteThrows13AndOnlyEarlierHoldersRelease) {
    registry.setFault("B", 2, SuiteFault::Missing);
    try {
        SuiteScoper<Token> first(&inData, "A", 1);
        SuiteScoper<Token> second(&inData, "B", 2);
        FAIL() << "no exception";
    } catch (int code) {
        EXPECT_EQ(code, 13);
    }
    EXPECT_EQ(registry.log(), (std::vector<std::string>{"+A/1", "-A/1"}));
    // Without an out record nothing is reported.
    EXPECT_EQ(outData.out_flags, 0);

    EXPECT_THROW(SuiteScoper<Token>(registry.basicSuite(), "B", 2), int);
    EXPECT_THROW(SuiteScoper<Token>(&inData, "nothing", 1), int);
    // A version the host does not have is a missing suite too.
    EXPECT_THROW(SuiteScoper<Token>(&inData, "A", 2), int);
    // Success without a suite would leave the holder unusable.
    registry.setFault("C", 3, SuiteFault::SuccessWithoutSuite);
    EXPECT_THROW(SuiteScoper<Token>(&inData, "C", 3), int);
    EXPECT_EQ(registry.outstanding(), 0);
}

TEST_F(SuiteAccess, MissingSuiteWithAnOutRecordReportsTheGivenOrDefaultText) {
    registry.setFault("A", 1, SuiteFault::Missing);
    EXPECT_THROW(SuiteScoper<Token>(&inData, "A", 1, &outData), int);
    EXPECT_EQ(outData.out_flags, PF_OutFlag_DISPLAY_ERROR_MESSAGE);
    EXPECT_STREQ(outData.return_msg, "Not able to acquire AEFX Suite.");

    outData = {};
    EXPECT_THROW(SuiteScoper<Token>(&inData, "A", 1, &outData, "No A here, 100%"), int);
    EXPECT_EQ(outData.out_flags, PF_OutFlag_DISPLAY_ERROR_MESSAGE);
    EXPECT_STREQ(outData.return_msg, "No A here, 100%");
}

TEST_F(SuiteAccess, AcquireSuiteTrustsOnlyTheSuitePointer) {
    void* suite = nullptr;
    EXPECT_EQ(AcquireSuite(&inData, &outData, "A", 1, nullptr, &suite), PF_Err_NONE);
    EXPECT_EQ(suite, &a);
    EXPECT_EQ(ReleaseSuite(&inData, &outData, "A", 1, nullptr), PF_Err_NONE);
    EXPECT_EQ(outData.out_flags, 0);

    // The host says yes but gives nothing.
    registry.setFault("B", 2, SuiteFault::SuccessWithoutSuite);
    suite = nullptr;
    EXPECT_EQ(AcquireSuite(&inData, &outData, "B", 2, nullptr, &suite), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(outData.out_flags, PF_OutFlag_DISPLAY_ERROR_MESSAGE);
    EXPECT_STREQ(outData.return_msg, "Not able to acquire AEFX Suite-B-2");

    // A caller's text replaces the formatted one.
    outData = {};
    EXPECT_EQ(AcquireSuite(&inData, &outData, "Z", 9, "custom", &suite), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_STREQ(outData.return_msg, "custom");
    EXPECT_EQ(registry.outstanding(), 0);
}

TEST_F(SuiteAccess, WithoutABrokerAcquireAndReleaseReport516) {
    inData.pica_basicP = nullptr;
    void* suite = nullptr;
    EXPECT_EQ(AcquireSuite(&inData, &outData, "A", 1, nullptr, &suite), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_STREQ(outData.return_msg, "Not able to acquire AEFX Suite-A-1");

    outData = {};
    EXPECT_EQ(ReleaseSuite(&inData, &outData, "A", 1, nullptr), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(outData.out_flags, PF_OutFlag_DISPLAY_ERROR_MESSAGE);
    EXPECT_STREQ(outData.return_msg, "Not able to release AEFX Suite.");
    EXPECT_EQ(ReleaseSuite(&inData, &outData, "A", 1, "gone"), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_STREQ(outData.return_msg, "gone");
}

TEST_F(SuiteAccess, DrawbotSuitesAreTakenAsASetAndStopAtTheFirstFailure) {
    DRAWBOT_Suites suites{};
    EXPECT_EQ(AcquireDrawbotSuites(&inData, &outData, &suites), PF_Err_NONE);
    EXPECT_EQ(static_cast<void*>(suites.drawbot_suiteP), &draw);
    EXPECT_EQ(static_cast<void*>(suites.supplier_suiteP), &supplier);
    EXPECT_EQ(static_cast<void*>(suites.surface_suiteP), &surface);
    EXPECT_EQ(static_cast<void*>(suites.path_suiteP), &path);
    EXPECT_EQ(ReleaseDrawbotSuites(&inData, &outData), PF_Err_NONE);
    EXPECT_EQ(registry.outstanding(), 0);
    EXPECT_EQ(registry.releaseCount(kDRAWBOT_SurfaceSuite, 2), 1);

    // The surface suite fails: the two before it stay set and acquired, the
    // two from it on keep what they held.
    registry.clearLog();
    registry.setFault(kDRAWBOT_SurfaceSuite, 2, SuiteFault::Missing);
    DRAWBOT_Suites partial{};
    auto* sentinel = reinterpret_cast<DRAWBOT_SurfaceSuiteCurrent*>(&c);
    partial.surface_suiteP = sentinel;
    partial.path_suiteP = reinterpret_cast<DRAWBOT_PathSuiteCurrent*>(&c);
    EXPECT_EQ(AcquireDrawbotSuites(&inData, &outData, &partial), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(static_cast<void*>(partial.drawbot_suiteP), &draw);
    EXPECT_EQ(static_cast<void*>(partial.supplier_suiteP), &supplier);
    EXPECT_EQ(partial.surface_suiteP, sentinel);
    EXPECT_EQ(static_cast<void*>(partial.path_suiteP), &c);
    EXPECT_EQ(registry.outstanding(), 2);
    EXPECT_STREQ(outData.return_msg, "Not able to acquire AEFX Suite-DRAWBOT Surface Suite-2");
}

TEST_F(SuiteAccess, DrawbotEdgeCasesReportWithoutStopping) {
    EXPECT_EQ(AcquireDrawbotSuites(&inData, &outData, nullptr), PF_Err_UNRECOGNIZED_PARAM_TYPE);
    EXPECT_EQ(outData.out_flags, PF_OutFlag_DISPLAY_ERROR_MESSAGE);
    EXPECT_STREQ(outData.return_msg, "NULL suite pointer passed to AEFX_AcquireDrawbotSuites");

    // With no broker every release is reported, and the call still succeeds.
    outData = {};
    inData.pica_basicP = nullptr;
    EXPECT_EQ(ReleaseDrawbotSuites(&inData, &outData), PF_Err_NONE);
    EXPECT_EQ(outData.out_flags, PF_OutFlag_DISPLAY_ERROR_MESSAGE);
    EXPECT_STREQ(outData.return_msg, "Not able to release AEFX Suite.");
    EXPECT_TRUE(registry.log().empty());
}
