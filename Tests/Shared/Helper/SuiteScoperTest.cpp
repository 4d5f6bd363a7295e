#include "SuiteScoper.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
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

// A host with a broker, the sprintf callback, three plain suites and two of the drawbot set.
class SuiteAccess : public ::testing::Test {
protected:
    SuiteAccess() {
        utils.ansi.sprintf = &HostSprintf;
        inData.utils = &utils;
        inData.pica_basicP = registry.basicSuite();
        registry.add("A", 1, &a), registry.add("B", 2, &b), registry.add("C", 3, &c);
        registry.add(kDRAWBOT_DrawSuite, 1, &draw);
        registry.add(kDRAWBOT_SupplierSuite, 1, &supply);
    }
    SuiteRegistry registry;
    PF_UtilCallbacks utils{};
    PF_InData inData{};
    PF_OutData outData{};
    int a = 1, b = 2, c = 3, draw = 4, supply = 5;
};

} // namespace

TEST_F(SuiteAccess, HoldersReleaseInReverseAndAMissingSuiteThrows13WithItsMessage) {
    int code = 0;
    try {
        SuiteScoper<int> first(&inData, "A", 1);
        SuiteScoper<int> second(registry.basicSuite(), "B", 2);
        EXPECT_TRUE(*first.get() == 1 && second.get() == &b && registry.outstanding() == 2);
        SuiteScoper<int> third(&inData, "C", 4); // a version the host lacks is missing
    } catch (int thrown) {
        code = thrown;
    }
    EXPECT_EQ(code, 13);
    EXPECT_EQ(registry.log(), (std::vector<std::string>{"+A/1", "+B/2", "-B/2", "-A/1"}));
    EXPECT_EQ(outData.out_flags, 0); // without an out record nothing is reported
    registry.setFault("B", 2, SuiteFault::SuccessWithoutSuite); // would leave the holder unusable
    EXPECT_THROW(SuiteScoper<int>(&inData, "B", 2, &outData), int);
    EXPECT_EQ(outData.out_flags, PF_OutFlag_DISPLAY_ERROR_MESSAGE);
    EXPECT_STREQ(outData.return_msg, "Not able to acquire AEFX Suite.");
    EXPECT_THROW(SuiteScoper<int>(&inData, "Z", 1, &outData, "No Z here, 100%"), int);
    EXPECT_STREQ(outData.return_msg, "No Z here, 100%");
    EXPECT_EQ(registry.outstanding(), 0);
}

TEST_F(SuiteAccess, AcquireTrustsOnlyTheSuitePointerAndDrawbotStopsAtTheFirstFailure) {
    void* suite = nullptr;
    registry.setFault("B", 2, SuiteFault::SuccessWithoutSuite);
    EXPECT_EQ(AcquireSuite(&inData, &outData, "B", 2, nullptr, &suite), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_STREQ(outData.return_msg, "Not able to acquire AEFX Suite-B-2");
    // The surface suite is missing: the two before it are set and held, the rest keep theirs.
    DRAWBOT_Suites set{};
    set.surface_suiteP = reinterpret_cast<DRAWBOT_SurfaceSuiteCurrent*>(&c);
    EXPECT_EQ(AcquireDrawbotSuites(&inData, &outData, &set), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_TRUE(set.drawbot_suiteP == (void*)&draw && set.supplier_suiteP == (void*)&supply &&
                set.surface_suiteP == (void*)&c && set.path_suiteP == nullptr);
    EXPECT_EQ(registry.outstanding(), 2);
    EXPECT_STREQ(outData.return_msg, "Not able to acquire AEFX Suite-DRAWBOT Surface Suite-2");
    EXPECT_EQ(ReleaseDrawbotSuites(&inData, &outData), PF_Err_NONE);
    inData.pica_basicP = nullptr; // with no broker releases are reported
    EXPECT_EQ(ReleaseSuite(&inData, &outData, "A", 1, nullptr), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_STREQ(outData.return_msg, "Not able to release AEFX Suite.");
}
