// The host hands out tables with every slot filled: what it does not
// implement fails the call and records it, so an effect that reaches for the
// wrong slot fails a test instead of jumping through null or passing by luck.
#include "EffectHost.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "UnexpectedCalls.h"

using Brindel::Host::EffectHost;
using Brindel::Host::UnexpectedCalls;

namespace {

// The null pointer slots among `count` pointers at `table`.
std::vector<size_t> NullSlots(const void* table, size_t count) {
    std::vector<size_t> nulls;
    for (size_t i = 0; i < count; ++i) {
        void* slot = nullptr;
        std::memcpy(&slot, static_cast<const char*>(table) + i * sizeof(void*), sizeof(void*));
        if (!slot) {
            nulls.push_back(i);
        }
    }
    return nulls;
}

} // namespace

TEST(EffectHost, EveryTableItHandsOutIsFullAndAnUnimplementedSlotFailsSayingWhich) {
    EffectHost host(BRINDEL_PLUGIN_PATH);
    PF_InData& in = host.inData();
    const std::pair<const void*, size_t> tables[] = {
        {&in.inter, offsetof(PF_InteractCallbacks, reserved_str)},
        {in.utils, offsetof(PF_UtilCallbacks, ansi)},
        {&in.utils->ansi, offsetof(PF_ANSICallbacks, ansi_procs)},
        {&in.utils->colorCB,
         offsetof(PF_UtilCallbacks, reserved) - offsetof(PF_UtilCallbacks, colorCB)},
        {in.pica_basicP, sizeof(SPBasicSuite)},
    };
    for (const auto& [table, bytes] : tables) {
        EXPECT_EQ(NullSlots(table, bytes / sizeof(void*)), std::vector<size_t>{}) << table;
    }

    const struct {
        const char* name;
        int version;
        size_t slots;
    } suites[] = {
        {kPFANSISuite, kPFANSISuiteVersion1, sizeof(PF_ANSICallbacksSuite1) / sizeof(void*)},
        {kPFHandleSuite, kPFHandleSuiteVersion1, sizeof(PF_HandleSuite1) / sizeof(void*)},
        {kPFIterateFloatSuite, kPFIterateFloatSuiteVersion1,
         sizeof(PF_iterateFloatSuite1) / sizeof(void*)},
        {kAEGPUtilitySuite, kAEGPUtilitySuiteVersion5, sizeof(AEGP_UtilitySuite5) / sizeof(void*)},
        {kAEGPMemorySuite, kAEGPMemorySuiteVersion1, sizeof(AEGP_MemorySuite1) / sizeof(void*)},
        // Opaque to effects: served as tables of recorders.
        {kAEGPPFInterfaceSuite, kAEGPPFInterfaceSuiteVersion1, 64},
        {kAEGPLayerSuite, kAEGPLayerSuiteVersion5, 64},
        {kAEGPItemSuite, kAEGPItemSuiteVersion6, 64},
        {kDRAWBOT_DrawSuite, kDRAWBOT_DrawSuite_Version1, 2},
        {kDRAWBOT_SupplierSuite, kDRAWBOT_SupplierSuite_Version1, 64},
        {kDRAWBOT_SurfaceSuite, kDRAWBOT_SurfaceSuite_Version2, 64},
        {kDRAWBOT_PathSuite, kDRAWBOT_PathSuite_Version1, 64},
    };
    for (const auto& suite : suites) {
        const void* table = nullptr;
        in.pica_basicP->AcquireSuite(suite.name, suite.version, &table);
        in.pica_basicP->ReleaseSuite(suite.name, suite.version);
        ASSERT_NE(table, nullptr) << suite.name;
        EXPECT_EQ(NullSlots(table, suite.slots), std::vector<size_t>{}) << suite.name;
    }

    // Slots it does not implement: the utility table's first, and the utility suite's.
    UnexpectedCalls::Clear();
    A_long (*beginSampling)() = nullptr;
    std::memcpy(&beginSampling, in.utils, sizeof(beginSampling));
    EXPECT_EQ(beginSampling(), PF_Err_INVALID_CALLBACK);
    const void* utility = nullptr;
    in.pica_basicP->AcquireSuite(kAEGPUtilitySuite, kAEGPUtilitySuiteVersion5, &utility);
    EXPECT_EQ(static_cast<const AEGP_UtilitySuite5*>(utility)->AEGP_ReportInfo(0, "hello"),
              PF_Err_INVALID_CALLBACK);
    in.pica_basicP->ReleaseSuite(kAEGPUtilitySuite, kAEGPUtilitySuiteVersion5);
    EXPECT_EQ(UnexpectedCalls::Recorded(),
              (std::vector<std::string>{"PF_UtilCallbacks#0", "AEGP_UtilitySuite5#0"}));
}
