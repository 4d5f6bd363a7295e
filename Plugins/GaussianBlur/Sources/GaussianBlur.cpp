#include "GaussianBlur.h"

#include <new>

#include "AE_EffectCB.h"
#include "AE_EffectCBSuites.h"
#include "AE_Macros.h"
#include "GaussianBlurRender.h"
#include "Param_Utils.h"
#include "SuiteScoper.h"

namespace Brindel::GaussianBlur {

namespace {

// All frames of all instances go through this one object. It is made at
// module load; its constructor makes no GL call.
GaussianBlurRender* mWarpRender = new GaussianBlurRender();

constexpr const char* kEffectName = "Gaussian Blur";
constexpr int kMajorVersion = 1;
constexpr int kMinorVersion = 0;
constexpr int kBugVersion = 0;
constexpr int kBuildVersion = 1;

constexpr PF_ParamIndex kBlurScaleParam = 1;
constexpr A_long kBlurScaleDiskId = 1;
constexpr PF_FpShort kBlurScaleMax = 60.0f;

// `dst` grows to cover `src`; an empty `dst` is replaced by `src`.
void UnionRect(const PF_LRect* src, PF_LRect* dst) {
    if (IsEmptyRect(dst)) {
        *dst = *src;
    } else if (!IsEmptyRect(src)) {
        dst->left = src->left < dst->left ? src->left : dst->left;
        dst->top = src->top < dst->top ? src->top : dst->top;
        dst->right = src->right > dst->right ? src->right : dst->right;
        dst->bottom = src->bottom > dst->bottom ? src->bottom : dst->bottom;
    }
}

PF_Err About(PF_InData* in_data, PF_OutData* out_data) {
    SuiteScoper<PF_ANSICallbacksSuite1> ansi(in_data, kPFANSISuite, kPFANSISuiteVersion1);
    ansi->sprintf(out_data->return_msg, "%s v%d.%d\r%s", kEffectName, kMajorVersion, kMinorVersion,
                  kEffectName);
    return PF_Err_NONE;
}

PF_Err GlobalSetup(PF_OutData* out_data) {
    out_data->my_version =
        PF_VERSION(kMajorVersion, kMinorVersion, kBugVersion, PF_Stage_DEVELOP, kBuildVersion);
    // 8 bits a channel only, and frames come through smart rendering.
    out_data->out_flags = PF_OutFlag_NONE;
    out_data->out_flags2 = PF_OutFlag2_SUPPORTS_SMART_RENDER;
    return PF_Err_NONE;
}

PF_Err ParamsSetup(PF_InData* in_data, PF_OutData* out_data) {
    // The input layer counts as parameter 0.
    out_data->num_params = 2;

    PF_ParamDef def;
    AEFX_CLR_STRUCT(def);
    def.uu.id = kBlurScaleDiskId;
    def.param_type = PF_Param_FLOAT_SLIDER;
    in_data->utils->ansi.strcpy(def.name, "Blur Scale");
    def.u.fs_d.value = 0.0;
    def.u.fs_d.dephault = 0.0f;
    def.u.fs_d.valid_min = 0.0f;
    def.u.fs_d.valid_max = kBlurScaleMax;
    def.u.fs_d.slider_min = 0.0f;
    def.u.fs_d.slider_max = kBlurScaleMax;
    def.u.fs_d.curve_tolerance = AEFX_AUDIO_DEFAULT_CURVE_TOLERANCE;
    def.u.fs_d.precision = PF_Precision_INTEGER;
    def.u.fs_d.display_flags = PF_ValueDisplayFlag_NONE;
    def.u.fs_d.fs_flags = PF_FSliderFlag_NONE;
    return in_data->inter.add_param(in_data->effect_ref, -1, &def);
}

// Asks for the input as the host asked for the output, and reports what the
// input delivers as the result: the blur does not grow the frame.
PF_Err SmartPreRender(PF_InData* in_data, PF_PreRenderExtra* extra) {
    PF_RenderRequest request = extra->input->output_request;
    PF_CheckoutResult checkout;
    AEFX_CLR_STRUCT(checkout);
    const PF_Err err =
        extra->cb->checkout_layer(in_data->effect_ref, 0, 0, &request, in_data->current_time,
                                  in_data->time_step, in_data->time_scale, &checkout);
    if (err != PF_Err_NONE) {
        // A failed check-out's rectangles mean nothing.
        return err;
    }
    UnionRect(&checkout.result_rect, &extra->output->result_rect);
    UnionRect(&checkout.max_result_rect, &extra->output->max_result_rect);
    return PF_Err_NONE;
}

PF_Err Dispatch(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, void* extra) {
    switch (cmd) {
    case PF_Cmd_ABOUT:
        return About(in_data, out_data);
    case PF_Cmd_GLOBAL_SETUP:
        return GlobalSetup(out_data);
    case PF_Cmd_PARAMS_SETUP:
        return ParamsSetup(in_data, out_data);
    case PF_Cmd_SMART_PRE_RENDER:
        return SmartPreRender(in_data, static_cast<PF_PreRenderExtra*>(extra));
    default:
        // Pixels are made by smart rendering alone; every other command,
        // the classic render included, is acknowledged and ignored.
        return PF_Err_NONE;
    }
}

} // namespace

bool IsEmptyRect(const PF_LRect* rect) {
    return rect->left >= rect->right || rect->top >= rect->bottom;
}

} // namespace Brindel::GaussianBlur

extern "C" DllExport PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                           PF_ParamDef* /*params*/[], PF_LayerDef* /*output*/,
                                           void* extra) {
    using namespace Brindel::GaussianBlur;
    // Nothing may cross into the host: failures become return codes here.
    try {
        return Dispatch(cmd, in_data, out_data, extra);
    } catch (PF_Err) {
        return PF_Err_BAD_CALLBACK_PARAM;
    } catch (const std::bad_alloc&) {
        return PF_Err_OUT_OF_MEMORY;
    } catch (...) {
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
}
