#include "SuiteScoper.h"

namespace Brindel::GaussianBlur {

namespace {

void FlagError(PF_InData* in_data, PF_OutData* out_data, const char* text) {
    out_data->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
    in_data->utils->ansi.sprintf(out_data->return_msg, "%s", text);
}

struct DrawbotSuiteName {
    const char* name;
    int version;
};

// In the order of the members of DRAWBOT_Suites.
constexpr DrawbotSuiteName kDrawbotSuites[] = {
    {kDRAWBOT_DrawSuite, kDRAWBOT_DrawSuite_Version1},
    {kDRAWBOT_SupplierSuite, kDRAWBOT_SupplierSuite_Version1},
    {kDRAWBOT_SurfaceSuite, kDRAWBOT_SurfaceSuite_Version2},
    {kDRAWBOT_PathSuite, kDRAWBOT_PathSuite_Version1},
};

constexpr const char* kReleaseFailedText = "Not able to release AEFX Suite.";

} // namespace

namespace SuiteScoperDetail {
void ReportMissingSuite(const PF_InData* in_data, PF_OutData* outData, const char* errorText) {
    outData->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
    in_data->utils->ansi.sprintf(outData->return_msg, "%s",
                                 errorText ? errorText : "Not able to acquire AEFX Suite.");
}
} // namespace SuiteScoperDetail

PF_Err AcquireSuite(PF_InData* in_data, PF_OutData* out_data, const char* name, int version,
                    const char* errorText, void** suite) {
    if (in_data->pica_basicP) {
        // The host's result code is not trusted on its own: only a suite counts.
        in_data->pica_basicP->AcquireSuite(name, version, const_cast<const void**>(suite));
        if (*suite) {
            return PF_Err_NONE;
        }
    }
    char text[1024];
    in_data->utils->ansi.sprintf(text, "Not able to acquire AEFX Suite-%s-%d", name, version);
    FlagError(in_data, out_data, errorText ? errorText : text);
    return PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err ReleaseSuite(PF_InData* in_data, PF_OutData* out_data, const char* name, int version,
                    const char* errorText) {
    if (in_data->pica_basicP) {
        in_data->pica_basicP->ReleaseSuite(name, version);
        return PF_Err_NONE;
    }
    FlagError(in_data, out_data, errorText ? errorText : kReleaseFailedText);
    return PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err AcquireDrawbotSuites(PF_InData* in_data, PF_OutData* out_data, DRAWBOT_Suites* suites) {
    if (!suites) {
        FlagError(in_data, out_data, "NULL suite pointer passed to AEFX_AcquireDrawbotSuites");
        return PF_Err_UNRECOGNIZED_PARAM_TYPE;
    }
    void** members[] = {
        reinterpret_cast<void**>(&suites->drawbot_suiteP),
        reinterpret_cast<void**>(&suites->supplier_suiteP),
        reinterpret_cast<void**>(&suites->surface_suiteP),
        reinterpret_cast<void**>(&suites->path_suiteP),
    };
    for (size_t i = 0; i < 4; ++i) {
        // Through a cleared local, so that a member is written only with a
        // suite the host really gave and a stale member never passes for one.
        void* suite = nullptr;
        const PF_Err err = AcquireSuite(in_data, out_data, kDrawbotSuites[i].name,
                                        kDrawbotSuites[i].version, nullptr, &suite);
        if (err != PF_Err_NONE) {
            return err;
        }
        *members[i] = suite;
    }
    return PF_Err_NONE;
}

PF_Err ReleaseDrawbotSuites(PF_InData* in_data, PF_OutData* out_data) {
    for (const DrawbotSuiteName& suite : kDrawbotSuites) {
        if (in_data->pica_basicP) {
            in_data->pica_basicP->ReleaseSuite(suite.name, suite.version);
        } else {
            FlagError(in_data, out_data, kReleaseFailedText);
        }
    }
    return PF_Err_NONE;
}

} // namespace Brindel::GaussianBlur
