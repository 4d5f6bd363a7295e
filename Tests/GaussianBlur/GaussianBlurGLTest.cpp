// The effect's entry point, driven through the headless host as the host
// drives it.
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>

#include "AE_EffectCBSuites.h"
#include "AE_GeneralPlug.h"
#include "DrawbotSuite.h"
#include "EffectHost.h"

using Brindel::Host::Callback;
using Brindel::Host::EffectHost;
using Brindel::Host::SuiteFault;

namespace {

class GaussianBlurEntry : public ::testing::Test {
protected:
    EffectHost host{BRINDEL_PLUGIN_PATH};

    // Fills the out record with a pattern, so that writes show.
    void scribble() { std::memset(&host.outData(), 0xA5, sizeof(PF_OutData)); }

    void TearDown() override {
        EXPECT_EQ(host.suites().outstanding(), 0) << "a suite was not released";
        EXPECT_EQ(host.paramsOut(), 0) << "a parameter was not checked in";
    }
};

bool SameBytes(const PF_OutData& a, const PF_OutData& b) {
    return std::memcmp(&a, &b, sizeof(PF_OutData)) == 0;
}

} // namespace

TEST_F(GaussianBlurEntry, AboutAndGlobalSetupWriteOnlyTheirFields) {
    EXPECT_EQ(host.send(PF_Cmd_ABOUT), PF_Err_NONE);
    EXPECT_STREQ(host.outData().return_msg, "Gaussian Blur v1.0\rGaussian Blur");
    EXPECT_EQ(host.suites().releaseCount(kPFANSISuite, 1), 1);
    scribble();
    PF_OutData expected = host.outData();
    EXPECT_EQ(host.send(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    expected.my_version = 0x80001u;
    expected.out_flags = 0;
    expected.out_flags2 = 0x400; // smart render only
    EXPECT_TRUE(SameBytes(host.outData(), expected));
    EXPECT_EQ(host.send(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
    // Without the ANSI suite: no message and no error flag, the code is all the host sees.
    for (SuiteFault fault : {SuiteFault::Missing, SuiteFault::SuccessWithoutSuite}) {
        host.suites().setFault(kPFANSISuite, 1, fault);
        scribble();
        const PF_OutData before = host.outData();
        EXPECT_EQ(host.send(PF_Cmd_ABOUT), PF_Err_BAD_CALLBACK_PARAM);
        EXPECT_TRUE(SameBytes(host.outData(), before));
    }
}

// A failing callback's code is passed on and no slider is added; of exceptions, integers are the
// effect's own failures and their value is not passed on. The parameters are counted first.
TEST_F(GaussianBlurEntry, ParamsSetupRegistersBlurScaleAsAFloatSliderOrReturnsTheFailure) {
    struct Case {
        Callback callback;
        PF_Err code; // returned by the callback, or
        std::exception_ptr thrown;
        PF_Err expected;
    };
    const Case cases[] = {
        {Callback::AddParam, PF_Err_OUT_OF_MEMORY, nullptr, PF_Err_OUT_OF_MEMORY},
        {Callback::AddParam, PF_Interrupt_CANCEL, nullptr, PF_Interrupt_CANCEL},
        {Callback::AnsiStrcpy, 0, std::make_exception_ptr(PF_Err{PF_Err_OUT_OF_MEMORY}),
         PF_Err_BAD_CALLBACK_PARAM},
        {Callback::AnsiStrcpy, 0, std::make_exception_ptr(std::bad_alloc()), PF_Err_OUT_OF_MEMORY},
        {Callback::AnsiStrcpy, 0, std::make_exception_ptr(std::runtime_error("x")),
         PF_Err_INTERNAL_STRUCT_DAMAGED},
        {Callback::AddParam, PF_Err_NONE, nullptr, PF_Err_NONE},
    };
    for (const Case& c : cases) {
        host.clearFaults();
        c.thrown ? host.raise(c.callback, c.thrown) : host.fail(c.callback, c.code);
        const int copies = host.calls(Callback::AnsiStrcpy);
        EXPECT_EQ(host.send(PF_Cmd_PARAMS_SETUP), c.expected) << &c - cases;
        EXPECT_EQ(host.outData().num_params, 2);
        EXPECT_EQ(host.calls(Callback::AnsiStrcpy), copies + 1) << "the name, through the host";
        EXPECT_EQ(host.addedParams().size(), c.expected == PF_Err_NONE ? 1u : 0u);
    }
    ASSERT_EQ(host.addedParams().size(), 1u);
    PF_ParamDef expected;
    std::memset(&expected, 0, sizeof(expected));
    expected.uu.id = 1;
    expected.param_type = PF_Param_FLOAT_SLIDER;
    std::strcpy(expected.name, "Blur Scale");
    expected.u.fs_d.valid_max = 60.0f;
    expected.u.fs_d.slider_max = 60.0f;
    expected.u.fs_d.curve_tolerance = 0.05f;
    // Every byte, the name's tail included: value, default and minimums 0, no flags.
    EXPECT_EQ(std::memcmp(&host.addedParams()[0], &expected, sizeof(PF_ParamDef)), 0);
}

TEST_F(GaussianBlurEntry, CommandsOutsideTheTableReturnNoneAndTouchNothing) {
    PF_LayerDef output;
    std::memset(&output, 0x5A, sizeof(output));
    const PF_LayerDef outputBefore = output;
    for (PF_Cmd cmd : {2,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17,
                       18, 19, 20, 21, 22, 25, 26, 27, 28, 31, 34, 99, -1}) {
        scribble();
        const PF_OutData before = host.outData();
        EXPECT_EQ(host.send(cmd, nullptr, &output), PF_Err_NONE) << "command " << cmd;
        EXPECT_TRUE(SameBytes(host.outData(), before)) << "command " << cmd;
    }
    EXPECT_EQ(std::memcmp(&output, &outputBefore, sizeof(output)), 0);
    EXPECT_TRUE(host.suites().log().empty());
    EXPECT_EQ(host.calls(Callback::AnsiSprintf), 0);
}

// ---- Smart pre-render ----

namespace {

bool operator==(const PF_LRect& a, const PF_LRect& b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

} // namespace

// The input is checked out with the host's request and time unchanged. Each rectangle the host
// placed in the result and the largest result grows by the input's, not widened by the blur; an
// empty one is replaced whole, and after a failed check-out both stay as placed.
TEST_F(GaussianBlurEntry, PreRenderChecksOutTheHostsRequestAndMergesIntoItsRectangles) {
    host.inData().current_time = 48;
    host.inData().time_step = 2;
    host.inData().time_scale = 24;
    struct Case {
        PF_LRect layer, placed, merged;
        PF_Err fault = PF_Err_NONE;
    };
    const Case cases[] = {
        {{100, 50, 400, 300}, {150, 0, 600, 200}, {100, 0, 600, 300}},
        {{100, 50, 400, 300}, {0, 100, 200, 400}, {0, 50, 400, 400}},
        {{100, 50, 400, 300}, {900, 900, 900, 950}, {100, 50, 400, 300}},
        {{5, 5, 5, 10}, {1, 2, 3, 4}, {1, 2, 3, 4}}, // an empty input
        {{0, 0, 64, 64}, {1, 1, 2, 2}, {1, 1, 2, 2}, PF_Interrupt_CANCEL},
    };
    const PF_LRect kEmpty{7, 7, 3, 3};
    for (const Case& c : cases) {
        // The other rectangle is an empty one, so each lands in its own field.
        const PF_LRect other = c.fault == PF_Err_NONE ? c.layer : kEmpty;
        for (const bool intoMax : {false, true}) {
            host.clearFaults();
            host.setLayerRect(c.layer);
            host.fail(Callback::CheckoutLayer, c.fault);
            PF_PreRenderInput input{};
            input.output_request.rect = {10, 20, 300, 200};
            input.output_request.field = PF_Field_UPPER;
            input.output_request.channel_mask = PF_ChannelMask_RED | PF_ChannelMask_ALPHA;
            input.output_request.preserve_rgb_of_zero_alpha = 1;
            input.bitdepth = 8;
            PF_PreRenderOutput output{};
            output.result_rect = intoMax ? kEmpty : c.placed;
            output.max_result_rect = intoMax ? c.placed : kEmpty;
            output.flags = 7;
            EXPECT_EQ(host.preRender(input, output), c.fault);
            const auto checkout = host.layerCheckouts().back();
            EXPECT_TRUE(checkout.index == 0 && checkout.checkoutId == 0 && checkout.time == 48 &&
                        checkout.timeStep == 2 && checkout.timeScale == 24u);
            EXPECT_EQ(
                std::memcmp(&checkout.request, &input.output_request, sizeof(PF_RenderRequest)), 0);
            EXPECT_TRUE(output.result_rect == (intoMax ? other : c.merged) &&
                        output.max_result_rect == (intoMax ? c.merged : other) && output.flags == 7)
                << "row " << &c - cases << (intoMax ? ", largest result" : ", result");
        }
    }
}
